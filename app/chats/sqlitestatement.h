#pragma once

#include <QString>
#include <cstdint>
#include <optional>

class SqliteConnection;
struct sqlite3_stmt;

// A prepared statement on a connection that outlives it; finalized in the destructor. A
// statement that failed to prepare reports !isValid(); binding and stepping it do nothing.
// Text is bound as a copy, so the bound strings may go away before step().
class SqliteStatement {
public:
    SqliteStatement(SqliteConnection& connection, const char* sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    bool isValid() const { return m_statement != nullptr; }

    // Parameters are counted from 1. An absent optional binds NULL.
    void bind(int index, const QString& text);
    void bind(int index, const std::optional<QString>& text);
    void bind(int index, std::int64_t value);

    // True while there is a row to read; false at the end or on any error.
    bool step();
    // Ready to run again; the bindings stay until they are bound anew.
    void reset();

    // Columns are counted from 0.
    QString text(int column) const;
    std::optional<QString> optionalText(int column) const; // none for NULL
    std::int64_t int64(int column) const;

private:
    sqlite3_stmt* m_statement = nullptr;
};
