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

// The same rules as TextSpanFinder::span, applied plainly to the whole text (segmented once up
// front), to check the windows that keep the real one local.
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
        for (int32_t end = sentences->next(); end != icu::BreakIterator::DONE;
             end = sentences->next())
            m_sentenceEnds.push_back(end);
    }

    // The word that holds the index, else the nearer of the words on either side that lie on
    // its line (the earlier on a tie), with the sentence that holds the word's start.
    std::optional<TextSpan> span(qsizetype index) const
    {
        const qsizetype i = std::clamp<qsizetype>(index, 0, m_text.size() - 1);
        const auto next = std::upper_bound(m_words.begin(), m_words.end(), i,
                                           [](qsizetype i, const Range& w) { return i < w.first; });
        std::optional<Range> word;
        if (next != m_words.begin() && !lineEndsIn(std::prev(next)->second, i))
            word = *std::prev(next);
        if (next != m_words.end() && !lineEndsIn(i, next->first) &&
            (!word || next->first - i < i - (word->second - 1)))
            word = *next;
        if (!word)
            return std::nullopt;
        const auto end =
            std::upper_bound(m_sentenceEnds.begin(), m_sentenceEnds.end(), word->first);
        const qsizetype start = end == m_sentenceEnds.begin() ? 0 : *std::prev(end);
        const QString wordText = m_text.mid(word->first, word->second - word->first);
        return TextSpan{wordText, TextSpanFinder::trim(m_text.mid(start, *end - start), wordText)};
    }

private:
    using Range = std::pair<qsizetype, qsizetype>;

    // Whether a line ends in [from, to): a CR LF pair ends its line at the LF.
    bool lineEndsIn(qsizetype from, qsizetype to) const
    {
        for (qsizetype p = from; p < to; ++p) {
            const char16_t c = m_text[p].unicode();
            const bool crBeforeLf = c == u'\r' && p + 1 < m_text.size() && m_text[p + 1] == u'\n';
            if ((c == u'\n' || c == u'\r' || c == u'\u0085' || c == u'\u2028' || c == u'\u2029') &&
                !crBeforeLf)
                return true;
        }
        return false;
    }

    QString m_text;
    std::vector<Range> m_words;
    std::vector<qsizetype> m_sentenceEnds;
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
