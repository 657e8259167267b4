#include "chats/chatindex.h"
#include "tests/support/temphome.h"
#include "tests/support/transcriptlines.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

void append(const QString& path, const QByteArray& data)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write(data);
}

class ChatIndexTest : public ::testing::Test {
protected:
    TempHome home;
    std::unique_ptr<ChatIndex> index = std::make_unique<ChatIndex>();

    QString claude(const QString& name, const QByteArray& contents)
    {
        return home.write(u".claude/projects/-work-app/"_s + name, contents);
    }
    int hitCount(const QString& text) { return static_cast<int>(index->search(text, 100).size()); }
    // A symbolic link at `at` (under the home) to `target`.
    void link(const QString& target, const QString& at)
    {
        ASSERT_EQ(::symlink(QFile::encodeName(target).constData(),
                            QFile::encodeName(home.path() + at).constData()),
                  0);
    }
};

TEST_F(ChatIndexTest, FindsTranscriptsByAgentAndDepth)
{
    EXPECT_EQ(index->update().files, 0) << "no agents' folders at all";
    claude(u"a.jsonl"_s, claudeLine("user", "alpha words"));
    claude(u"a/subagents/agent-1.jsonl"_s, claudeLine("user", "alpha deep"));
    home.write(u".claude/projects/top.jsonl"_s, claudeLine("user", "alpha top"));
    claude(u"notes.txt"_s, claudeLine("user", "alpha text"));
    home.write(u".pi/agent/sessions/x/p.jsonl"_s,
               R"({"type":"message","message":{"role":"user","content":"alpha pi"}})"
               "\n");
    home.write(u".zenith/agent/sessions/z.jsonl"_s,
               R"({"type":"message","message":{"role":"user","content":"alpha zenith"}})"
               "\n");
    // A linked transcript is read through its link; a linked folder that points back up the
    // tree is not followed. (Codex's dated folders are read end to end in tests/e2e.)
    const QString outside =
        home.write(u"elsewhere/linked.jsonl"_s, claudeLine("user", "alpha linked"));
    link(outside, u"/.claude/projects/-work-app/l.jsonl"_s);
    ASSERT_TRUE(QDir(home.path()).mkpath(u".codex/sessions"_s));
    link(home.path() + u"/.codex"_s, u"/.codex/sessions/loop"_s);
    // A named pipe posing as a transcript is not a file to wait on.
    ASSERT_EQ(
        ::mkfifo(QFile::encodeName(home.path() + u"/.codex/sessions/pipe.jsonl"_s).constData(),
                 0600),
        0);

    const ChatIndex::Stats stats = index->update();
    EXPECT_EQ(stats.files, 5);
    EXPECT_EQ(stats.changedFiles, 5);
    EXPECT_EQ(stats.messages, 4);
    EXPECT_EQ(index->sessionCount(), 5);
    // Without a session id in the transcript, the file's name stands for it.
    QStringList hits;
    for (const ChatIndex::Hit& hit : index->search(u"alpha"_s, 10))
        hits.append(
            QStringList{hit.harness, hit.session, hit.cwd.value_or(u"none"_s), hit.snippet}.join(
                u':'));
    hits.sort();
    EXPECT_EQ(hits, (QStringList{"Claude Code:sess-1:/work/app:alpha linked",
                                 "Claude Code:sess-1:/work/app:alpha words", "Pi:p:none:alpha pi",
                                 "Zenith:z:none:alpha zenith"}));
}

