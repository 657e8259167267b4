#include "chats/chatindex.h"

#include "chats/sqliteconnection.h"
#include "chats/sqlitestatement.h"
#include "chats/transcriptparser.h"
#include "platform/xdgpaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL;\n"
    "CREATE TABLE IF NOT EXISTS files(path TEXT PRIMARY KEY, harness TEXT, offset INTEGER,\n"
    "    session TEXT, cwd TEXT, title TEXT, started TEXT, updated TEXT);\n"
    "CREATE VIRTUAL TABLE IF NOT EXISTS msgs USING fts5(text, role UNINDEXED, path UNINDEXED,\n"
    "    ts UNINDEXED, tokenize='porter unicode61 remove_diacritics 2');\n";

// A pass's connection: under write-ahead logging, NORMAL still keeps every committed file
// across a crash of the process; the larger page cache keeps the FTS5 segments in memory.
constexpr const char* kPassPragmas =
    "PRAGMA synchronous=NORMAL; PRAGMA cache_size=-32768; PRAGMA wal_autocheckpoint=16384;";

constexpr std::int64_t kChunkBytes = 8 * 1024 * 1024;
constexpr std::int64_t kOverlongLineBytes = 4 * 1024 * 1024;

struct Ingested {
    std::int64_t bytes = 0;
    std::int64_t messages = 0;
};

class FileDescriptor {
public:
    explicit FileDescriptor(const QString& path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
    {
    }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

// The size of the file (following a symbolic link), 0 when it cannot be read.
std::int64_t fileSize(const QString& path)
{
    struct stat info;
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return 0;
    return info.st_size;
}

FileMeta storedMeta(SqliteConnection& db, const QString& path)
{
    FileMeta meta;
    SqliteStatement select(db, "SELECT session, cwd, title, started FROM files WHERE path = ?");
    select.bind(1, path);
    if (select.step()) {
        meta.session = select.optionalText(0);
        meta.cwd = select.optionalText(1);
        meta.title = select.optionalText(2);
        meta.started = select.optionalText(3);
        meta.titleLocked = meta.title.has_value();
    }
    return meta;
}

// Reads the file from `from` up to `to` inside the caller's transaction, inserts the messages
// of every complete line and stores the new offset and the file's facts. A trailing line
// without a newline is left for the next pass; a line longer than 4 MiB is skipped to its end.
Ingested ingest(SqliteConnection& db, const QString& path, const QString& harness,
                std::int64_t from, std::int64_t to)
{
    // Only regular files (through links): a named pipe would wait for a writer for ever.
    const FileDescriptor file(path);
    struct stat info;
    if (file.get() < 0 || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode))
        return {};
    ::lseek(file.get(), static_cast<off_t>(from), SEEK_SET);

    FileMeta meta = storedMeta(db, path);
    SqliteStatement insert(db, "INSERT INTO msgs(text, role, path, ts) VALUES(?, ?, ?, ?)");
    insert.bind(3, path);

    std::int64_t offset = from;
    std::int64_t count = 0;
    bool skipping = false;
    std::string buffer;
    while (offset < to) {
        const std::int64_t want = std::min(to - offset, kChunkBytes);
        const size_t kept = buffer.size();
        buffer.resize(kept + static_cast<size_t>(want));
        const ssize_t got = ::read(file.get(), buffer.data() + kept, static_cast<size_t>(want));
        if (got <= 0) {
            buffer.resize(kept);
            break;
        }
        buffer.resize(kept + static_cast<size_t>(got));
        offset += got;

        if (skipping) {
            const size_t newline = buffer.find('\n');
            if (newline == std::string::npos) {
                buffer.clear();
                continue;
            }
            buffer.erase(0, newline + 1);
            skipping = false;
        }

        const size_t last = buffer.rfind('\n');
        if (last != std::string::npos) {
            const std::string_view complete(buffer.data(), last);
            size_t start = 0;
            while (start <= complete.size()) {
                size_t end = complete.find('\n', start);
                if (end == std::string_view::npos)
                    end = complete.size();
                if (end > start) {
                    const auto messages = TranscriptParser::messages(
                        complete.substr(start, end - start), harness, meta);
                    for (const TranscriptParser::Message& message : messages) {
                        insert.bind(1, message.text);
                        insert.bind(2, message.role);
                        insert.bind(4, message.timestamp);
                        insert.step();
                        insert.reset();
                        ++count;
                    }
                }
                start = end + 1;
            }
            buffer.erase(0, last + 1);
        } else if (static_cast<std::int64_t>(buffer.size()) > kOverlongLineBytes) {
            buffer.clear();
            skipping = true;
        }
        if (buffer.capacity() > 2 * static_cast<size_t>(kChunkBytes))
            buffer.shrink_to_fit();
    }

    const std::int64_t end = offset - static_cast<std::int64_t>(buffer.size());
    SqliteStatement finish(db, "UPDATE files SET offset = ?, session = ?, cwd = ?, title = ?, "
                               "started = ?, updated = ? WHERE path = ?");
    finish.bind(1, end);
    finish.bind(2, meta.session ? meta.session : QFileInfo(path).completeBaseName());
    finish.bind(3, meta.cwd);
    finish.bind(4, meta.title);
    finish.bind(5, meta.started);
    finish.bind(6, meta.updated);
    finish.bind(7, path);
    finish.step();
    return {end - from, count};
}

void collectFiles(const std::string& folder, int depth, std::optional<int> wanted,
                  QStringList& into)
{
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const std::string path = folder + '/' + entry->d_name;
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) {
            struct stat info;
            if (::lstat(path.c_str(), &info) == 0)
                type = S_ISDIR(info.st_mode) ? DT_DIR : S_ISLNK(info.st_mode) ? DT_LNK : DT_REG;
        }
        // Linked folders are not followed (a link may point back up the tree); linked files are.
        if (type == DT_DIR) {
            // Below the wanted depth nothing can match (the agents' subagent transcripts).
            if (!wanted || depth + 1 < *wanted)
                collectFiles(path, depth + 1, wanted, into);
            continue;
        }
        if (name.size() <= 6 || !name.ends_with(".jsonl"))
            continue;
        if (wanted && depth + 1 != *wanted)
            continue;
        into.append(QFile::decodeName(path.c_str()));
    }
    ::closedir(dir);
}

} // namespace

