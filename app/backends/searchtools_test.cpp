#include "searchchatstool.h"
#include "searchlibrarytool.h"

#include <gtest/gtest.h>

namespace {

TEST(SearchToolsTest, ReportsLeaveOutWhatAHitOrDocumentLacks)
{
    const ChatIndex::Hit undated{QStringLiteral("Codex"),
                                 QString(),
                                 std::nullopt,
                                 QStringLiteral("s"),
                                 QStringLiteral("/p.jsonl"),
                                 QStringLiteral("assistant"),
                                 QStringLiteral("yesterday"),
                                 QStringLiteral("…a snippet…")};
    const ChatIndex::Hit titled{
        QStringLiteral("Pi"),       QStringLiteral("Short"), std::nullopt, QStringLiteral("t"),
        QStringLiteral("/q.jsonl"), QStringLiteral("user"),  QString(),    QStringLiteral("text")};
    EXPECT_EQ(SearchChatsTool::report(QStringLiteral("x y"), {undated, titled}),
              QStringLiteral("• “” (Codex, ): …a snippet…\n• “Short” (Pi, ): text"));
    EXPECT_EQ(SearchChatsTool::report(QStringLiteral("  Odd “query” "), {}),
              QStringLiteral("No conversations mention “  Odd “query” ”."));

    const LookupItem withoutBody{QStringLiteral("d"), QStringLiteral("Notes"), std::nullopt,
                                 std::nullopt, std::nullopt};
    EXPECT_EQ(SearchLibraryTool::report(QStringLiteral("x"), {withoutBody}),
              QStringLiteral("• “Notes”: "));
    EXPECT_EQ(SearchLibraryTool::report(QStringLiteral("x"), {}),
              QStringLiteral("No library documents mention “x”."));
}

} // namespace
