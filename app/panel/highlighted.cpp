#include "panel/highlighted.h"

#include <memory>
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>

namespace {

icu::UnicodeString aliasing(const QString& text)
{
    // Read-only alias of the QString's UTF-16 buffer: no copy.
    return icu::UnicodeString(false, reinterpret_cast<const UChar*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
}

} // namespace

AttributedText highlighted(const QString& text, const QString& term)
{
    AttributedText result{text, {}};
    if (term.isEmpty() || text.isEmpty())
        return result;

    UErrorCode status = U_ZERO_ERROR;
    // The root collation: no locale's tailoring.
    std::unique_ptr<icu::Collator> collator(
        icu::Collator::createInstance(icu::Locale::getRoot(), status));
    auto* rules = dynamic_cast<icu::RuleBasedCollator*>(collator.get());
    if (U_FAILURE(status) || !rules)
        return result;
    rules->setStrength(icu::Collator::PRIMARY);

    const icu::UnicodeString pattern = aliasing(term);
    const icu::UnicodeString subject = aliasing(text);
    icu::StringSearch search(pattern, subject, rules, nullptr, status);
    if (U_FAILURE(status))
        return result;
    search.setAttribute(USEARCH_OVERLAP, USEARCH_OFF, status);
    for (int32_t at = search.first(status); U_SUCCESS(status) && at != USEARCH_DONE;
         at = search.next(status)) {
        const int32_t length = search.getMatchedLength();
        if (length > 0)
            result.emphasised.append({at, length});
    }
    return result;
}

QList<QTextLayout::FormatRange> AttributedText::formats(const QFont& font) const
{
    QList<QTextLayout::FormatRange> result;
    for (const Range& range : emphasised) {
        QTextLayout::FormatRange format;
        format.start = static_cast<int>(range.start);
        format.length = static_cast<int>(range.length);
        format.format.setFontWeight(font.weight() >= QFont::DemiBold ? QFont::Black : QFont::Bold);
        result.append(format);
    }
    return result;
}

QStringList AttributedText::emphasisedTexts() const
{
    QStringList pieces;
    for (const Range& range : emphasised)
        pieces.append(text.mid(range.start, range.length));
    return pieces;
}
