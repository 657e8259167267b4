#include "chats/sqlitestatement.h"

#include "chats/sqliteconnection.h"

#include <sqlite3.h>

SqliteStatement::SqliteStatement(SqliteConnection& connection, const char* sql)
{
    if (connection.isOpen())
        sqlite3_prepare_v2(connection.handle(), sql, -1, &m_statement, nullptr);
}

SqliteStatement::~SqliteStatement()
{
    sqlite3_finalize(m_statement);
}

void SqliteStatement::bind(int index, const QString& text)
{
    sqlite3_bind_text16(m_statement, index, text.utf16(), static_cast<int>(text.size() * 2),
                        SQLITE_TRANSIENT);
}

void SqliteStatement::bind(int index, const std::optional<QString>& text)
{
    if (text)
        bind(index, *text);
    else
        sqlite3_bind_null(m_statement, index);
}

void SqliteStatement::bind(int index, std::int64_t value)
{
    sqlite3_bind_int64(m_statement, index, value);
}

bool SqliteStatement::step()
{
    return m_statement && sqlite3_step(m_statement) == SQLITE_ROW;
}

void SqliteStatement::reset()
{
    sqlite3_reset(m_statement);
}

QString SqliteStatement::text(int column) const
{
    const void* data = sqlite3_column_text16(m_statement, column);
    const int bytes = sqlite3_column_bytes16(m_statement, column);
    return data ? QString(reinterpret_cast<const QChar*>(data), bytes / 2) : QString();
}

std::optional<QString> SqliteStatement::optionalText(int column) const
{
    if (sqlite3_column_type(m_statement, column) == SQLITE_NULL)
        return std::nullopt;
    return text(column);
}

std::int64_t SqliteStatement::int64(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}
