#include "diagnostics.h"
#include "indexoperations.h"

#include <QJsonArray>
#include <gtest/gtest.h>

namespace {

TEST(IndexOperationsTest, ProgressAndIndexReportCountWholeMebibytes)
{
    const ChatIndex::Stats stats{5000, 40, 1234, (3 << 20) + (1 << 20) - 1, 1.5};
    EXPECT_EQ(IndexOperations::progressLine(stats),
              QStringLiteral("40 files, 1234 messages, 3 MB\n"));
    const QJsonObject report =
        IndexOperations::indexReport(stats, QStringLiteral("/d/chats.sqlite"));
    EXPECT_EQ(report, (QJsonObject{{"files", 5000},
                                   {"changedFiles", 40},
                                   {"messages", 1234},
                                   {"mbRead", 3},
                                   {"seconds", 1.5},
                                   {"db", "/d/chats.sqlite"}}));
}

TEST(IndexOperationsTest, SearchReportHasFourStringsPerHit)
{
    const ChatIndex::Hit hit{QStringLiteral("Codex"),
                             QStringLiteral("T"),
                             QStringLiteral("/w"),
                             QStringLiteral("abc"),
                             QStringLiteral("/p"),
                             QStringLiteral("user"),
                             QString(),
                             QStringLiteral("snip")};
    const QJsonObject report = IndexOperations::searchReport({hit}, 2.5);
    EXPECT_EQ(report.value(QStringLiteral("ms")).toDouble(), 2.5);
    EXPECT_EQ(report.value(QStringLiteral("hits")).toArray(),
              (QJsonArray{QJsonArray{"Codex", "T", "snip", "cd '/w' && codex resume abc"}}));
}

TEST(IndexOperationsTest, TheTableOrdersSettingsBeforeTheIndexOperations)
{
    QStringList names;
    for (const Diagnostics::Operation& operation : Diagnostics::operations())
        names.append(operation.name);
    const QStringList mine = {"--sw-url",          "--recall-model", "--model-name",
                              "--custom-base-url", "--index",        "--search"};
    qsizetype last = -1;
    for (const QString& name : mine) {
        const qsizetype at = names.indexOf(name);
        ASSERT_GT(at, last) << name.toStdString();
        last = at;
    }
    EXPECT_TRUE(Diagnostics::helpText().contains(QStringLiteral("--search TEXT")));
    EXPECT_EQ(Diagnostics::takingOver({"peekwell", "--sw-url", "x", "--search", "w"})->name,
              QStringLiteral("--search"));
    EXPECT_EQ(Diagnostics::takingOver({"peekwell", "--search"}), nullptr) << "no text, no search";
}

} // namespace
