#include "diagnostics/lookupoperations.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(LookupOperationsTest, RectangleTextHasOriginThenSize)
{
    EXPECT_EQ(LookupOperations::rectText(QRectF(812, 406, 470, 340)),
              u"{{812, 406}, {470, 340}}"_s);
    EXPECT_EQ(LookupOperations::rectText(QRectF(-478.5, 8, 470, 340)),
              u"{{-478.5, 8}, {470, 340}}"_s);
}

TEST(LookupOperationsTest, SnapshotFileNamesCarryTheTabId)
{
    using LookupOperations::snapshotFileName;
    EXPECT_EQ(snapshotFileName(u"shot.png"_s, u"wikipedia"_s), u"shot-wikipedia.png"_s);
    EXPECT_EQ(snapshotFileName(u"/tmp/a.png/shot.png"_s, u"apple"_s),
              u"/tmp/a-apple.png/shot-apple.png"_s);
    // Without ".png" every tab writes the same file.
    EXPECT_EQ(snapshotFileName(u"/tmp/shot"_s, u"chats"_s), u"/tmp/shot"_s);
}

} // namespace
