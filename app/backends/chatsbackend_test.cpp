#include "backenderror.h"
#include "chatsbackend.h"
#include "copylink.h"
#include "temphome.h"

#include <QSet>
#include <gtest/gtest.h>
#include <string>

namespace {

ChatIndex::Hit hit(const QString& harness, std::optional<QString> cwd, const QString& session)
{
    return ChatIndex::Hit{harness,
                          QStringLiteral("Fix the parser"),
                          std::move(cwd),
                          session,
                          QStringLiteral("/home/u/.pi/agent/sessions/x y.jsonl"),
                          QStringLiteral("user"),
                          QStringLiteral("2026-03-01T10:00:00.000Z"),
                          QStringLiteral("…the parser breaks…")};
}

// Quotes inside a value are closed, escaped and reopened; a session id that is not plain
// letters, digits, '-' and '_' is quoted so that it cannot run anything.
TEST(ChatsBackendTest, ResumeCommandsPerAgent)
{
    const QString pi = QStringLiteral("'/home/u/.pi/agent/sessions/x y.jsonl'");
    const QList<std::tuple<QString, std::optional<QString>, QString, QString>> cases = {
        {"Codex", "/work/app", "abc", "cd '/work/app' && codex resume abc"},
        {"Claude Code", std::nullopt, "a1-B_2", "claude --resume a1-B_2"},
        {"Zenith", "/work/app", "z", "cd '/work/app' && zenith-agent --resume " + pi},
        {"Pi", std::nullopt, "", "pi --resume " + pi},
        {"", std::nullopt, "", "pi --resume " + pi},
        {"Codex", "/it's", "abc", "cd '/it'\\''s' && codex resume abc"},
        {"Claude Code", std::nullopt, "x; rm -rf ~", "claude --resume 'x; rm -rf ~'"},
        {"Codex", std::nullopt, "$(touch p)'", "codex resume '$(touch p)'\\'''"},
        {"Codex", std::nullopt, "", "codex resume ''"},
    };
    for (const auto& [harness, cwd, session, command] : cases)
        EXPECT_EQ(ChatsBackend::resumeCommand(hit(harness, cwd, session)), command)
            << session.toStdString();
}

TEST(ChatsBackendTest, RelativeTimeInShortEnglishUnits)
{
    const QDateTime now =
        QDateTime::fromString(QStringLiteral("2026-03-01T12:00:00Z"), Qt::ISODate);
    auto relative = [&](const char* text) {
        return ChatsBackend::relative(QString::fromLatin1(text), now);
    };
    EXPECT_EQ(relative("2026-03-01T10:00:00.000Z"), QStringLiteral("2 hr. ago"));
    EXPECT_EQ(relative("2026-03-01T10:00:00Z"), QStringLiteral("2 hr. ago"));
    EXPECT_EQ(relative("2026-03-01T11:54:59.500001Z"), QStringLiteral("5 min. ago"));
    EXPECT_EQ(relative("2026-03-01T12:59:00+02:00"), QStringLiteral("1 hr. ago"));
    EXPECT_EQ(relative("2026-02-28T11:00:00Z"), QStringLiteral("1 day ago"));
    EXPECT_EQ(relative("2026-02-08T12:00:00Z"), QStringLiteral("3 wk. ago"));
    EXPECT_EQ(relative("2025-12-25T12:00:00Z"), QStringLiteral("2 mo. ago"));
    EXPECT_EQ(relative("2024-01-01T00:00:00Z"), QStringLiteral("2 yr. ago"));
    EXPECT_EQ(relative("2026-03-01T11:59:30Z"), QStringLiteral("30 sec. ago"));
    EXPECT_EQ(relative("2026-03-01T14:00:00Z"), QStringLiteral("in 2 hr."));
    for (const char* bad : {"", "yesterday", "2026-03-01", "2026-03-01T10:00:00",
                            "2026-03-01 10:00:00Z", "2026-13-01T10:00:00Z"})
        EXPECT_FALSE(relative(bad)) << bad;
}

TEST(ChatsBackendTest, ItemShowsAgentFolderTimeAndSpeaker)
{
    ChatIndex::Hit full =
        hit(QStringLiteral("Codex"), QStringLiteral("/work/my-app"), QStringLiteral("abc"));
    full.timestamp = QDateTime::currentDateTimeUtc().addSecs(-7200).toString(Qt::ISODate);
    LookupItem item = ChatsBackend::item(full);
    EXPECT_EQ(item.id, full.path);
    EXPECT_EQ(item.title, QStringLiteral("Fix the parser"));
    EXPECT_EQ(item.detail, QStringLiteral("Codex · my-app · 2 hr. ago · you"));
    EXPECT_EQ(item.body, full.snippet);
    ASSERT_TRUE(item.url);
    EXPECT_EQ(CopyLink::text(*item.url), QStringLiteral("cd '/work/my-app' && codex resume abc"));

    full.cwd = QStringLiteral("/work/my-app/");
    EXPECT_EQ(ChatsBackend::item(full).detail, QStringLiteral("Codex · my-app · 2 hr. ago · you"));

    ChatIndex::Hit sparse = hit(QString(), std::nullopt, QStringLiteral("sess"));
    sparse.title.clear();
    sparse.role = QStringLiteral("assistant");
    sparse.timestamp = QStringLiteral("not a date");
    item = ChatsBackend::item(sparse);
    EXPECT_EQ(item.title, QStringLiteral("sess"));
    EXPECT_EQ(item.detail, QStringLiteral(" · agent")) << "an empty harness keeps its place";
}

std::string userLine(const std::string& text, const std::string& session)
{
    return R"({"type":"user","sessionId":")" + session +
           R"(","cwd":"/w/p","timestamp":"2026-03-01T12:00:00Z","message":{"role":"user","content":")" +
           text + "\"}}\n";
}

TEST(ChatsBackendTest, LookupFailsOnAnEmptyIndexAndShowsEightDistinctFiles)
{
    TempHome home;
    ChatIndex index;
    const ChatsBackend backend(
        {QStringLiteral("chats"), QStringLiteral("Chats"), QStringLiteral("bubble"), 3}, index);
    const LookupQuery query{QStringLiteral("widget"), std::nullopt, std::nullopt};
    try {
        backend.lookup(query).waitForAll();
        FAIL() << "an empty index fails the tab";
    } catch (const BackendError& error) {
        EXPECT_EQ(error.localizedDescription(), QStringLiteral("Chat index is still being built"));
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

    home.write(QStringLiteral(".claude/projects/p/none.jsonl"), "");
    index.update();
    QList<LookupItems> lists = backend.lookup(query).waitForAll();
    ASSERT_EQ(lists.size(), 1) << "one list, even when empty";
    EXPECT_TRUE(lists[0].isEmpty());

    for (int f = 0; f < 12; ++f) {
        std::string lines;
        for (int m = 0; m < 3; ++m)
            lines += userLine("widget number " + std::to_string(f) + " line " + std::to_string(m),
                              "s" + std::to_string(f));
        home.write(QStringLiteral(".claude/projects/p/f%1.jsonl").arg(f),
                   QByteArray::fromStdString(lines));
    }
    index.update();
    lists = backend.lookup(query).waitForAll();
    ASSERT_EQ(lists.size(), 1);
    EXPECT_EQ(lists[0].size(), 8);
    QSet<QString> ids;
    for (const LookupItem& item : lists[0])
        ids.insert(item.id);
    EXPECT_EQ(ids.size(), 8);
}

} // namespace
