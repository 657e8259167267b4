#include "textspanfinder.h"

#include <QJsonDocument>
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

TextSpan spanOf(const QString& word, const QString& sentence)
{
    return TextSpan{word, sentence};
}

std::optional<TextSpan> at(const QString& text, qsizetype index)
{
    return TextSpanFinder::span(text, index);
}

TEST(TextSpanTest, JsonFormHasBothKeysAndBothAreRequired)
{
    const TextSpan span = spanOf(u"café"_s, u"Le café ouvre."_s);
    EXPECT_EQ(QJsonDocument(span.toJson()).toJson(QJsonDocument::Compact),
              R"({"sentence":"Le café ouvre.","word":"café"})");
    EXPECT_EQ(TextSpan::fromJson(span.toJson()), span);
    EXPECT_FALSE(TextSpan::fromJson(QJsonObject{{u"word"_s, u"a"_s}}));
    EXPECT_FALSE(TextSpan::fromJson(QJsonObject{{u"word"_s, u"a"_s}, {u"sentence"_s, 1}}));
    EXPECT_NE(span, spanOf(u"café"_s, u"Le café."_s));
    EXPECT_NE(span, spanOf(u"cafe"_s, u"Le café ouvre."_s));
}

TEST(SpanInTextTest, WordUnderTheIndexAndItsSentence)
{
    EXPECT_EQ(at(u"Hello world"_s, 8), spanOf(u"world"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"Hello world"_s, 6), spanOf(u"world"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"Hello world"_s, 4), spanOf(u"Hello"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"First one.  Second one\there!  Third."_s, 14),
              spanOf(u"Second"_s, u"Second one here!"_s));
    EXPECT_EQ(at(u"It's 3.5 km, don't worry."_s, 6),
              spanOf(u"3.5"_s, u"It's 3.5 km, don't worry."_s));
    EXPECT_EQ(at(u"It's 3.5 km, don't worry."_s, 15),
              spanOf(u"don't"_s, u"It's 3.5 km, don't worry."_s));
}

TEST(SpanInTextTest, IndexOutsideTheTextIsClamped)
{
    EXPECT_EQ(at(u"Hello world"_s, -5), spanOf(u"Hello"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"Hello world"_s, 11), spanOf(u"world"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"Hello world"_s, 1'000'000), spanOf(u"world"_s, u"Hello world"_s));
    EXPECT_EQ(at(u"Hello world!"_s, 500), spanOf(u"world"_s, u"Hello world!"_s));
    EXPECT_FALSE(at(QString(), 0));
    EXPECT_FALSE(at(QString(), -1));
}

TEST(SpanInTextTest, BetweenWordsTheNearerWordWinsAndTiesGoToTheEarlier)
{
    // "ab" covers 0-1, blanks 2-4, "cd" starts at 5.
    const QString text = u"ab   cd"_s;
    EXPECT_EQ(at(text, 2)->word, u"ab"_s);
    EXPECT_EQ(at(text, 3)->word, u"ab"_s) << "two units from each word";
    EXPECT_EQ(at(text, 4)->word, u"cd"_s);
    EXPECT_EQ(at(u"Hi, there"_s, 2)->word, u"Hi"_s);
    EXPECT_EQ(at(u"Hi, there"_s, 3)->word, u"there"_s) << "distance 2 to Hi, 1 to there";
    EXPECT_EQ(at(u"(word)"_s, 0)->word, u"word"_s);
    EXPECT_EQ(at(u"(word)"_s, 5)->word, u"word"_s);
}

TEST(SpanInTextTest, LinesWithoutWordsGiveNothing)
{
    EXPECT_FALSE(at(u"alpha\n\nbeta"_s, 6)) << "the empty line";
    EXPECT_EQ(at(u"alpha\n\nbeta"_s, 5)->word, u"alpha"_s) << "the first line's terminator";
    EXPECT_FALSE(at(u"alpha\n-- !! 😀 --\nbeta"_s, 8));
    EXPECT_FALSE(at(u"   "_s, 1));
    EXPECT_FALSE(at(u"..."_s, 0));
    EXPECT_FALSE(at(u"😀"_s, 1));
}

