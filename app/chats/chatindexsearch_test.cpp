#include "chats/chatindex.h"
#include "tests/support/temphome.h"
#include "tests/support/transcriptlines.h"

#include <QFile>
#include <QSet>
#include <gtest/gtest.h>
#include <random>
#include <sqlite3.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The search as one statement that builds every snippet, with both de-duplication keys.
QList<ChatIndex::Hit> referenceSearch(const QString& db, const QString& text, int limit)
{
    QList<ChatIndex::Hit> hits;
    const QString match = ChatIndex::matchExpression(text);
    if (match.isEmpty())
        return hits;
    sqlite3* handle = nullptr;
    sqlite3_open_v2(QFile::encodeName(db).constData(), &handle, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(
        handle,
        "SELECT f.harness, coalesce(f.title, ''), f.cwd, coalesce(f.session, ''), m.path, m.role, "
        "m.ts,\n"
        "       snippet(msgs, 0, '', '', '…', 18)\n"
        "FROM msgs m JOIN files f ON f.path = m.path\n"
        "WHERE msgs MATCH ? ORDER BY bm25(msgs) LIMIT 400",
        -1, &statement, nullptr);
    const QByteArray utf8 = match.toUtf8();
    sqlite3_bind_text(statement, 1, utf8.constData(), -1, SQLITE_TRANSIENT);
    auto column = [&](int i) {
        return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(statement, i)));
    };
    QSet<QString> paths, shown;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        if (hits.size() >= limit)
            continue;
        ChatIndex::Hit hit{column(0), column(1), std::nullopt, column(3),
                           column(4), column(5), column(6),    column(7)};
        if (sqlite3_column_type(statement, 2) != SQLITE_NULL)
            hit.cwd = column(2);
        const QString key = hit.title + QChar(0x1F) + hit.snippet;
        if (paths.contains(hit.path) || shown.contains(key))
            continue;
        paths.insert(hit.path);
        shown.insert(key);
        hits.append(hit);
    }
    sqlite3_finalize(statement);
    sqlite3_close(handle);
    return hits;
}

class ChatIndexSearchFixture : public ::testing::Test {
protected:
    TempHome home;
    std::unique_ptr<ChatIndex> index = std::make_unique<ChatIndex>();

    void write(const QString& name, const QByteArray& contents)
    {
        home.write(u".claude/projects/-p/"_s + name, contents);
    }
};

TEST_F(ChatIndexSearchFixture, UserTextIsNeverSyntaxAndFindsStemsWithoutAccents)
{
    write(
        u"a.jsonl"_s,
        claudeLine("user",
                   "use AND or OR and NOT near NEAR with a star * and caret ^ and colon: (group)") +
            claudeLine("user", "he said \\\"quoted words\\\" here"));
    write(u"b.jsonl"_s, claudeLine("user", "Indexing the café menus 42x quickly"));
    index->update();
    // Operators are words here: each text finds the message exactly when all its words occur.
    for (const char* text : {"AND", "OR", "NOT", "NEAR", "AND OR", "NEAR(star caret)", "colon:star",
                             "star*", "^caret", "- star", "\"quoted", "\"quoted words\""})
        EXPECT_EQ(index->search(QString::fromUtf8(text), 8).size(), 1) << text;
    for (const char* text : {"NOT absentword", "star OR absentword", "menu absent", "*", "^", ":",
                             "(", "\"", "''", "'"})
        EXPECT_TRUE(index->search(QString::fromUtf8(text), 8).isEmpty()) << text;
    EXPECT_TRUE(index->search(u"star"_s, 0).isEmpty());
    // Words are runs of letters and digits of any script; stems, case and accents fold.
    for (const char* text : {"indexes", "CAFE", "Café", "menu index", "42x"})
        EXPECT_EQ(index->search(QString::fromUtf8(text), 8).size(), 1) << text;
}

TEST_F(ChatIndexSearchFixture, RankedSearchGivesTheRowsOfTheSingleStatement)
{
    // Many files over a small vocabulary, with repeated texts so that scores tie and titles and
    // snippets repeat across files (the second de-duplication key).
    std::mt19937 random(7);
    const QByteArrayList words = {"index", "panel",  "render", "widget", "query",
                                  "cache", "thread", "socket", "parser", "token"};
    for (int f = 0; f < 120; ++f) {
        QByteArray contents;
        for (int m = 0; m < 12; ++m) {
            QByteArray text;
            const int length = 3 + static_cast<int>(random() % 30);
            for (int w = 0; w < length; ++w)
                text += words[random() % words.size()] + " ";
            if (random() % 4 == 0)
                text = "shared repeated text about index and cache";
            contents +=
                claudeLine(m == 0 ? "user" : "assistant", text, "s" + QByteArray::number(f));
        }
        write(u"f%1.jsonl"_s.arg(f), contents);
    }
    index->update();
    auto compare = [&](const char* when) {
        for (const char* query : {"index", "cache", "index cache", "widget panel thread", "token",
                                  "repeated", "nothing"}) {
            for (int limit : {1, 8, 50, 500}) {
                const QList<ChatIndex::Hit> ours = index->search(QString::fromUtf8(query), limit);
                EXPECT_EQ(ours, referenceSearch(index->url(), QString::fromUtf8(query), limit))
                    << when << ": " << query << " limit " << limit;
            }
        }
    };
    compare("every message with its transcript");

    // Messages whose transcript has no row (not written by a pass) drop out of the join.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(index->url()).constData(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "INSERT INTO msgs(text, role, path, ts) VALUES"
                           "('index index index cache', 'user', '/nowhere/a.jsonl', ''),"
                           "('token', 'user', '/nowhere/b.jsonl', '')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    compare("with orphaned messages");
}

} // namespace