TEST_F(ChatIndexTest, PassesReadOnlyWhatIsNew)
{
    const QByteArray first =
        claudeLine("user", "first question") + claudeLine("assistant", "first answer");
    const QString path = claude(u"s.jsonl"_s, first);
    ChatIndex::Stats stats = index->update();
    EXPECT_EQ(stats.changedFiles, 1);
    EXPECT_EQ(stats.messages, 2);
    EXPECT_EQ(stats.bytesRead, static_cast<std::int64_t>(first.size()));

    stats = index->update();
    EXPECT_EQ(stats.changedFiles, 0);
    EXPECT_EQ(stats.bytesRead, 0);

    // A line without its newline waits; once complete it is read, and only it. What the earlier
    // pass learnt of the session carries over to a line that does not repeat it.
    const QByteArray next =
        R"({"type":"user","timestamp":"2026-03-02T09:00:00Z","message":{"role":"user","content":"second question"}})"
        "\n";
    append(path, next.chopped(1));
    stats = index->update();
    EXPECT_EQ(stats.changedFiles, 1);
    EXPECT_EQ(stats.messages, 0);
    EXPECT_EQ(stats.bytesRead, 0);
    EXPECT_EQ(hitCount(u"second"_s), 0);
    append(path, "\n");
    stats = index->update();
    EXPECT_EQ(stats.messages, 1);
    EXPECT_EQ(stats.bytesRead, static_cast<std::int64_t>(next.size()));
    const QList<ChatIndex::Hit> second = index->search(u"second"_s, 8);
    ASSERT_EQ(second.size(), 1);
    EXPECT_EQ(second[0].session, u"sess-1"_s);
    EXPECT_EQ(second[0].cwd, u"/work/app"_s);
    EXPECT_EQ(second[0].title, u"first question"_s);
    EXPECT_EQ(second[0].timestamp, u"2026-03-02T09:00:00Z"_s);

    // Shrunk: everything is read again from the start.
    home.write(u".claude/projects/-work-app/s.jsonl"_s, claudeLine("user", "replaced"));
    stats = index->update();
    EXPECT_EQ(stats.messages, 1);
    EXPECT_EQ(hitCount(u"question"_s), 0);
    EXPECT_EQ(hitCount(u"replaced"_s), 1);
}

// Runs `work` on this thread with the file-system rights of an ordinary user when the test
// runs as root (who can read any file): everything under the home is opened up to that user
// first, except what the test locks afterwards.
class OrdinaryUser {
public:
    explicit OrdinaryUser(const QString& home) : m_root(::geteuid() == 0)
    {
        if (!m_root)
            return;
        ::chmod(QFile::encodeName(home).constData(), 0777);
        QDirIterator it(home, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            ::chmod(QFile::encodeName(path).constData(), it.fileInfo().isDir() ? 0777 : 0666);
        }
    }
    template <typename Work> auto run(Work work)
    {
        if (m_root)
            ::setfsuid(65534);
        auto result = work();
        if (m_root)
            ::setfsuid(0);
        return result;
    }

private:
    bool m_root;
};

TEST_F(ChatIndexTest, VanishedAndUnreadableFilesKeepWhatWasReadAndAreReadAgainLater)
{
    const QString gone = claude(u"gone.jsonl"_s, claudeLine("user", "vanishing"));
    const QString target = home.write(u"target.jsonl"_s, claudeLine("user", "via link"));
    link(target, u"/.claude/projects/-work-app/link.jsonl"_s);
    const QString locked = claude(u"locked.jsonl"_s, claudeLine("user", "kept"));
    index->update();
    ASSERT_EQ(hitCount(u"vanishing"_s), 1);
    ASSERT_EQ(hitCount(u"via link"_s), 1);

    // A deleted transcript is no longer visited: its row and messages stay.
    QFile::remove(gone);
    // One seen without readable attributes (here a dangling link, as when a file vanishes
    // between listing and reading) has size 0: its messages go and its row is reset.
    QFile::rename(target, target + u".moved"_s);
    // One that cannot be opened keeps its row and messages and is tried on every pass.
    append(locked, claudeLine("user", "later words"));
    OrdinaryUser user(home.path());
    ::chmod(QFile::encodeName(locked).constData(), 0);
    ChatIndex::Stats stats = user.run([&] { return index->update(); });
    EXPECT_EQ(stats.files, 2);
    EXPECT_EQ(stats.changedFiles, 2);
    EXPECT_EQ(stats.messages, 0);
    EXPECT_EQ(hitCount(u"vanishing"_s), 1);
    EXPECT_EQ(hitCount(u"via link"_s), 0);
    EXPECT_EQ(hitCount(u"kept"_s), 1);
    EXPECT_EQ(index->sessionCount(), 3);
    EXPECT_EQ(user.run([&] { return index->update(); }).changedFiles, 1) << "tried again";

    // Once back, the link is read from the start and the locked file from where it stood.
    QFile::rename(target + u".moved"_s, target);
    ::chmod(QFile::encodeName(locked).constData(), 0666);
    stats = user.run([&] { return index->update(); });
    EXPECT_EQ(stats.messages, 2);
    EXPECT_EQ(hitCount(u"via link"_s), 1);
    EXPECT_EQ(hitCount(u"later"_s), 1);
    EXPECT_EQ(hitCount(u"kept"_s), 1);
}

