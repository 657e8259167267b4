#include "LookupCore/textsearch.h"

#include "LookupCore/graphemes.h"
#include "LookupCore/unicodetext.h"

#include <QString>
#include <algorithm>
#include <memory>
#include <unicode/normalizer2.h>
#include <unicode/ucol.h>
#include <unicode/usearch.h>
#include <vector>

namespace TextSearch {

namespace {

const icu::Normalizer2* nfc()
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
    return U_SUCCESS(status) ? normalizer : nullptr;
}

QString toQString(const icu::UnicodeString& string)
{
    return QString(reinterpret_cast<const QChar*>(string.getBuffer()), string.length());
}

// The text in NFC, cluster by cluster, with where each cluster starts in both forms.
struct NormalizedText {
    QString text;
    std::vector<qsizetype> starts;         // in `text`, plus its end
    std::vector<qsizetype> originalStarts; // in the original, plus its end
};

NormalizedText normalizeByCluster(QStringView text, const icu::Normalizer2& normalizer,
                                  Graphemes& graphemes)
{
    NormalizedText result;
    result.text.reserve(text.size());
    qsizetype start = 0;
    while (start < text.size()) {
        const qsizetype end = graphemes.forward(start, 1);
        result.starts.push_back(result.text.size());
        result.originalStarts.push_back(start);
        const QStringView cluster = text.sliced(start, end - start);
        UErrorCode status = U_ZERO_ERROR;
        const icu::UnicodeString alias = UnicodeText::alias(cluster);
        if (normalizer.quickCheck(alias, status) == UNORM_YES || U_FAILURE(status)) {
            result.text.append(cluster);
        } else {
            status = U_ZERO_ERROR;
            const icu::UnicodeString normalized = normalizer.normalize(alias, status);
            result.text.append(U_SUCCESS(status) ? toQString(normalized) : cluster.toString());
        }
        start = end;
    }
    result.starts.push_back(result.text.size());
    result.originalStarts.push_back(text.size());
    return result;
}

} // namespace

std::optional<Match> canonical(QStringView text, QStringView word, Graphemes& graphemes)
{
    if (word.isEmpty())
        return std::nullopt;
    const icu::Normalizer2* normalizer = nfc();
    if (!normalizer) {
        const qsizetype at = text.indexOf(word);
        return at < 0 ? std::nullopt : std::optional<Match>(Match{at, at + word.size()});
    }
    UErrorCode status = U_ZERO_ERROR;
    const QString needle = toQString(normalizer->normalize(UnicodeText::alias(word), status));
    if (U_FAILURE(status) || needle.isEmpty())
        return std::nullopt;

    status = U_ZERO_ERROR;
    if (normalizer->isNormalized(UnicodeText::alias(text), status) && U_SUCCESS(status)) {
        for (qsizetype at = text.indexOf(needle); at >= 0; at = text.indexOf(needle, at + 1)) {
            const qsizetype end = at + needle.size();
            if (graphemes.isBoundary(at) && graphemes.isBoundary(end))
                return Match{at, end};
        }
        return std::nullopt;
    }

    const NormalizedText normalized = normalizeByCluster(text, *normalizer, graphemes);
    const auto clusterAt = [&](qsizetype offset) -> qsizetype {
        const auto it =
            std::lower_bound(normalized.starts.begin(), normalized.starts.end(), offset);
        if (it == normalized.starts.end() || *it != offset)
            return -1;
        return it - normalized.starts.begin();
    };
    const QStringView haystack(normalized.text);
    for (qsizetype at = haystack.indexOf(needle); at >= 0; at = haystack.indexOf(needle, at + 1)) {
        const qsizetype first = clusterAt(at);
        const qsizetype last = first < 0 ? -1 : clusterAt(at + needle.size());
        if (last >= 0)
            return Match{normalized.originalStarts[first], normalized.originalStarts[last]};
    }
    return std::nullopt;
}

namespace {

struct CollatorCloser {
    void operator()(UCollator* collator) const { ucol_close(collator); }
};
struct SearchCloser {
    void operator()(UStringSearch* search) const { usearch_close(search); }
};
using CollatorPtr = std::unique_ptr<UCollator, CollatorCloser>;

// Root collation at primary strength: only base letters count, not case or accents.
CollatorPtr primaryCollator()
{
    thread_local const CollatorPtr prototype = [] {
        UErrorCode status = U_ZERO_ERROR;
        CollatorPtr collator(ucol_open("", &status));
        if (U_FAILURE(status))
            return CollatorPtr();
        ucol_setStrength(collator.get(), UCOL_PRIMARY);
        return collator;
    }();
    if (!prototype)
        return CollatorPtr();
    UErrorCode status = U_ZERO_ERROR;
    CollatorPtr copy(ucol_clone(prototype.get(), &status));
    return U_SUCCESS(status) ? std::move(copy) : CollatorPtr();
}

} // namespace

std::optional<Match> loose(QStringView text, QStringView term)
{
    if (term.isEmpty() || text.isEmpty())
        return std::nullopt;
    const CollatorPtr collator = primaryCollator();
    if (!collator)
        return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UStringSearch, SearchCloser> search(usearch_openFromCollator(
        reinterpret_cast<const UChar*>(term.utf16()), static_cast<int32_t>(term.size()),
        reinterpret_cast<const UChar*>(text.utf16()), static_cast<int32_t>(text.size()),
        collator.get(), nullptr, &status));
    if (U_FAILURE(status))
        return std::nullopt;
    const int32_t start = usearch_first(search.get(), &status);
    if (U_FAILURE(status) || start == USEARCH_DONE)
        return std::nullopt;
    return Match{start, start + usearch_getMatchedLength(search.get())};
}

} // namespace TextSearch
