#include "backends/searchchatstool.h"
#include "backends/searchlibrarytool.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The answers with nothing found reach the model in recallbackend_test.cpp.
TEST(SearchToolsTest, ReportsCutLongTitlesAndLeaveOutWhatAHitOrDocumentLacks)
{
    // 69 letters, then a letter with a combining accent: one character of two code units.
    const QString title = QString(69, u'a') + u"e\u0301 and more"_s;
    const QString twoHoursAgo =
        QDateTime::currentDateTimeUtc().addSecs(-7200).toString(Qt::ISODate);
    const ChatIndex::Hit dated{u"Claude Code"_s, title,     std::nullopt, u"s"_s,
                               u"/p.jsonl"_s,    u"user"_s, twoHoursAgo,  u"…a snippet…"_s};
    const ChatIndex::Hit undated{u"Pi"_s,       QString(), std::nullopt,   u"t"_s,
                                 u"/q.jsonl"_s, u"user"_s, u"yesterday"_s, u"text"_s};
    EXPECT_EQ(SearchChatsTool::report(u"x y"_s, {dated, undated}),
              u"• “"_s + QString(69, u'a') +
                  u"e\u0301” (Claude Code, 2 hr. ago): …a snippet…\n• “” (Pi, ): text"_s);

    const LookupItem withoutBody{u"d"_s, u"Notes"_s, std::nullopt, std::nullopt, std::nullopt};
    EXPECT_EQ(SearchLibraryTool::report(u"x"_s, {withoutBody}), u"• “Notes”: "_s);
}

} // namespace
