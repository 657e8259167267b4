#include "dictionary/dictionary.h"

#include "dictionary/morphy.h"
#include "dictionary/sensechooser.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace {

constexpr qsizetype kMaxSimilar = 5;

struct Entry {
    PartOfSpeech pos;
    std::string lemma;
    IndexEntry index;
    std::vector<int> tagCounts;
    int totalTags = 0;
};

QString sentenceOf(std::string_view definition)
{
    QString text = QString::fromUtf8(definition.data(), qsizetype(definition.size()));
    if (text.isEmpty())
        return text;
    text[0] = text[0].toUpper();
    if (!text.endsWith(QLatin1Char('.')) && !text.endsWith(QLatin1Char('?')) &&
        !text.endsWith(QLatin1Char('!')))
        text += QLatin1Char('.');
    return text;
}

} // namespace

std::optional<Definition> Dictionary::define(const WordNet& wordnet, QStringView term,
                                             std::optional<QStringView> sentence)
{
    const std::string word = Morphy::normalised(term);
    std::vector<Entry> entries;
    // The word itself, each word of a phrase, and every base form found count for neither
    // the sentence nor the glosses.
    std::vector<std::string> ignored{word};
    for (const QString& part : QString::fromStdString(word).split(u'_', Qt::SkipEmptyParts))
        ignored.push_back(part.toStdString());
    for (const PartOfSpeech pos : kPartsOfSpeech) {
        for (std::string& lemma : Morphy::baseForms(wordnet, pos, word)) {
            std::optional<IndexEntry> index = wordnet.entry(pos, lemma);
            if (!index)
                continue;
            std::vector<int> counts = wordnet.tagCounts(pos, lemma);
            const int total = std::accumulate(counts.begin(), counts.end(), 0);
            ignored.push_back(lemma);
            entries.push_back(
                Entry{pos, std::move(lemma), std::move(*index), std::move(counts), total});
        }
    }
    if (entries.empty())
        return std::nullopt;
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tuple(a.totalTags, a.index.tagSenseCount, a.index.offsets.size()) >
               std::tuple(b.totalTags, b.index.tagSenseCount, b.index.offsets.size());
    });

    std::vector<SenseCandidate> candidates;
    for (const Entry& entry : entries) {
        for (size_t i = 0; i < entry.index.offsets.size(); ++i)
            candidates.push_back(
                SenseCandidate{entry.pos, entry.lemma, entry.index.offsets[i],
                               i < entry.tagCounts.size() ? entry.tagCounts[i] : 0});
    }
    const size_t chosen =
        sentence ? SenseChooser::choose(wordnet, candidates, *sentence, ignored) : 0;
    const SenseCandidate& sense = candidates[chosen];
    const Synset synset = wordnet.synset(sense.pos, sense.offset);

    Definition definition;
    definition.partOfSpeech = partOfSpeechName(sense.pos);
    definition.meaning = sentenceOf(synset.definition());
    for (const std::string_view other : synset.words) {
        QString text = QString::fromUtf8(other.data(), qsizetype(other.size()));
        if (text.compare(QString::fromStdString(sense.lemma), Qt::CaseInsensitive) == 0)
            continue;
        text.replace(QLatin1Char('_'), QLatin1Char(' '));
        if (definition.similar.size() < kMaxSimilar && !definition.similar.contains(text))
            definition.similar.append(text);
    }
    definition.pos = sense.pos;
    definition.offset = sense.offset;
    return definition;
}