TEST(SpanInTextTest, EveryLineTerminatorEndsTheLine)
{
    // CR LF counts once: an index on either unit belongs to the line the pair ends.
    const QString crlf = u"one two\r\n\r\nthree"_s;
    EXPECT_EQ(at(crlf, 7), spanOf(u"two"_s, u"one two"_s));
    EXPECT_EQ(at(crlf, 8), spanOf(u"two"_s, u"one two"_s));
    EXPECT_FALSE(at(crlf, 9));
    EXPECT_FALSE(at(crlf, 10));
    EXPECT_EQ(at(crlf, 11), spanOf(u"three"_s, u"three"_s));
    for (const char16_t terminator : {u'\n', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
        const QString text = u"alpha"_s + QChar(terminator) + QChar(terminator) + u"beta"_s;
        EXPECT_EQ(at(text, 5), spanOf(u"alpha"_s, u"alpha"_s)) << int(terminator);
        EXPECT_FALSE(at(text, 6)) << int(terminator);
        EXPECT_EQ(at(text, 7), spanOf(u"beta"_s, u"beta"_s)) << int(terminator);
    }
    // A form feed ends no line: the nearest word may lie beyond it.
    EXPECT_EQ(at(u"ab\f\fcd"_s, 3), spanOf(u"cd"_s, u"ab cd"_s));
}

TEST(SpanInTextTest, FarWordOnTheLineIsStillFound)
{
    // "far" starts 70 units after the index, past the 64-unit look-ahead.
    const QString text = u"a\n"_s + QString(70, u' ') + u"far tail"_s;
    EXPECT_EQ(at(text, 2), spanOf(u"far"_s, u"far tail"_s));
    // A word nearer before the index wins over the far one.
    const QString withBefore = u"a\nnear"_s + QString(200, u' ') + u"far"_s;
    EXPECT_EQ(at(withBefore, 100)->word, u"near"_s);
    EXPECT_EQ(at(withBefore, 200)->word, u"far"_s);
    // Far beyond any window the search starts with: 9000 blanks.
    const QString veryFar = u"a\n"_s + QString(9000, u' ') + u"far"_s;
    EXPECT_EQ(at(veryFar, 2)->word, u"far"_s);
    EXPECT_FALSE(at(u"a\n"_s + QString(9000, u' ') + u"\nfar"_s, 2));
}

TEST(SpanInTextTest, WordSpanningTwoSentencesTakesTheSentenceOfItsStart)
{
    // ICU joins "שלום.Hello" into one word, but a sentence ends after the full stop.
    const QString text = u"Go שלום.Hello now."_s;
    EXPECT_EQ(at(text, 10), spanOf(u"שלום.Hello"_s, u"Go שלום."_s));
    EXPECT_EQ(at(text, 14), spanOf(u"now"_s, u"Hello now."_s));
}

TEST(SpanInTextTest, ScriptsAndCharactersBeyondAscii)
{
    // Right to left: offsets are logical, the display order plays no part.
    EXPECT_EQ(at(u"שלום עולם"_s, 6), spanOf(u"עולם"_s, u"שלום עולם"_s));
    EXPECT_EQ(at(u"مرحبا بالعالم."_s, 2), spanOf(u"مرحبا"_s, u"مرحبا بالعالم."_s));
    // No blanks in Japanese: ICU's dictionary finds the words.
    const QString japanese = u"東京に行きます。大阪も好き。"_s;
    EXPECT_EQ(at(japanese, 3), spanOf(u"行き"_s, u"東京に行きます。"_s));
    EXPECT_EQ(at(japanese, 7), spanOf(u"ます"_s, u"東京に行きます。"_s)) << "tie at the stop";
    EXPECT_EQ(at(japanese, 9), spanOf(u"大阪"_s, u"大阪も好き。"_s));
    // Combining mark: an index on the accent belongs to the word.
    EXPECT_EQ(at(u"cafe\u0301 au lait"_s, 4), spanOf(u"cafe\u0301"_s, u"cafe\u0301 au lait"_s));
}

TEST(SpanInTextTest, SurrogatePairsFromEitherHalf)
{
    // 𝐀𝐁 are letters outside the BMP: units 4-7.
    const QString letters = u"see 𝐀𝐁 now"_s;
    for (qsizetype i = 4; i < 8; ++i)
        EXPECT_EQ(at(letters, i), spanOf(u"𝐀𝐁"_s, letters)) << i;
    // An emoji is no word: its high half (3) is nearer "go", its low half (4) nearer "now".
    const QString emoji = u"go 😀 now"_s;
    EXPECT_EQ(at(emoji, 3)->word, u"go"_s);
    EXPECT_EQ(at(emoji, 4)->word, u"now"_s);
}

TEST(SpanInTextTest, LoneSurrogatesAreCharactersOfTheirOwn)
{
    const QString text = u"ab"_s + QChar(0xD800) + u"cd ef"_s + QChar(0xDC00);
    EXPECT_EQ(at(text, 2), spanOf(u"ab"_s, text)) << "tie between ab and cd";
    EXPECT_EQ(at(text, 3)->word, u"cd"_s);
    EXPECT_EQ(at(text, 8)->word, u"ef"_s);
    EXPECT_FALSE(at(QString(QChar(0xDC00)), 0));
}

TEST(SpanInTextTest, LongSentenceIsCutAroundTheWord)
{
    // 600 words "w000".."w599" in one sentence: every word is 5 characters with its blank.
    QString text;
    for (int k = 0; k < 600; ++k)
        text += u"w%1 "_s.arg(k, 3, 10, QChar(u'0'));
    text += u"end."_s;
    const qsizetype index = 300 * 5 + 1; // inside "w300"
    const auto span = at(text, index);
    ASSERT_TRUE(span);
    EXPECT_EQ(span->word, u"w300"_s);
    EXPECT_EQ(span->sentence, ellipsis + text.mid(1300, 400) + ellipsis);

    // Longer still: the sentence runs on far past the word.
    QString longer;
    for (int k = 0; k < 3000; ++k)
        longer += u"w%1 "_s.arg(k, 4, 10, QChar(u'0'));
    EXPECT_EQ(at(longer, 100 * 6), spanOf(u"w0100"_s, ellipsis + longer.mid(400, 400) + ellipsis));
    EXPECT_EQ(at(longer, 2000 * 6),
              spanOf(u"w2000"_s, ellipsis + longer.mid(11800, 400) + ellipsis));

    // Blanks collapse, so the sentence's end must be read however far it lies.
    const QString blanks = u"start here "_s + QString(9000, u' ') + u"tail words."_s;
    EXPECT_EQ(at(blanks, 0), spanOf(u"start"_s, u"start here tail words."_s));
}

TEST(NormalizeWordTest, StripsBlanksPunctuationAndSymbolsFromBothEndsOnly)
{
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"«state-of-the-art»,"_s), u"state-of-the-art"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"don't"_s), u"don't"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"“Hello,”"_s), u"Hello"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u" \u00A0\u2028$100%\n"_s), u"100"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"¿Qué?"_s), u"Qué"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"😀word👍"_s), u"word"_s) << "astral symbols";
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"cafe\u0301."_s), u"cafe\u0301"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"C++"_s), u"C"_s);
    EXPECT_EQ(TextSpanFinder::normalizeWord(u"..."_s), QString());
    EXPECT_EQ(TextSpanFinder::normalizeWord(QString()), QString());
    const QString lone = QString(QChar(0xD800)) + u"x!"_s;
    EXPECT_EQ(TextSpanFinder::normalizeWord(lone), lone.left(2));
}

