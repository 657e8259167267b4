#include "diagnostics/indexoperations.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(IndexOperationsTest, ProgressAndIndexReportCountWholeMebibytes)
{
    const ChatIndex::Stats stats{5000, 40, 1234, (3 << 20) + (1 << 20) - 1, 1.5};
    EXPECT_EQ(IndexOperations::progressLine(stats), u"40 files, 1234 messages, 3 MB\n"_s);
    const QJsonObject report = IndexOperations::indexReport(stats, u"/d/chats.sqlite"_s);
    EXPECT_EQ(report, (QJsonObject{{"files", 5000},
                                   {"changedFiles", 40},
                                   {"messages", 1234},
                                   {"mbRead", 3},
                                   {"seconds", 1.5},
                                   {"db", "/d/chats.sqlite"}}));
}

} // namespace
