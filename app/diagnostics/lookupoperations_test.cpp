#include "diagnostics/lookupoperations.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The snapshot's file names are seen end to end in tests/e2e/snapshot_test.cpp.
TEST(LookupOperationsTest, RectangleTextHasOriginThenSize)
{
    EXPECT_EQ(LookupOperations::rectText(QRectF(812, 406, 470, 340)),
              u"{{812, 406}, {470, 340}}"_s);
    EXPECT_EQ(LookupOperations::rectText(QRectF(-478.5, 8, 470, 340)),
              u"{{-478.5, 8}, {470, 340}}"_s);
}

} // namespace