TEST(SpanOfWordTest, CleansTheWordAndTrimsTheSentenceAroundIt)
{
    EXPECT_EQ(TextSpanFinder::span(u"“Hello,”"_s, std::nullopt), spanOf(u"Hello"_s, u"Hello"_s));
    EXPECT_FALSE(TextSpanFinder::span(u"..."_s, std::nullopt));
    EXPECT_FALSE(TextSpanFinder::span(u" \n"_s, u"a sentence"_s));
    EXPECT_EQ(TextSpanFinder::span(u"hi!"_s, u"  Say   hi \n now "_s),
              spanOf(u"hi"_s, u"Say hi now"_s));
    EXPECT_EQ(TextSpanFinder::span(u"hi"_s, u" \t\n "_s), spanOf(u"hi"_s, u"hi"_s));
    EXPECT_EQ(TextSpanFinder::span(u"hi"_s, QString()), spanOf(u"hi"_s, u"hi"_s));
    // The cut centres on the normalized word, not on the raw one.
    const QString sentence = QString(500, u'a') + u" (hi) "_s + QString(500, u'b');
    EXPECT_EQ(TextSpanFinder::span(u"(hi)"_s, sentence)->sentence,
              ellipsis + sentence.mid(302, 400) + ellipsis);
}

TEST(TrimTest, CollapsesEveryKindOfWhiteSpace)
{
    EXPECT_EQ(TextSpanFinder::trim(u"  a\n\tb  "_s, u"a"_s), u"a b"_s);
    EXPECT_EQ(TextSpanFinder::trim(u"a\u00A0\u3000b\u2028\r\nc\u2029"_s, u"b"_s), u"a b c"_s);
    EXPECT_EQ(TextSpanFinder::trim(u"\n \n"_s, u"x"_s), QString());
    // A blank carrying a combining mark is still one blank character.
    EXPECT_EQ(TextSpanFinder::trim(u"a \u0301b"_s, u"a"_s), u"a b"_s);
    EXPECT_EQ(TextSpanFinder::trim(u"a\u200Bb c"_s, u"a"_s), u"a\u200Bb c"_s) << "no White_Space";
}

