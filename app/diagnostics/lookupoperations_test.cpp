#include "arguments.h"
#include "diagnostics.h"
#include "lookupoperations.h"

#include <gtest/gtest.h>

namespace {

TEST(LookupOperationsTest, RectangleTextHasOriginThenSize)
{
    EXPECT_EQ(LookupOperations::rectText(QRectF(812, 406, 470, 340)),
              QStringLiteral("{{812, 406}, {470, 340}}"));
    EXPECT_EQ(LookupOperations::rectText(QRectF(-478.5, 8, 470, 340)),
              QStringLiteral("{{-478.5, 8}, {470, 340}}"));
}

TEST(LookupOperationsTest, SnapshotFileNamesCarryTheTabId)
{
    using LookupOperations::snapshotFileName;
    EXPECT_EQ(snapshotFileName(QStringLiteral("shot.png"), QStringLiteral("wikipedia")),
              QStringLiteral("shot-wikipedia.png"));
    EXPECT_EQ(snapshotFileName(QStringLiteral("/tmp/a.png/shot.png"), QStringLiteral("apple")),
              QStringLiteral("/tmp/a-apple.png/shot-apple.png"));
    // Without ".png" every tab writes the same file.
    EXPECT_EQ(snapshotFileName(QStringLiteral("/tmp/shot"), QStringLiteral("chats")),
              QStringLiteral("/tmp/shot"));
}

TEST(LookupOperationsTest, LookupAndSnapshotTakeOverOnlyWithTheirValues)
{
    auto over = [](QStringList arguments) {
        arguments.prepend(QStringLiteral("peekwell"));
        const Diagnostics::Operation* operation = Diagnostics::takingOver(arguments);
        return operation ? operation->name : QString();
    };
    EXPECT_EQ(over({QStringLiteral("--lookup"), QStringLiteral("word")}),
              QStringLiteral("--lookup"));
    EXPECT_EQ(over({QStringLiteral("--lookup")}), QString());
    EXPECT_EQ(
        over({QStringLiteral("--snapshot"), QStringLiteral("shot.png"), QStringLiteral("word")}),
        QStringLiteral("--snapshot"));
    EXPECT_EQ(over({QStringLiteral("--snapshot"), QStringLiteral("shot.png")}), QString());
    for (const Diagnostics::Operation& operation : Diagnostics::operations()) {
        if (operation.name == QStringLiteral("--lookup") ||
            operation.name == QStringLiteral("--snapshot")) {
            EXPECT_EQ(operation.kind, Diagnostics::Kind::Windowed);
        }
    }
}

} // namespace
