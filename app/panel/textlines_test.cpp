#include "panel/panelstyle.h"
#include "panel/textlines.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(TextLinesTest, TextIsCutToTheLineLimitWithAnEllipsisAndLongWordsBreak)
{
    QString sentence;
    for (int i = 0; i < 20; ++i)
        sentence += u"the word again "_s;
    const QFont font = PanelStyle::calloutFont();
    const TextLines cut(highlighted(sentence, u"word"_s), font, 200, 2);
    EXPECT_EQ(cut.lineCount(), 2);
    EXPECT_TRUE(cut.isElided());
    EXPECT_LE(cut.usedWidth(), 200);

    const TextLines whole(highlighted(sentence, u"word"_s), font, 200, 0);
    EXPECT_GT(whole.lineCount(), 5);
    EXPECT_FALSE(whole.isElided());
    EXPECT_GT(whole.height(), cut.height());

    const TextLines one(AttributedText{u"short"_s, {}}, font, 300, 2);
    EXPECT_EQ(one.lineCount(), 1);
    EXPECT_FALSE(one.isElided());
    EXPECT_GT(one.firstBaseline(), 0);

    const TextLines broken(AttributedText{u"one\ntwo\nthree"_s, {}}, font, 300, 2);
    EXPECT_EQ(broken.lineCount(), 2);
    EXPECT_TRUE(broken.isElided());

    // A word longer than the width breaks inside instead of running off the edge.
    const TextLines path(AttributedText{u"/a/very/long/path/without/any/spaces/in/it/at/all"_s, {}},
                         font, 80, 0);
    EXPECT_GT(path.lineCount(), 1);
    EXPECT_LE(path.usedWidth(), 80);
}

} // namespace
