#include "highlighted.h"

#include <gtest/gtest.h>

namespace {

using Range = AttributedText::Range;

TEST(HighlightedTest, MatchesIgnoreCaseAndDiacriticsAndFindTheTermInsideWords)
{
    const AttributedText text =
        highlighted(QStringLiteral("Café, CAFE and cafeteria"), QStringLiteral("cafe"));
    EXPECT_EQ(text.text, QStringLiteral("Café, CAFE and cafeteria"));
    EXPECT_EQ(text.emphasised, (QList<Range>{{0, 4}, {6, 4}, {15, 4}}));
    EXPECT_EQ(text.emphasisedTexts(), (QStringList{QStringLiteral("Café"), QStringLiteral("CAFE"),
                                                   QStringLiteral("cafe")}));
}

TEST(HighlightedTest, AccentedTermMatchesPlainTextAndDecomposedAccents)
{
    // The term carries the accent, the text does not, and the other way round with a
    // combining accent (e + U+0301), which belongs to the match.
    const AttributedText text =
        highlighted(QStringLiteral("naive and nai\u0308ve"), QStringLiteral("na\u00efve"));
    EXPECT_EQ(text.emphasisedTexts(),
              (QStringList{QStringLiteral("naive"), QStringLiteral("nai\u0308ve")}));
}

TEST(HighlightedTest, MatchesDoNotOverlapAndSearchGoesOnAfterEachMatch)
{
    EXPECT_EQ(highlighted(QStringLiteral("aaaaa"), QStringLiteral("aa")).emphasised,
              (QList<Range>{{0, 2}, {2, 2}}));
    EXPECT_EQ(highlighted(QStringLiteral("word, word"), QStringLiteral("word")).emphasised,
              (QList<Range>{{0, 4}, {6, 4}}));
}

TEST(HighlightedTest, EmptyTermOrNoMatchLeavesTheTextAlone)
{
    EXPECT_TRUE(highlighted(QStringLiteral("some text"), QString()).emphasised.isEmpty());
    EXPECT_TRUE(
        highlighted(QStringLiteral("some text"), QStringLiteral("zebra")).emphasised.isEmpty());
    EXPECT_TRUE(highlighted(QString(), QStringLiteral("word")).emphasised.isEmpty());
    EXPECT_EQ(highlighted(QStringLiteral("some text"), QString()).text,
              QStringLiteral("some text"));
}

TEST(HighlightedTest, HtmlEscapesTheTextAndKeepsLineBreaks)
{
    const AttributedText text =
        highlighted(QStringLiteral("a <b>word</b>\nword & more"), QStringLiteral("word"));
    EXPECT_EQ(text.toHtml(),
              QStringLiteral("a &lt;b&gt;<b>word</b>&lt;/b&gt;<br><b>word</b> &amp; more"));
}

} // namespace
