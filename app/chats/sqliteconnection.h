#pragma once

#include <QString>
#include <cstdint>

struct sqlite3;

// One SQLite connection, opened in the constructor (with a busy time-out of 2,000 ms) and
// closed in the destructor. Used by one thread only: connections are opened without SQLite's
// own mutex. A connection that failed to open reports !isOpen() and every call on it fails
// quietly.
class SqliteConnection {
public:
    enum class Mode { ReadWrite, ReadOnly };

    SqliteConnection(const QString& path, Mode mode);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    bool isOpen() const { return m_db != nullptr; }
    sqlite3* handle() const { return m_db; }

    // Runs one or more statements; false on any error.
    bool execute(const char* sql);
    // The first column of the last row, 0 when there is no row or the statement fails.
    std::int64_t scalar(const char* sql);

private:
    sqlite3* m_db = nullptr;
};
