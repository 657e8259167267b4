// ChatIndex: searching.
#include "chats/chatindex.h"

#include "chats/sqliteconnection.h"
#include "chats/sqlitestatement.h"

#include <QSet>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <memory>

namespace {

// The search ranks the matching messages first and reads the rest only for the few rows it
// keeps. Messages are ranked alone: in a database written by this program every message's
// transcript has a row in `files`, so joining them before ranking would keep the same rows in
// the same order (ties stay in the order of the messages), only more slowly. Should a message
// without its transcript's row turn up, the search starts again, ranking the joined rows.
constexpr const char* kRanked =
    "SELECT rowid FROM msgs WHERE msgs MATCH ? ORDER BY bm25(msgs) LIMIT 400";
constexpr const char* kRankedJoined = "SELECT m.rowid FROM msgs m JOIN files f ON f.path = m.path\n"
                                      "WHERE msgs MATCH ? ORDER BY bm25(msgs) LIMIT 400";
constexpr const char* kRow =
    "SELECT f.harness, coalesce(f.title, ''), f.cwd, coalesce(f.session, ''), m.path, m.role, "
    "m.ts\n"
    "FROM msgs m JOIN files f ON f.path = m.path WHERE m.rowid = ?";
constexpr const char* kSnippet =
    "SELECT snippet(msgs, 0, '', '', '…', 18) FROM msgs WHERE msgs MATCH ? AND rowid = ?";

// Walks the ranked rows, best first, keeping at most `limit` hits: one per transcript, and
// none with the title and snippet of a better one. False when a ranked message has no
// transcript row.
bool collect(SqliteConnection& db, const char* rankedSql, const QString& match, int limit,
             QList<ChatIndex::Hit>& hits)
{
    SqliteStatement ranked(db, rankedSql);
    SqliteStatement row(db, kRow);
    SqliteStatement snippet(db, kSnippet);
    ranked.bind(1, match);
    snippet.bind(1, match);
    QSet<QString> paths;
    QSet<QString> shown;
    while (hits.size() < limit && ranked.step()) {
        const std::int64_t rowid = ranked.int64(0);
        row.bind(1, rowid);
        const bool found = row.step();
        ChatIndex::Hit hit;
        if (found)
            hit = {row.text(0), row.text(1), row.optionalText(2), row.text(3),
                   row.text(4), row.text(5), row.text(6),         QString()};
        row.reset();
        if (!found)
            return false;
        if (paths.contains(hit.path))
            continue;
        snippet.bind(2, rowid);
        if (snippet.step())
            hit.snippet = snippet.text(0);
        snippet.reset();
        const QString titleAndSnippet = hit.title + QChar(0x1F) + hit.snippet;
        if (shown.contains(titleAndSnippet))
            continue;
        paths.insert(hit.path);
        shown.insert(titleAndSnippet);
        hits.append(std::move(hit));
    }
    return true;
}

bool isWordCharacter(const QString& text, int32_t start, int32_t end)
{
    const char32_t first = QStringView(text).mid(start, end - start).toUcs4().value(0);
    if (end - start == 1 && first == U'\'')
        return true;
    return u_hasBinaryProperty(static_cast<UChar32>(first), UCHAR_ALPHABETIC) ||
           u_getIntPropertyValue(static_cast<UChar32>(first), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

} // namespace

QStringList ChatIndex::tokens(const QString& text)
{
    QStringList result;
    if (text.isEmpty())
        return result;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status))
        return result;
    const icu::UnicodeString alias(false, reinterpret_cast<const UChar*>(text.utf16()),
                                   static_cast<int32_t>(text.size()));
    characters->setText(alias);
    int32_t wordStart = -1;
    int32_t start = characters->first();
    for (int32_t end = characters->next(); end != icu::BreakIterator::DONE;
         start = end, end = characters->next()) {
        if (isWordCharacter(text, start, end)) {
            if (wordStart < 0)
                wordStart = start;
        } else if (wordStart >= 0) {
            result.append(text.mid(wordStart, start - wordStart));
            wordStart = -1;
        }
    }
    if (wordStart >= 0)
        result.append(text.mid(wordStart));
    return result;
}

QString ChatIndex::matchExpression(const QString& text)
{
    QStringList quoted;
    for (const QString& token : tokens(text))
        quoted.append(QLatin1Char('"') + token + QLatin1Char('"'));
    return quoted.join(QLatin1Char(' '));
}

QList<ChatIndex::Hit> ChatIndex::search(const QString& text, int limit) const
{
    const QString match = matchExpression(text);
    if (match.isEmpty())
        return {};
    SqliteConnection db(m_url, SqliteConnection::Mode::ReadOnly);
    if (!db.isOpen())
        return {};
    // Reading the index through a memory map spares a copy per page.
    db.execute("PRAGMA mmap_size=1073741824");
    QList<Hit> hits;
    if (!collect(db, kRanked, match, limit, hits)) {
        hits.clear();
        collect(db, kRankedJoined, match, limit, hits);
    }
    return hits;
}
