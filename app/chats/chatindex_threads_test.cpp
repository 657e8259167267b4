#include "chatindex.h"
#include "temphome.h"

#include <QFile>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <future>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

std::string userLine(const std::string& text)
{
    return R"({"type":"user","sessionId":"s","message":{"role":"user","content":")" + text +
           "\"}}\n";
}

// A transcript that is a named pipe: a pass that reaches it waits in open(), inside the file's
// write transaction, until the test opens the other end.
class Gate {
public:
    explicit Gate(const QString& path) : m_path(QFile::encodeName(path))
    {
        ::mkfifo(m_path.constData(), 0600);
    }
    void release()
    {
        if (m_released)
            return;
        m_released = true;
        // Without a waiting reader this fails at once instead of blocking.
        const int fd = ::open(m_path.constData(), O_WRONLY | O_NONBLOCK);
        if (fd >= 0)
            ::close(fd);
        ::unlink(m_path.constData());
    }
    ~Gate() { release(); }

private:
    QByteArray m_path;
    bool m_released = false;
};

// True while some connection holds the database's write lock.
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

TEST(ChatIndexThreadsTest, SearchesRunDuringABackgroundPassAndRequestsAreDropped)
{
    TempHome home;
    for (int i = 0; i < 30; ++i)
        home.write(QStringLiteral(".claude/projects/p/a%1.jsonl").arg(i),
                   QByteArray::fromStdString(userLine("existing words " + std::to_string(i))));
    auto index = std::make_unique<ChatIndex>();
    ASSERT_EQ(index->update().messages, 30);

    // The only changed transcript, so the only write transaction of the next pass.
    home.write(QStringLiteral(".zenith/agent/sessions/placeholder"), "");
    Gate gate(home.path() + QStringLiteral("/.zenith/agent/sessions/gate.jsonl"));
    std::atomic<int> firstDone{0};
    std::atomic<int> droppedDone{0};
    std::atomic<std::int64_t> firstFiles{0};
    index->refreshInBackground([&](const ChatIndex::Stats& stats) {
        firstFiles = stats.files;
        ++firstDone;
    });
    while (!writerActive(index->url())) // the pass is inside the gate's transaction
        std::this_thread::sleep_for(5ms);

    // Requests while it runs are dropped; their callbacks never run.
    for (int i = 0; i < 3; ++i)
        index->refreshInBackground([&](const ChatIndex::Stats&) { ++droppedDone; });

    // A pass from another thread waits for the running one.
    std::future<ChatIndex::Stats> waiting =
        std::async(std::launch::async, [&] { return index->update(); });

    // Readers are not blocked by the writer.
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(index->search(QStringLiteral("existing"), 8).size(), 8);
        EXPECT_GE(index->sessionCount(), 30);
    }
    std::this_thread::sleep_for(200ms); // time for the dropped requests to be looked at
    EXPECT_EQ(waiting.wait_for(0s), std::future_status::timeout);
    EXPECT_EQ(firstDone.load(), 0);

    gate.release();
    const ChatIndex::Stats second = waiting.get();
    index.reset(); // waits for background work
    EXPECT_EQ(firstDone.load(), 1);
    EXPECT_EQ(droppedDone.load(), 0);
    EXPECT_EQ(firstFiles.load(), 31);
    EXPECT_EQ(second.changedFiles, 0) << "the second pass found the first one's work done";
}

TEST(ChatIndexThreadsTest, ManySearchersBesideOnePass)
{
    TempHome home;
    std::string contents;
    for (int i = 0; i < 200; ++i)
        contents += userLine("common term " + std::to_string(i));
    for (int f = 0; f < 40; ++f)
        home.write(QStringLiteral(".codex/sessions/f%1.jsonl").arg(f), "");
    for (int f = 0; f < 40; ++f)
        home.write(QStringLiteral(".pi/agent/sessions/f%1.jsonl").arg(f),
                   QByteArray::fromStdString(
                       R"({"type":"message","message":{"role":"user","content":"common )" +
                       std::to_string(f) + "\"}}\n" + contents));
    ChatIndex index;
    std::atomic<bool> passDone{false};
    std::atomic<int> failures{0};
    index.refreshInBackground([&](const ChatIndex::Stats& stats) {
        if (stats.messages != 40 * 201)
            ++failures;
        passDone = true;
    });
    std::vector<std::thread> searchers;
    for (int t = 0; t < 3; ++t) {
        searchers.emplace_back([&] {
            std::size_t last = 0;
            while (!passDone) {
                const std::size_t now = index.search(QStringLiteral("common"), 100).size();
                if (now < last) // a reader sees whole transactions only, never fewer files
                    ++failures;
                last = now;
            }
        });
    }
    for (std::thread& searcher : searchers)
        searcher.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(index.search(QStringLiteral("common"), 100).size(), 40);
}

} // namespace