ChatIndex& ChatIndex::shared()
{
    static ChatIndex* const instance = new ChatIndex();
    return *instance;
}

ChatIndex::ChatIndex(std::optional<QString> path)
{
    const QString folder = XdgPaths::dataDir();
    m_url = path.value_or(folder + QStringLiteral("/chats.sqlite"));
    QDir().mkpath(QFileInfo(m_url).absolutePath());

    const QString home = XdgPaths::home();
    m_sources = {
        {QStringLiteral("Claude Code"), home + QStringLiteral("/.claude/projects"), 2},
        {QStringLiteral("Codex"), home + QStringLiteral("/.codex/sessions"), std::nullopt},
        {QStringLiteral("Pi"), home + QStringLiteral("/.pi/agent/sessions"), std::nullopt},
        {QStringLiteral("Zenith"), home + QStringLiteral("/.zenith/agent/sessions"), std::nullopt},
    };

    SqliteConnection db(m_url, SqliteConnection::Mode::ReadWrite);
    db.execute(kSchema);
}

ChatIndex::~ChatIndex()
{
    std::unique_lock lock(m_backgroundLock);
    m_backgroundIdle.wait(lock, [this] { return m_backgroundRunning == 0; });
}

QStringList ChatIndex::sessionFiles(const Source& source)
{
    QStringList files;
    collectFiles(QFile::encodeName(source.root).toStdString(), 0, source.depth, files);
    return files;
}

void ChatIndex::refreshInBackground(std::function<void(const Stats&)> done)
{
    {
        const std::lock_guard lock(m_backgroundLock);
        ++m_backgroundRunning;
    }
    std::thread([this, done = std::move(done)] {
        // Background work yields to the user's own: a lower priority for this thread only.
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 10);
        bool run = false;
        {
            const std::lock_guard lock(m_refreshingLock);
            run = !m_refreshing;
            m_refreshing = true;
        }
        if (run) {
            const Stats stats = update();
            {
                const std::lock_guard lock(m_refreshingLock);
                m_refreshing = false;
            }
            if (done)
                done(stats);
        }
        const std::lock_guard lock(m_backgroundLock);
        --m_backgroundRunning;
        m_backgroundIdle.notify_all();
    }).detach();
}

ChatIndex::Stats ChatIndex::update(const Progress& progress)
{
    const std::lock_guard lock(m_writeLock);
    QElapsedTimer clock;
    clock.start();

    SqliteConnection db(m_url, SqliteConnection::Mode::ReadWrite);
    if (!db.isOpen())
        return {};
    db.execute(kPassPragmas);

    QHash<QString, std::int64_t> offsets;
    {
        SqliteStatement select(db, "SELECT path, offset FROM files");
        while (select.step())
            offsets.insert(select.text(0), select.int64(1));
    }

    SqliteStatement clear(db, "DELETE FROM msgs WHERE path = ?");
    SqliteStatement reset(db,
                          "INSERT OR REPLACE INTO files(path, harness, offset) VALUES(?, ?, 0)");
    Stats stats;
    bool blocked = false;
    for (const Source& source : m_sources) {
        for (const QString& path : sessionFiles(source)) {
            ++stats.files;
            const std::int64_t size = fileSize(path);
            const auto stored = offsets.constFind(path);
            const std::int64_t known = stored == offsets.constEnd() ? -1 : *stored;
            if (known == size || blocked)
                continue;

            // Takes the write lock up front. Another process's pass holding it past the busy
            // time-out would otherwise make every statement of this file wait that long in
            // turn; instead this pass leaves the remaining files to that one.
            if (!db.execute("BEGIN IMMEDIATE")) {
                blocked = true;
                continue;
            }
            std::int64_t start = known;
            if (known < 0 || size < known) {
                // Every message belongs to a file with a row, so a file without one has
                // nothing to delete; deleting scans the whole table (the path is not indexed).
                if (known >= 0) {
                    clear.bind(1, path);
                    clear.step();
                    clear.reset();
                }
                reset.bind(1, path);
                reset.bind(2, source.harness);
                reset.step();
                reset.reset();
                start = 0;
            }
            const Ingested ingested = ingest(db, path, source.harness, start, size);
            stats.bytesRead += ingested.bytes;
            stats.messages += ingested.messages;
            ++stats.changedFiles;
            db.execute("COMMIT");

            if (progress && stats.changedFiles % 20 == 0)
                progress(stats);
        }
    }
    // Marks the database as having seen the folders whole at least once.
    if (!blocked)
        db.execute("PRAGMA user_version = 1");
    stats.seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    if (progress)
        progress(stats);
    return stats;
}

bool ChatIndex::hasFinishedPass() const
{
    SqliteConnection db(m_url, SqliteConnection::Mode::ReadOnly);
    return db.isOpen() && db.scalar("PRAGMA user_version") >= 1;
}

std::int64_t ChatIndex::sessionCount() const
{
    SqliteConnection db(m_url, SqliteConnection::Mode::ReadOnly);
    return db.isOpen() ? db.scalar("SELECT count(*) FROM files") : 0;
}