TEST(TrimTest, CutsOnlyPastFourHundredCharacters)
{
    const QString exact = QString(400, u'x');
    EXPECT_EQ(TextSpanFinder::trim(exact, u"word"_s), exact);
    const QString longer = QString(401, u'x');
    EXPECT_EQ(TextSpanFinder::trim(longer, u"word"_s), exact + ellipsis);
    // Characters, not code units: 400 accented letters of two units each stay whole.
    QString accented;
    for (int k = 0; k < 400; ++k)
        accented += u"e\u0301"_s;
    EXPECT_EQ(TextSpanFinder::trim(accented, u"x"_s), accented);
    EXPECT_EQ(TextSpanFinder::trim(accented + u"e\u0301"_s, u"x"_s), accented + ellipsis);
    QString flags;
    for (int k = 0; k < 401; ++k)
        flags += u"🇫🇷"_s;
    EXPECT_EQ(TextSpanFinder::trim(flags, u"x"_s), flags.left(1600) + ellipsis);
    // White space that collapses does not count.
    const QString spaced = QString(200, u'a') + QString(50, u' ') + QString(199, u'b');
    EXPECT_EQ(TextSpanFinder::trim(spaced, u"x"_s), QString(200, u'a') + u' ' + QString(199, u'b'));
}

TEST(TrimTest, PlacesTheWordTwoHundredCharactersIn)
{
    auto sentenceWithWordAt = [](int position) {
        return QString(position, u'a') + u"word"_s + QString(996 - position, u'b');
    };
    const QString early = sentenceWithWordAt(50);
    EXPECT_EQ(TextSpanFinder::trim(early, u"word"_s), early.left(400) + ellipsis);
    const QString middle = sentenceWithWordAt(500);
    EXPECT_EQ(TextSpanFinder::trim(middle, u"word"_s), ellipsis + middle.mid(300, 400) + ellipsis);
    const QString late = sentenceWithWordAt(900);
    EXPECT_EQ(TextSpanFinder::trim(late, u"word"_s), ellipsis + late.mid(700));
    EXPECT_EQ(TextSpanFinder::trim(middle, u"absent"_s), middle.left(400) + ellipsis);
}

TEST(TrimTest, SearchIsExactButCanonicallyEquivalentFormsMatch)
{
    const QString filler = QString(500, u'a');
    // Case counts: "Word" is found at 700, not "word" at 100.
    const QString cased =
        QString(100, u'a') + u"word"_s + QString(596, u'a') + u"Word"_s + QString(300, u'a');
    EXPECT_EQ(TextSpanFinder::trim(cased, u"Word"_s), ellipsis + cased.mid(500, 400) + ellipsis);
    // Precomposed é in the text, decomposed in the word, and the other way round.
    const QString precomposed = filler + u"café"_s + filler;
    EXPECT_EQ(TextSpanFinder::trim(precomposed, u"cafe\u0301"_s),
              ellipsis + precomposed.mid(300, 400) + ellipsis);
    const QString decomposed = filler + u"cafe\u0301"_s + filler;
    EXPECT_EQ(TextSpanFinder::trim(decomposed, u"café"_s),
              ellipsis + decomposed.mid(300, 401) + ellipsis)
        << "the decomposed é is one character of two units";
    // "x" is no match inside the character x + acute (which has no precomposed form), nor
    // "cafe" inside "café": the later plain forms are found.
    const QString marked =
        QString(100, u'a') + u" x\u0301 cafe\u0301 "_s + filler + u" x cafe "_s + filler;
    const qsizetype plainX = marked.indexOf(u" x "_s) + 1;
    EXPECT_EQ(TextSpanFinder::trim(marked, u"x"_s),
              ellipsis + marked.mid(plainX - 200, 400) + ellipsis);
    EXPECT_EQ(TextSpanFinder::trim(marked, u"cafe"_s),
              ellipsis + marked.mid(plainX + 2 - 200, 400) + ellipsis);
    EXPECT_EQ(TextSpanFinder::trim(precomposed, u"CAFÉ"_s), precomposed.left(400) + ellipsis);
    // The same with a text already in NFC.
    const QString composedMarked = QString(100, u'a') + u" x\u0301 "_s + filler + u" x "_s + filler;
    EXPECT_EQ(TextSpanFinder::trim(composedMarked, u"x"_s),
              ellipsis + composedMarked.mid(composedMarked.indexOf(u" x "_s) + 1 - 200, 400) +
                  ellipsis);
}

