#include "backends/chatsbackend.h"
#include "lookup/backenderror.h"
#include "lookup/copylink.h"
#include "tests/support/temphome.h"
#include "tests/support/transcriptlines.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

ChatIndex::Hit hit(const QString& harness, std::optional<QString> cwd, const QString& session)
{
    return ChatIndex::Hit{harness,
                          u"Fix the parser"_s,
                          std::move(cwd),
                          session,
                          u"/home/u/.pi/agent/sessions/x y.jsonl"_s,
                          u"user"_s,
                          u"2026-03-01T10:00:00.000Z"_s,
                          u"…the parser breaks…"_s};
}

// Quotes inside a value are closed, escaped and reopened; a session id that is not plain
// letters, digits, '-' and '_' is quoted so that it cannot run anything (a command in one is
// tried end to end in tests/e2e/chats_test.cpp).
TEST(ChatsBackendTest, ResumeCommandsPerAgent)
{
    const QString pi = u"'/home/u/.pi/agent/sessions/x y.jsonl'"_s;
    const QList<std::tuple<QString, std::optional<QString>, QString, QString>> cases = {
        {"Claude Code", std::nullopt, "a1-B_2", "claude --resume a1-B_2"},
        {"Zenith", "/work/app", "z", "cd '/work/app' && zenith-agent --resume " + pi},
        {"Pi", std::nullopt, "", "pi --resume " + pi},
        {"Codex", "/it's", "abc", "cd '/it'\\''s' && codex resume abc"},
        {"Codex", std::nullopt, "", "codex resume ''"},
    };
    for (const auto& [harness, cwd, session, command] : cases)
        EXPECT_EQ(ChatsBackend::resumeCommand(hit(harness, cwd, session)), command)
            << session.toStdString();
}

TEST(ChatsBackendTest, RelativeTimeInShortEnglishUnits)
{
    const QDateTime now = QDateTime::fromString(u"2026-03-01T12:00:00Z"_s, Qt::ISODate);
    auto relative = [&](const char* text) {
        return ChatsBackend::relative(QString::fromLatin1(text), now);
    };
    EXPECT_EQ(relative("2026-03-01T10:00:00.000Z"), u"2 hr. ago"_s);
    EXPECT_EQ(relative("2026-03-01T11:54:59.500001Z"), u"5 min. ago"_s);
    EXPECT_EQ(relative("2026-03-01T12:59:00+02:00"), u"1 hr. ago"_s);
    EXPECT_EQ(relative("2026-02-28T11:00:00Z"), u"1 day ago"_s);
    EXPECT_EQ(relative("2026-02-08T12:00:00Z"), u"3 wk. ago"_s);
    EXPECT_EQ(relative("2025-12-25T12:00:00Z"), u"2 mo. ago"_s);
    EXPECT_EQ(relative("2024-01-01T00:00:00Z"), u"2 yr. ago"_s);
    EXPECT_EQ(relative("2026-03-01T11:59:30Z"), u"30 sec. ago"_s);
    EXPECT_EQ(relative("2026-03-01T14:00:00Z"), u"in 2 hr."_s);
    for (const char* bad : {"", "yesterday", "2026-03-01", "2026-03-01T10:00:00",
                            "2026-03-01 10:00:00Z", "2026-13-01T10:00:00Z"})
        EXPECT_FALSE(relative(bad)) << bad;
}

TEST(ChatsBackendTest, ItemShowsAgentFolderTimeAndSpeaker)
{
    ChatIndex::Hit full = hit(u"Codex"_s, u"/work/my-app"_s, u"abc"_s);
    full.timestamp = QDateTime::currentDateTimeUtc().addSecs(-7200).toString(Qt::ISODate);
    LookupItem item = ChatsBackend::item(full);
    EXPECT_EQ(item.id, full.path);
    EXPECT_EQ(item.title, u"Fix the parser"_s);
    EXPECT_EQ(item.detail, u"Codex · my-app · 2 hr. ago · you"_s);
    EXPECT_EQ(item.body, full.snippet);
    ASSERT_TRUE(item.url);
    EXPECT_EQ(CopyLink::text(*item.url), u"cd '/work/my-app' && codex resume abc"_s);

    full.cwd = u"/work/my-app/"_s;
    EXPECT_EQ(ChatsBackend::item(full).detail, u"Codex · my-app · 2 hr. ago · you"_s);

    ChatIndex::Hit sparse = hit(QString(), std::nullopt, u"sess"_s);
    sparse.title.clear();
    sparse.role = u"assistant"_s;
    sparse.timestamp = u"not a date"_s;
    item = ChatsBackend::item(sparse);
    EXPECT_EQ(item.title, u"sess"_s);
    EXPECT_EQ(item.detail, u" · agent"_s) << "an empty harness keeps its place";
}

TEST(ChatsBackendTest, LookupFailsOnAnEmptyIndexAndShowsEightHits)
{
    TempHome home;
    ChatIndex index;
    const ChatsBackend backend({u"chats"_s, u"Chats"_s, u"bubble"_s, 3}, index);
    const LookupQuery query{u"widget"_s, std::nullopt, std::nullopt};
    try {
        backend.lookup(query).waitForAll();
        FAIL() << "an empty index fails the tab";
    } catch (const BackendError& error) {
        EXPECT_EQ(error.localizedDescription(), u"Chat index is still being built"_s);
    }
    index.update(); // a finished pass that found nothing says where it looked
    try {
        backend.lookup(query).waitForAll();
        FAIL() << "an index without transcripts fails the tab";
    } catch (const BackendError& error) {
        EXPECT_EQ(error.localizedDescription(),
                  QStringLiteral("No conversations yet in ~/.claude/projects, ~/.codex/sessions, "
                                 "~/.pi/agent/sessions or ~/.zenith/agent/sessions"));
    }

    home.write(u".claude/projects/p/none.jsonl"_s, "");
    index.update();
    QList<LookupItems> lists = backend.lookup(query).waitForAll();
    ASSERT_EQ(lists.size(), 1) << "one list, even when empty";
    EXPECT_TRUE(lists[0].isEmpty());

    for (int f = 0; f < 12; ++f) {
        QByteArray lines;
        for (int m = 0; m < 3; ++m)
            lines += claudeLine("user", "widget number " + QByteArray::number(f) + " line " +
                                            QByteArray::number(m));
        home.write(u".claude/projects/p/f%1.jsonl"_s.arg(f), lines);
    }
    index.update();
    lists = backend.lookup(query).waitForAll();
    ASSERT_EQ(lists.size(), 1);
    EXPECT_EQ(lists[0].size(), 8);
}

} // namespace
