#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>

// A full-text index of the coding agents' transcripts: one SQLite database ("chats.sqlite"
// in the data folder) with a `files` table (one row per transcript, with the byte offset up to
// which it has been read) and an FTS5 table `msgs` (one row per message).
//
// Passes read every transcript only from its stored offset, one transaction per changed file,
// so a pass that is killed loses at most the file it was in. Searches may run on any thread
// at any time, also during a pass (write-ahead logging); passes are serialised.
//
// Nothing here throws or reports: a database that cannot be opened gives zero counts and
// empty results, and a transcript that cannot be read keeps its row and is tried again on the
// next pass. Every operation opens its own connection and closes it before returning.
class ChatIndex {
public:
    // One agent's transcript folder.
    struct Source {
        QString harness;          // "Claude Code", "Codex", "Pi" or "Zenith"
        QString root;             // absolute folder
        std::optional<int> depth; // exact number of path components below root, or any

        friend bool operator==(const Source&, const Source&) = default;
    };

    struct Hit {
        QString harness;
        QString title; // "" when the transcript has none
        std::optional<QString> cwd;
        QString session;
        QString path;
        QString role;
        QString timestamp;
        QString snippet; // about 18 tokens around the match, "…" where the text was cut

        friend bool operator==(const Hit&, const Hit&) = default;
    };

    struct Stats {
        std::int64_t files = 0;        // transcripts seen, changed or not
        std::int64_t changedFiles = 0; // transcripts whose size differed from the stored offset
        std::int64_t messages = 0;     // messages inserted
        std::int64_t bytesRead = 0;    // bytes consumed (sum of offset advances)
        double seconds = 0;            // wall time of the pass; 0 in progress reports

        friend bool operator==(const Stats&, const Stats&) = default;
    };

    using Progress = std::function<void(const Stats&)>;

    // The process's index at the default location, made on first use and never destroyed (a
    // background pass may still be running when the process ends).
    static ChatIndex& shared();

    // Opens (creating it and its folder when needed) the database at `path`, by default
    // "chats.sqlite" in the data folder, and runs the schema script. The transcript folders
    // are taken from the home folder as it is now.
    explicit ChatIndex(std::optional<QString> path = std::nullopt);
    // Waits for a background pass that is still running.
    ~ChatIndex();
    ChatIndex(const ChatIndex&) = delete;
    ChatIndex& operator=(const ChatIndex&) = delete;

    const QString& url() const { return m_url; }
    // The four agents' folders, in the order passes visit them.
    const QList<Source>& sources() const { return m_sources; }

    // Starts a pass on a background thread and returns at once. While a background pass runs,
    // further requests are dropped: no second pass, and their `done` is never called. `done`
    // is called on the background thread with the pass's figures.
    void refreshInBackground(std::function<void(const Stats&)> done = {});

    // One pass on the calling thread; waits for a pass already running. `progress` (called
    // on this thread) sees the running figures after every 20th changed file and the final
    // figures once at the end.
    Stats update(const Progress& progress = {});

    // At most `limit` hits for the words of `text`, best first, at most one per transcript
    // and none with the title and snippet of a better one. Any character that is not a
    // letter, digit or apostrophe separates words, so the user's text never reaches FTS5 as
    // syntax.
    QList<Hit> search(const QString& text, int limit) const;

    // Number of transcripts known (with or without messages); 0 when the database cannot be
    // opened.
    std::int64_t sessionCount() const;
    // A pass has gone through every folder to its end at least once (in any process).
    bool hasFinishedPass() const;

    // The words of a search text, and the FTS5 expression that asks for all of them, each as
    // a quoted phrase ("" when there are none).
    static QStringList tokens(const QString& text);
    static QString matchExpression(const QString& text);

    // The transcript files of one source, in the file system's enumeration order.
    static QStringList sessionFiles(const Source& source);

private:
    QString m_url;
    QList<Source> m_sources;
    std::mutex m_writeLock; // held for the whole of a pass
    std::mutex m_refreshingLock;
    bool m_refreshing = false; // guarded by m_refreshingLock
    // Background requests still running (passes or dropped requests), so the destructor can
    // wait for them.
    std::mutex m_backgroundLock;
    std::condition_variable m_backgroundIdle;
    int m_backgroundRunning = 0; // guarded by m_backgroundLock
};