TEST(TrimTest, LoneSurrogatesPassThrough)
{
    const QString lone = QString(QChar(0xDC00));
    const QString sentence = QString(300, u'a') + lone + u" word "_s + QString(300, u'b') + lone;
    EXPECT_EQ(TextSpanFinder::trim(sentence, u"word"_s),
              ellipsis + sentence.mid(102, 400) + ellipsis);
    EXPECT_EQ(TextSpanFinder::trim(lone + u"  x"_s, lone), lone + u" x"_s);
}

TEST(SnippetTest, FindsTheTermIgnoringCaseAndDiacritics)
{
    EXPECT_EQ(TextSpanFinder::snippet(u"the café opens"_s, u"Cafe"_s, 3), u"…he café op…"_s);
    EXPECT_EQ(TextSpanFinder::snippet(u"the café opens"_s, u"Cafe"_s, 10), u"the café opens"_s);
    EXPECT_EQ(TextSpanFinder::snippet(u"the cafe\u0301 opens"_s, u"CAFÉ"_s, 1),
              u"… cafe\u0301 …"_s);
    EXPECT_EQ(TextSpanFinder::snippet(u"Die Straße ist lang"_s, u"STRASSE"_s, 4),
              u"Die Straße ist…"_s);
    EXPECT_EQ(TextSpanFinder::snippet(u"one café, two cafés"_s, u"cafe"_s, 0), u"…café…"_s);
    EXPECT_EQ(TextSpanFinder::snippet(u"the café opens"_s, u"Cafe"_s, -4), u"…café…"_s);
}

TEST(SnippetTest, FlattensAndCountsCharacters)
{
    EXPECT_EQ(TextSpanFinder::snippet(u"a\n\n  b   term \t c d"_s, u"term"_s, 2), u"…b term c…"_s);
    // Radius in characters: each "e\u0301" and each flag is one.
    EXPECT_EQ(TextSpanFinder::snippet(u"e\u0301e\u0301e\u0301 hit 🇫🇷🇫🇷🇫🇷"_s, u"hit"_s, 2),
              u"…e\u0301 hit 🇫🇷…"_s);
}

TEST(SnippetTest, WithoutAMatchGivesTheStart)
{
    const QString text = u"abcdefghijklmnopqrstuvwxyz"_s;
    EXPECT_EQ(TextSpanFinder::snippet(text, u"none"_s, 10), text.left(20) + ellipsis);
    EXPECT_EQ(TextSpanFinder::snippet(text.left(20), u"none"_s, 10), text.left(20));
    EXPECT_EQ(TextSpanFinder::snippet(text, QString(), 2), u"abcd…"_s);
    EXPECT_EQ(TextSpanFinder::snippet(text, u"none"_s, 0), ellipsis);
    EXPECT_EQ(TextSpanFinder::snippet(text, u"none"_s, std::numeric_limits<qsizetype>::max()),
              text);
    EXPECT_EQ(TextSpanFinder::snippet(text, u"mno"_s, std::numeric_limits<qsizetype>::max()), text);
    EXPECT_EQ(TextSpanFinder::snippet(QString(), u"none"_s, 3), QString());
    EXPECT_EQ(TextSpanFinder::snippet(u"  \n "_s, u"none"_s, 3), QString());
    const QString lone = QString(QChar(0xD800));
    EXPECT_EQ(TextSpanFinder::snippet(lone + u"ab cd"_s + lone, u"CD"_s, 1), u"… cd"_s + lone);
}

} // namespace
