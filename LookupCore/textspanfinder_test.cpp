#include "LookupCore/textspanfinder.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

// Failures show texts as text, not as lists of code units.
static void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

static void PrintTo(const TextSpan& span, std::ostream* out)
{
    *out << "{word: \"" << span.word.toStdString() << "\", sentence: \""
         << span.sentence.toStdString() << "\"}";
}

namespace {

const QString ellipsis = u"…"_s;

// An empty word in a row means no span at all.
struct SpanRow {
    QString text;
    qsizetype index;
    QString word;
    QString sentence;
};

void expectSpans(const std::vector<SpanRow>& rows)
{
    for (const SpanRow& row : rows) {
        SCOPED_TRACE(row.text.left(40).toStdString() + " @ " + std::to_string(row.index));
        const std::optional<TextSpan> got = TextSpanFinder::span(row.text, row.index);
        if (row.word.isEmpty())
            EXPECT_FALSE(got);
        else if (row.sentence.isNull())
            EXPECT_EQ(got ? got->word : QString(), row.word);
        else
            EXPECT_EQ(got, (TextSpan{row.word, row.sentence}));
    }
}

TEST(SpanInTextTest, WordUnderOrNearestTheIndexAndItsSentence)
{
    const QString hello = u"Hello world"_s;
    const QString km = u"It's 3.5 km, don't worry."_s;
    expectSpans({
        {hello, 6, u"world"_s, hello},
        {hello, 4, u"Hello"_s, hello},
        {u"First one.  Second one\there!  Third."_s, 14, u"Second"_s, u"Second one here!"_s},
        {km, 6, u"3.5"_s, km},
        {km, 15, u"don't"_s, km},
        // Outside the text: clamped.
        {hello, -5, u"Hello"_s, hello},
        {u"Hello world!"_s, 1'000'000, u"world"_s, u"Hello world!"_s},
        {QString(), 0, {}, {}},
        // Between words the nearer wins, ties go to the earlier.
        {u"ab   cd"_s, 3, u"ab"_s, {}},
        {u"ab   cd"_s, 4, u"cd"_s, {}},
        {u"(word)"_s, 5, u"word"_s, {}},
        // Blanks alone give nothing.
        {u"   "_s, 1, {}, {}},
        // CR LF counts once: an index on its LF belongs to the line the pair ends.
        {u"one two\r\n\r\nthree"_s, 8, u"two"_s, u"one two"_s},
        {u"one two\r\n\r\nthree"_s, 10, {}, {}},
        // A form feed ends no line: the nearest word may lie beyond it.
        {u"ab\f\fcd"_s, 3, u"cd"_s, u"ab cd"_s},
        // ICU joins "שלום.Hello" into one word; it takes the sentence of its start.
        {u"Go שלום.Hello now."_s, 10, u"שלום.Hello"_s, u"Go שלום."_s},
        {u"Go שלום.Hello now."_s, 14, u"now"_s, u"Hello now."_s},
        // Right to left: offsets are logical. Japanese: ICU's dictionary finds the words.
        {u"שלום עולם"_s, 6, u"עולם"_s, u"שלום עולם"_s},
        {u"東京に行きます。大阪も好き。"_s, 3, u"行き"_s, u"東京に行きます。"_s},
        {u"cafe\u0301 au lait"_s, 4, u"cafe\u0301"_s, u"cafe\u0301 au lait"_s},
        // Surrogates: 𝐀𝐁 (units 4-7) from its last half; an emoji is no word, each half goes
        // to the nearer word; lone surrogates are characters of their own.
        {u"see 𝐀𝐁 now"_s, 7, u"𝐀𝐁"_s, u"see 𝐀𝐁 now"_s},
        {u"go 😀 now"_s, 3, u"go"_s, {}},
        {u"go 😀 now"_s, 4, u"now"_s, {}},
        {u"ab"_s + QChar(0xD800) + u"cd ef"_s + QChar(0xDC00), 2, u"ab"_s, {}},
        {u"ab"_s + QChar(0xD800) + u"cd ef"_s + QChar(0xDC00), 8, u"ef"_s, {}},
        {QString(QChar(0xDC00)), 0, {}, {}},
    });
    // A line's terminator is its own; a line without words gives nothing.
    for (const char16_t terminator : {u'\n', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
        const QString text = u"alpha"_s + QChar(terminator) + QChar(terminator) + u"beta"_s;
        expectSpans({{text, 5, u"alpha"_s, u"alpha"_s},
                     {text, 6, {}, {}},
                     {text, 7, u"beta"_s, u"beta"_s}});
    }
}

TEST(SpanInTextTest, FarWordsAndLongSentences)
{
    // "far" 70 units after the index (past the look-ahead), and 9000 blanks away.
    const QString withBefore = u"a\nnear"_s + QString(200, u' ') + u"far"_s;
    expectSpans({
        {u"a\n"_s + QString(70, u' ') + u"far tail"_s, 2, u"far"_s, u"far tail"_s},
        {withBefore, 100, u"near"_s, {}},
        {withBefore, 200, u"far"_s, {}},
        {u"a\n"_s + QString(9000, u' ') + u"far"_s, 2, u"far"_s, {}},
        {u"a\n"_s + QString(9000, u' ') + u"\nfar"_s, 2, {}, {}},
        // Blanks collapse, so the sentence's end must be read however far it lies.
        {u"start here "_s + QString(9000, u' ') + u"tail words."_s, 0, u"start"_s,
         u"start here tail words."_s},
    });
    // Long sentences are cut around the word: "w000 ".."w599 " and "w0000 ".."w2999 ".
    QString text, longer;
    for (int k = 0; k < 600; ++k)
        text += u"w%1 "_s.arg(k, 3, 10, QChar(u'0'));
    text += u"end."_s;
    for (int k = 0; k < 3000; ++k)
        longer += u"w%1 "_s.arg(k, 4, 10, QChar(u'0'));
    expectSpans({
        {text, 300 * 5 + 1, u"w300"_s, ellipsis + text.mid(1300, 400) + ellipsis},
        {longer, 100 * 6, u"w0100"_s, ellipsis + longer.mid(400, 400) + ellipsis},
        {longer, 2000 * 6, u"w2000"_s, ellipsis + longer.mid(11800, 400) + ellipsis},
    });
}

TEST(NormalizeWordTest, StripsBlanksPunctuationAndSymbolsFromBothEndsOnly)
{
    const QString lone = QString(QChar(0xD800)) + u"x!"_s;
    const std::pair<QString, QString> rows[] = {
        {u"«state-of-the-art»,"_s, u"state-of-the-art"_s},
        {u" \u00A0\u2028$100%\n"_s, u"100"_s},
        {u"😀word👍"_s, u"word"_s},
        {u"cafe\u0301."_s, u"cafe\u0301"_s},
        {u"C++"_s, u"C"_s},
        {u"..."_s, QString()},
        {QString(), QString()},
        {lone, lone.left(2)},
    };
    for (const auto& [raw, clean] : rows)
        EXPECT_EQ(TextSpanFinder::normalizeWord(raw), clean) << raw.toStdString();
}

TEST(SpanOfWordTest, CleansTheWordAndTrimsTheSentenceAroundIt)
{
    EXPECT_EQ(TextSpanFinder::span(u"“Hello,”"_s, std::nullopt),
              (TextSpan{u"Hello"_s, u"Hello"_s}));
    EXPECT_FALSE(TextSpanFinder::span(u" \n"_s, u"a sentence"_s));
    EXPECT_EQ(TextSpanFinder::span(u"hi!"_s, u"  Say   hi \n now "_s),
              (TextSpan{u"hi"_s, u"Say hi now"_s}));
    EXPECT_EQ(TextSpanFinder::span(u"hi"_s, u" \t\n "_s), (TextSpan{u"hi"_s, u"hi"_s}));
    // The cut centres on the normalized word, not on the raw one.
    const QString sentence = QString(500, u'a') + u" (hi) "_s + QString(500, u'b');
    EXPECT_EQ(TextSpanFinder::span(u"(hi)"_s, sentence)->sentence,
              ellipsis + sentence.mid(302, 400) + ellipsis);
}

TEST(TrimTest, CollapsesWhiteSpaceAndCutsFourHundredCharactersAroundTheWord)
{
    const QString accented = u"e\u0301"_s.repeated(400);
    auto withWordAt = [](int position) {
        return QString(position, u'a') + u"word"_s + QString(996 - position, u'b');
    };
    const QString early = withWordAt(50), middle = withWordAt(500), late = withWordAt(900);
    const QString filler = QString(500, u'a');
    // Case counts: "Word" is found at 700, not "word" at 100.
    const QString cased =
        QString(100, u'a') + u"word"_s + QString(596, u'a') + u"Word"_s + QString(300, u'a');
    const QString precomposed = filler + u"café"_s + filler;
    const QString decomposed = filler + u"cafe\u0301"_s + filler;
    // "x" is no match inside x + acute (no precomposed form), nor "cafe" inside "café".
    const QString marked =
        QString(100, u'a') + u" x\u0301 cafe\u0301 "_s + filler + u" x cafe "_s + filler;
    const qsizetype plainX = marked.indexOf(u" x "_s) + 1;
    const QString lone = QString(QChar(0xDC00));
    const QString loneSentence =
        QString(300, u'a') + lone + u" word "_s + QString(300, u'b') + lone;
    const struct {
        QString sentence, word, expected;
    } rows[] = {
        {u" \ta\u00A0\u3000b\u2028\r\nc\u2029"_s, u"b"_s, u"a b c"_s},
        {u"\n \n"_s, u"x"_s, QString()},
        {u"a \u0301b"_s, u"a"_s, u"a b"_s},         // a blank with a combining mark is one blank
        {u"a\u200Bb c"_s, u"a"_s, u"a\u200Bb c"_s}, // no White_Space
        // Cut only past 400 characters (not code units); collapsed blanks do not count.
        {QString(400, u'x'), u"word"_s, QString(400, u'x')},
        {QString(401, u'x'), u"word"_s, QString(400, u'x') + ellipsis},
        {accented, u"x"_s, accented},
        {accented + u"e\u0301"_s, u"x"_s, accented + ellipsis},
        {QString(200, u'a') + QString(50, u' ') + QString(199, u'b'), u"x"_s,
         QString(200, u'a') + u' ' + QString(199, u'b')},
        // The word lands 200 characters in.
        {early, u"word"_s, early.left(400) + ellipsis},
        {middle, u"word"_s, ellipsis + middle.mid(300, 400) + ellipsis},
        {late, u"word"_s, ellipsis + late.mid(700)},
        {middle, u"absent"_s, middle.left(400) + ellipsis},
        // Exact search, but canonically equivalent forms match.
        {cased, u"Word"_s, ellipsis + cased.mid(500, 400) + ellipsis},
        {precomposed, u"cafe\u0301"_s, ellipsis + precomposed.mid(300, 400) + ellipsis},
        {decomposed, u"café"_s, ellipsis + decomposed.mid(300, 401) + ellipsis},
        {marked, u"x"_s, ellipsis + marked.mid(plainX - 200, 400) + ellipsis},
        {marked, u"cafe"_s, ellipsis + marked.mid(plainX + 2 - 200, 400) + ellipsis},
        // Lone surrogates pass through.
        {loneSentence, u"word"_s, ellipsis + loneSentence.mid(102, 400) + ellipsis},
        {lone + u"  x"_s, lone, lone + u" x"_s},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TextSpanFinder::trim(row.sentence, row.word), row.expected)
            << row.sentence.left(30).toStdString() << " / " << row.word.toStdString();
}

TEST(SnippetTest, FindsTheTermIgnoringCaseAndDiacriticsAndCountsCharacters)
{
    const QString text = u"abcdefghijklmnopqrstuvwxyz"_s;
    const QString lone = QString(QChar(0xD800));
    const qsizetype all = std::numeric_limits<qsizetype>::max();
    const struct {
        QString text, term;
        qsizetype radius;
        QString expected;
    } rows[] = {
        {u"the café opens"_s, u"Cafe"_s, 3, u"…he café op…"_s},
        {u"the cafe\u0301 opens"_s, u"CAFÉ"_s, 1, u"… cafe\u0301 …"_s},
        {u"Die Straße ist lang"_s, u"STRASSE"_s, 4, u"Die Straße ist…"_s},
        {u"one café, two cafés"_s, u"cafe"_s, 0, u"…café…"_s},
        {u"the café opens"_s, u"Cafe"_s, -4, u"…café…"_s},
        {u"a\n\n  b   term \t c d"_s, u"term"_s, 2, u"…b term c…"_s},
        {u"e\u0301e\u0301e\u0301 hit 🇫🇷🇫🇷🇫🇷"_s, u"hit"_s, 2, u"…e\u0301 hit 🇫🇷…"_s},
        // Without a match: the start.
        {text, u"none"_s, 10, text.left(20) + ellipsis},
        {text, QString(), 2, u"abcd…"_s},
        {text, u"none"_s, 0, ellipsis},
        {text, u"none"_s, all, text},
        {text, u"mno"_s, all, text},
        {u"  \n "_s, u"none"_s, 3, QString()},
        {lone + u"ab cd"_s + lone, u"CD"_s, 1, u"… cd"_s + lone},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TextSpanFinder::snippet(row.text, row.term, row.radius), row.expected)
            << row.text.toStdString() << " / " << row.term.toStdString() << " / " << row.radius;
}

} // namespace
