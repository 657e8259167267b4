#include "panelstyle.h"
#include "textlines.h"

#include <gtest/gtest.h>

namespace {

TEST(TextLinesTest, LongTextIsCutToTheLineLimitWithAnEllipsis)
{
    QString sentence;
    for (int i = 0; i < 20; ++i)
        sentence += QStringLiteral("the word again ");
    const QFont font = PanelStyle::calloutFont();
    const TextLines cut(highlighted(sentence, QStringLiteral("word")), font, 200, 2);
    EXPECT_EQ(cut.lineCount(), 2);
    EXPECT_TRUE(cut.isElided());
    EXPECT_LE(cut.usedWidth(), 200);

    const TextLines whole(highlighted(sentence, QStringLiteral("word")), font, 200, 0);
    EXPECT_GT(whole.lineCount(), 5);
    EXPECT_FALSE(whole.isElided());
    EXPECT_GT(whole.height(), cut.height());
}

TEST(TextLinesTest, ShortTextAndLineBreaks)
{
    const QFont font = PanelStyle::bodyFont();
    const TextLines one(AttributedText{QStringLiteral("short"), {}}, font, 300, 2);
    EXPECT_EQ(one.lineCount(), 1);
    EXPECT_FALSE(one.isElided());
    EXPECT_GT(one.firstBaseline(), 0);

    const TextLines broken(AttributedText{QStringLiteral("one\ntwo\nthree"), {}}, font, 300, 2);
    EXPECT_EQ(broken.lineCount(), 2);
    EXPECT_TRUE(broken.isElided());

    // A word longer than the width breaks inside instead of running off the edge.
    const TextLines path(
        AttributedText{QStringLiteral("/a/very/long/path/without/any/spaces/in/it/at/all"), {}},
        font, 80, 0);
    EXPECT_GT(path.lineCount(), 1);
    EXPECT_LE(path.usedWidth(), 80);
}

TEST(TextLinesTest, ExtraLineSpacingAddsBetweenLinesOnly)
{
    const QFont font = PanelStyle::bodyFont();
    const AttributedText text{QStringLiteral("a\nb\nc"), {}};
    const TextLines tight(text, font, 300, 0, 0);
    const TextLines loose(text, font, 300, 0, 2);
    EXPECT_DOUBLE_EQ(loose.height() - tight.height(), 4.0);
}

} // namespace
