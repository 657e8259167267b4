#include "chats/sqliteconnection.h"

#include "chats/sqlitestatement.h"

#include <QFile>
#include <sqlite3.h>

SqliteConnection::SqliteConnection(const QString& path, Mode mode)
{
    const int flags = (mode == Mode::ReadWrite ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                                               : SQLITE_OPEN_READONLY) |
                      SQLITE_OPEN_NOMUTEX;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, flags, nullptr) != SQLITE_OK) {
        sqlite3_close(db);
        return;
    }
    sqlite3_busy_timeout(db, 2000);
    m_db = db;
}

SqliteConnection::~SqliteConnection()
{
    sqlite3_close_v2(m_db);
}

bool SqliteConnection::execute(const char* sql)
{
    return m_db && sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::int64_t SqliteConnection::scalar(const char* sql)
{
    SqliteStatement statement(*this, sql);
    std::int64_t value = 0;
    while (statement.step())
        value = statement.int64(0);
    return value;
}
