#include "LookupCore/textspanfinder.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <unicode/brkiter.h>
#include <unicode/ubrk.h>

using namespace Qt::Literals::StringLiterals;

static void PrintTo(const TextSpan& span, std::ostream* out)
{
    *out << "{word: \"" << span.word.toStdString() << "\", sentence: \""
         << span.sentence.toStdString() << "\"}";
}

namespace {

// The same algorithm as TextSpanFinder::span, run plainly over the whole text (segmented once
// up front), to check the windows that keep the real one local.
class WholeText {
public:
    explicit WholeText(const QString& text) : m_text(text)
    {
        const icu::UnicodeString whole(false, text.utf16(), int32_t(text.size()));
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> words(
            icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
        words->setText(whole);
        for (int32_t start = words->first(), end = words->next(); end != icu::BreakIterator::DONE;
             start = end, end = words->next()) {
            if (words->getRuleStatus() >= UBRK_WORD_NONE_LIMIT)
                m_words.emplace_back(start, end);
        }
        std::unique_ptr<icu::BreakIterator> sentences(
            icu::BreakIterator::createSentenceInstance(icu::Locale::getRoot(), status));
        sentences->setText(whole);
        for (int32_t start = sentences->first(), end = sentences->next();
             end != icu::BreakIterator::DONE; start = end, end = sentences->next())
            m_sentences.emplace_back(start, end);
    }

    std::optional<TextSpan> span(qsizetype index) const
    {
        const qsizetype n = m_text.size();
        const qsizetype i = std::clamp<qsizetype>(index, 0, n - 1);
        std::vector<Range> ranges;
        for (const Range& range : m_words) {
            ranges.push_back(range);
            if (i + 64 < range.first)
                break;
        }
        std::optional<Range> word;
        for (const Range& range : ranges) {
            if (range.first <= i && i < range.second) {
                word = range;
                break;
            }
        }
        if (!word) {
            const auto [lineStart, lineEnd] = lineRange(i);
            qsizetype best = -1;
            for (const Range& range : ranges) {
                if (std::min(range.second, lineEnd) - std::max(range.first, lineStart) < 1)
                    continue;
                const qsizetype distance =
                    i < range.first ? range.first - i : i - (range.second - 1);
                if (best < 0 || distance < best) {
                    best = distance;
                    word = range;
                }
            }
            if (!word)
                return std::nullopt;
        }
        Range sentence = *word;
        for (const Range& range : m_sentences) {
            if (range.first <= word->first && word->first < range.second) {
                sentence = range;
                break;
            }
            if (word->first < range.first)
                break;
        }
        const QString wordText = m_text.mid(word->first, word->second - word->first);
        return TextSpan{
            wordText, TextSpanFinder::trim(
                          m_text.mid(sentence.first, sentence.second - sentence.first), wordText)};
    }

private:
    using Range = std::pair<qsizetype, qsizetype>;

    Range lineRange(qsizetype i) const
    {
        const auto isTerminator = [](QChar c) {
            return c == u'\n' || c == u'\r' || c == u'\u0085' || c == u'\u2028' || c == u'\u2029';
        };
        const qsizetype n = m_text.size();
        qsizetype start = (m_text[i] == u'\n' && i > 0 && m_text[i - 1] == u'\r') ? i - 1 : i;
        while (start > 0 && !isTerminator(m_text[start - 1]))
            --start;
        qsizetype end = i;
        while (end < n && !isTerminator(m_text[end]))
            ++end;
        if (end < n)
            end += (m_text[end] == u'\r' && end + 1 < n && m_text[end + 1] == u'\n') ? 2 : 1;
        return {start, end};
    }

    QString m_text;
    std::vector<Range> m_words;
    std::vector<Range> m_sentences;
};

TEST(SpanInTextTest, LongTextsGiveWhatTheWholeTextGives)
{
    // Long runs of blanks, letters and sentences make the windows grow and end where no
    // clean cut exists; without line breaks they cannot fall back on a line's start.
    // Pieces and weights; a negative weight marks a line break, used in the first round only.
    const std::vector<std::pair<QString, double>> pieces = {
        // clang-format off
        {u"word "_s, 60}, {u"Café, "_s, 20}, {u"東京に行きます。"_s, 10}, {u"😀 "_s, 5},
        {u"𝐀𝐁 "_s, 5}, {u"e\u0301te\u0301 "_s, 5}, {u"שלום "_s, 5}, {u"(x) "_s, 5},
        {u"3.5 "_s, 5}, {u"don't "_s, 5}, {u"\t"_s, 3}, {u"\n"_s, -2}, {u"\r\n"_s, -2},
        {u"\u2028"_s, -1}, {u"!! "_s, 2}, {u"Done. "_s, 3}, {u"Why? "_s, 2},
        {QString(5000, u' '), 0.3}, {QString(4500, u'x') + u' ', 0.3},
        {QString(700, u'-') + u' ', 0.5}, {u"U.S. Army "_s, 1}, {u"end.) Next "_s, 1},
        // clang-format on
    };
    for (const bool lineBreaks : {true, false}) {
        std::mt19937 random(7);
        std::vector<double> weights;
        for (const auto& [piece, weight] : pieces)
            weights.push_back(weight >= 0 ? weight : lineBreaks ? -weight : 0);
        std::discrete_distribution<int> pick(weights.begin(), weights.end());
        QString text;
        while (text.size() < 30'000)
            text += pieces[pick(random)].first;
        ASSERT_GT(text.count(QString(5000, u' ')), 0);
        ASSERT_GT(text.count(QString(4500, u'x')), 0);
        const WholeText whole(text);
        for (qsizetype i = 0; i < text.size(); i += 31)
            ASSERT_EQ(TextSpanFinder::span(text, i), whole.span(i))
                << "index " << i << (lineBreaks ? " with" : " without") << " line breaks";
    }
}

} // namespace
