#include "platform/atspi/textunits.h"

#include <QString>
#include <gtest/gtest.h>

// "a𝐀b" is 3 code points and 4 UTF-16 units; a conversion must never split the pair.
TEST(TextUnitsTest, StepsOverSurrogatePairsWhole)
{
    const QString text = QStringLiteral("a\U0001D400b");
    using TextUnits::Step;
    EXPECT_EQ(TextUnits::forward(text, 1), (Step{1, 1}));
    EXPECT_EQ(TextUnits::forward(text, 2), (Step{1, 1})); // the pair does not fit
    EXPECT_EQ(TextUnits::forward(text, 3), (Step{2, 3}));
    EXPECT_EQ(TextUnits::forward(text, 10), (Step{3, 4}));
    EXPECT_EQ(TextUnits::backward(text, 1), (Step{1, 1}));
    EXPECT_EQ(TextUnits::backward(text, 2), (Step{2, 3})); // the pair is taken whole
    EXPECT_EQ(TextUnits::backward(text, 10), (Step{3, 4}));
    EXPECT_EQ(TextUnits::unitsOf(text, 2), 3);
    EXPECT_EQ(TextUnits::unitsOf(text, 9), 4);
    // A lone surrogate is a code point of its own.
    EXPECT_EQ(TextUnits::forward(QString(QChar(0xD835)) + u'x', 2), (Step{2, 2}));
}
