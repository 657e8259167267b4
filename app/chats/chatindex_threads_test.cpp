#include "chats/chatindex.h"
#include "tests/support/temphome.h"
#include "tests/support/transcriptlines.h"

#include <QFile>
#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <thread>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;

namespace {

// Claude Code transcripts: `files` files of `messages` messages each.
void writeCorpus(const TempHome& home, const QString& folder, int files, const QByteArray& word,
                 int messages)
{
    for (int f = 0; f < files; ++f) {
        QByteArray contents;
        for (int m = 0; m < messages; ++m)
            contents +=
                claudeLine("user", word + " message " + QByteArray::number(m) + " of file " +
                                       QByteArray::number(f) + " with some more words to index");
        home.write(folder + u"/f%1.jsonl"_s.arg(f), contents);
    }
}

// True while some connection holds the database's write lock, that is while a pass is inside
// a file's transaction.
bool writerActive(const QString& db)
{
    sqlite3* handle = nullptr;
    sqlite3_open_v2(QFile::encodeName(db).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr);
    const bool busy =
        sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_BUSY;
    if (!busy)
        sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(handle);
    return busy;
}

TEST(ChatIndexThreadsTest, OnePassAtATimeAndSearchesBesideIt)
{
    TempHome home;
    writeCorpus(home, u".claude/projects/old"_s, 10, "existing", 5);
    auto index = std::make_unique<ChatIndex>();
    ASSERT_EQ(index->update().messages, 50);
    // Enough new transcripts that the pass takes a while.
    writeCorpus(home, u".claude/projects/new"_s, 150, "fresh", 30);

    std::atomic<int> firstDone{0};
    std::atomic<int> droppedDone{0};
    std::atomic<std::int64_t> firstMessages{0};
    index->refreshInBackground([&](const ChatIndex::Stats& stats) {
        firstMessages = stats.messages;
        ++firstDone;
    });
    while (!writerActive(index->url()) && firstDone == 0)
        std::this_thread::yield();

    // Requests while it runs are dropped: no second pass, and their callbacks never run.
    for (int i = 0; i < 3; ++i)
        index->refreshInBackground([&](const ChatIndex::Stats&) { ++droppedDone; });
    // A pass from another thread waits for the running one, then finds its work done.
    std::future<ChatIndex::Stats> waiting =
        std::async(std::launch::async, [&] { return index->update(); });

    // Readers see the index as it was at the last commit, and are never refused.
    std::int64_t lastFresh = 10;
    int searches = 0;
    while (firstDone == 0) {
        EXPECT_EQ(index->search(u"existing"_s, 8).size(), 8u);
        const std::int64_t fresh = index->sessionCount();
        EXPECT_GE(fresh, lastFresh) << "committed transcripts never disappear";
        lastFresh = fresh;
        ++searches;
    }
    const ChatIndex::Stats second = waiting.get();
    EXPECT_GT(searches, 0);
    EXPECT_EQ(second.changedFiles, 0);
    EXPECT_EQ(second.files, 160);

    // A request after the pass has ended runs again.
    writeCorpus(home, u".claude/projects/later"_s, 1, "later", 7);
    std::promise<ChatIndex::Stats> later;
    index->refreshInBackground([&](const ChatIndex::Stats& stats) { later.set_value(stats); });
    EXPECT_EQ(later.get_future().get().messages, 7);
    index.reset(); // waits for the background requests
    EXPECT_EQ(firstDone.load(), 1);
    EXPECT_EQ(droppedDone.load(), 0);
    EXPECT_EQ(firstMessages.load(), 150 * 30);
}

} // namespace