TEST_F(ChatIndexTest, MessyFilesNeverStopAPass)
{
    // Blank lines only; CRLF line ends; a line that is not JSON; a 50 MB line without
    // markers and a 50 MB line with one, each followed by a good line; a file that ends
    // mid-line.
    claude(u"blank.jsonl"_s, "\n\n\r\n\n");
    QByteArray crlf = claudeLine("user", "carriage one");
    crlf.insert(crlf.size() - 1, '\r');
    claude(u"crlf.jsonl"_s, crlf + crlf);
    claude(u"huge.jsonl"_s, "not json at all\n" + QByteArray(50 * 1024 * 1024, 'x') + "\n" +
                                claudeLine("user", "after huge") + R"({"role":"user","x":")" +
                                QByteArray(50 * 1024 * 1024, 'y') + "\"}\n" +
                                claudeLine("user", "after marked"));
    claude(u"cut.jsonl"_s, claudeLine("user", "whole line") + R"({"type":"user","message":{"ro)");

    const ChatIndex::Stats stats = index->update();
    EXPECT_EQ(stats.files, 4);
    EXPECT_EQ(stats.messages, 5);
    EXPECT_EQ(hitCount(u"carriage"_s), 1);
    EXPECT_EQ(hitCount(u"after huge"_s), 1);
    EXPECT_EQ(hitCount(u"after marked"_s), 1);
    EXPECT_EQ(hitCount(u"whole"_s), 1);
    // The cut line is read again on every pass until it is complete.
    EXPECT_EQ(index->update().changedFiles, 1);
}

TEST_F(ChatIndexTest, LinesAcrossChunkBoundariesAreReadWhole)
{
    // About 20 MB of 3 KB lines: many lines straddle the 8 MiB reads.
    QByteArray contents;
    const QByteArray padding(3000, 'p');
    int lines = 0;
    while (contents.size() < 20 * 1024 * 1024) {
        contents += claudeLine("assistant", "marker" + QByteArray::number(lines) + " " + padding);
        ++lines;
    }
    claude(u"big.jsonl"_s, contents);
    const ChatIndex::Stats stats = index->update();
    EXPECT_EQ(stats.messages, lines);
    EXPECT_EQ(stats.bytesRead, static_cast<std::int64_t>(contents.size()));
    EXPECT_EQ(hitCount(u"marker"_s + QString::number(lines - 1)), 1);
}

TEST_F(ChatIndexTest, AnotherProcessWritingDefersThePassInsteadOfStallingIt)
{
    for (int i = 0; i < 5; ++i)
        claude(u"f%1.jsonl"_s.arg(i), claudeLine("user", "deferred " + QByteArray::number(i)));
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(index->url()).constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    // The pass waits one busy time-out, then leaves every file for later.
    ChatIndex::Stats stats = index->update();
    EXPECT_EQ(stats.files, 5);
    EXPECT_EQ(stats.changedFiles, 0);
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    stats = index->update();
    EXPECT_EQ(stats.changedFiles, 5);
    EXPECT_EQ(hitCount(u"deferred"_s), 5);
}

TEST(ChatIndexFailureTest, AnUnusableDatabaseGivesZeroAndNothing)
{
    TempHome home;
    home.write(u".claude/projects/p/s.jsonl"_s, claudeLine("user", "unreachable"));
    // A file where the database's folder should be.
    const QString blocker = home.write(u"blocker"_s, "x");
    ChatIndex index(blocker + u"/chats.sqlite"_s);
    int calls = 0;
    EXPECT_EQ(index.update([&](const ChatIndex::Stats&) { ++calls; }), ChatIndex::Stats{});
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(index.search(u"unreachable"_s, 8).isEmpty());
    EXPECT_EQ(index.sessionCount(), 0);
}

} // namespace
