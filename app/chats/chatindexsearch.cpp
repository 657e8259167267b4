// ChatIndex: searching.
#include "chatindex.h"

#include "sqliteconnection.h"
#include "sqlitestatement.h"

#include <QSet>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <memory>

namespace {

// Ranks first and leaves the snippets out: the rows come in the same order as with them, and
// only the few rows that are kept need a snippet.
constexpr const char* kRanked =
    "SELECT m.rowid, f.harness, coalesce(f.title, ''), f.cwd, coalesce(f.session, ''), m.path, "
    "m.role, m.ts\n"
    "FROM msgs m JOIN files f ON f.path = m.path\n"
    "WHERE msgs MATCH ? ORDER BY bm25(msgs) LIMIT 400";

constexpr const char* kSnippet =
    "SELECT snippet(msgs, 0, '', '', '…', 18) FROM msgs WHERE msgs MATCH ? AND rowid = ?";

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
    SqliteStatement ranked(db, kRanked);
    SqliteStatement snippet(db, kSnippet);
    ranked.bind(1, match);
    snippet.bind(1, match);

    QList<Hit> hits;
    QSet<QString> paths;
    QSet<QString> shown;
    while (hits.size() < limit && ranked.step()) {
        Hit hit{ranked.text(1), ranked.text(2), ranked.optionalText(3), ranked.text(4),
                ranked.text(5), ranked.text(6), ranked.text(7),         QString()};
        if (paths.contains(hit.path))
            continue;
        snippet.bind(2, ranked.int64(0));
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
    return hits;
}
