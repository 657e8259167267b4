#include "backends/chatsbackend.h"

#include "lookup/backenderror.h"
#include "lookup/copylink.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

#include <cmath>
#include <memory>

namespace {

// A session id of only these characters cannot do anything in a shell; any other is quoted.
bool isPlainSessionId(const QString& session)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_-]+$"));
    return plain.match(session).hasMatch();
}

QString sessionArgument(const QString& session)
{
    return isPlainSessionId(session) ? session : ChatsBackend::shellQuoted(session);
}

std::optional<QDateTime> parseInternetDateTime(const QString& text)
{
    // Full date, time with seconds, optional fraction, and a zone designator.
    static const QRegularExpression shape(
        QStringLiteral(R"(^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}(\.\d+)?(Z|[+-]\d{2}:\d{2})$)"));
    const QRegularExpressionMatch match = shape.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    QString normalised = text;
    // Qt reads milliseconds; longer fractions (microseconds) are cut to them.
    if (match.capturedLength(1) > 4)
        normalised.remove(match.capturedStart(1) + 4, match.capturedLength(1) - 4);
    const QDateTime date = QDateTime::fromString(normalised, Qt::ISODateWithMs);
    if (!date.isValid())
        return std::nullopt;
    return date;
}

// The whole calendar years or months from `from` to `to` (from <= to).
qint64 wholeYears(const QDateTime& from, const QDateTime& to)
{
    qint64 years = to.date().year() - from.date().year();
    while (years > 0 && from.addYears(static_cast<int>(years)) > to)
        --years;
    return years;
}

qint64 wholeMonths(const QDateTime& from, const QDateTime& to)
{
    qint64 months =
        (to.date().year() - from.date().year()) * 12 + (to.date().month() - from.date().month());
    while (months > 0 && from.addMonths(static_cast<int>(months)) > to)
        --months;
    return months;
}

// "app" for "/work/app" and "/work/app/"; the root stays "/".
QString lastPathComponent(const QString& path)
{
    const QString clean = QDir::cleanPath(path);
    const QString name = QFileInfo(clean).fileName();
    return name.isEmpty() ? clean : name;
}

} // namespace

ChatsBackend::ChatsBackend(BackendInfo info, ChatIndex& index)
    : LookupBackend(std::move(info)), m_index(&index)
{
}

LookupStream ChatsBackend::lookup(const LookupQuery& query) const
{
    ChatIndex* index = m_index;
    const QString term = query.term;
    return stream([index, term](StreamContext& context) {
        if (index->sessionCount() == 0) {
            if (!index->hasFinishedPass())
                throw BackendError(QStringLiteral("Chat index is still being built"));
            throw BackendError(noConversationsText(index->sources()));
        }
        LookupItems items;
        for (const ChatIndex::Hit& hit : index->search(term, 8))
            items.append(item(hit));
        context.yield(items);
    });
}

QString ChatsBackend::noConversationsText(const QList<ChatIndex::Source>& sources)
{
    const QString home = QDir::homePath();
    QStringList folders;
    for (const ChatIndex::Source& source : sources) {
        QString folder = QDir::cleanPath(source.root);
        if (folder.startsWith(home + QLatin1Char('/')))
            folder = QLatin1Char('~') + folder.mid(home.size());
        folders.append(folder);
    }
    QString list = folders.value(0);
    for (qsizetype i = 1; i < folders.size(); ++i)
        list +=
            (i + 1 == folders.size() ? QStringLiteral(" or ") : QStringLiteral(", ")) + folders[i];
    return QStringLiteral("No conversations yet in ") + list;
}

LookupItem ChatsBackend::item(const ChatIndex::Hit& hit)
{
    QStringList parts{hit.harness};
    if (hit.cwd)
        parts.append(lastPathComponent(*hit.cwd));
    if (const std::optional<QString> when = relative(hit.timestamp))
        parts.append(*when);
    parts.append(hit.role == QLatin1String("user") ? QStringLiteral("you")
                                                   : QStringLiteral("agent"));
    return LookupItem{hit.path, hit.title.isEmpty() ? hit.session : hit.title,
                      parts.join(QStringLiteral(" · ")), hit.snippet,
                      CopyLink::url(resumeCommand(hit))};
}

QString ChatsBackend::shellQuoted(const QString& text)
{
    QString inner = text;
    inner.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + inner + QLatin1Char('\'');
}

QString ChatsBackend::resumeCommand(const ChatIndex::Hit& hit)
{
    const QString prefix =
        hit.cwd ? QStringLiteral("cd ") + shellQuoted(*hit.cwd) + QStringLiteral(" && ")
                : QString();
    if (hit.harness == QLatin1String("Claude Code"))
        return prefix + QStringLiteral("claude --resume ") + sessionArgument(hit.session);
    if (hit.harness == QLatin1String("Codex"))
        return prefix + QStringLiteral("codex resume ") + sessionArgument(hit.session);
    if (hit.harness == QLatin1String("Zenith"))
        return prefix + QStringLiteral("zenith-agent --resume ") + shellQuoted(hit.path);
    return prefix + QStringLiteral("pi --resume ") + shellQuoted(hit.path);
}

std::optional<QString> ChatsBackend::relative(const QString& timestamp)
{
    return relative(timestamp, QDateTime::currentDateTimeUtc());
}

std::optional<QString> ChatsBackend::relative(const QString& timestamp, const QDateTime& now)
{
    const std::optional<QDateTime> date = parseInternetDateTime(timestamp);
    if (!date)
        return std::nullopt;
    const QDateTime then = date->toUTC();
    const QDateTime current = now.toUTC();
    const bool past = then <= current;
    const QDateTime& from = past ? then : current;
    const QDateTime& to = past ? current : then;

    // The largest unit in which the difference is at least 1.
    const qint64 seconds = from.secsTo(to);
    qint64 amount = 0;
    URelativeDateTimeUnit unit = UDAT_REL_UNIT_SECOND;
    if (const qint64 years = wholeYears(from, to); years >= 1) {
        amount = years;
        unit = UDAT_REL_UNIT_YEAR;
    } else if (const qint64 months = wholeMonths(from, to); months >= 1) {
        amount = months;
        unit = UDAT_REL_UNIT_MONTH;
    } else if (seconds >= 7 * 86400) {
        amount = seconds / (7 * 86400);
        unit = UDAT_REL_UNIT_WEEK;
    } else if (seconds >= 86400) {
        amount = seconds / 86400;
        unit = UDAT_REL_UNIT_DAY;
    } else if (seconds >= 3600) {
        amount = seconds / 3600;
        unit = UDAT_REL_UNIT_HOUR;
    } else if (seconds >= 60) {
        amount = seconds / 60;
        unit = UDAT_REL_UNIT_MINUTE;
    } else {
        amount = seconds;
    }

    UErrorCode status = U_ZERO_ERROR;
    thread_local std::unique_ptr<icu::RelativeDateTimeFormatter> formatter;
    if (!formatter) {
        formatter = std::make_unique<icu::RelativeDateTimeFormatter>(
            icu::Locale::getEnglish(), nullptr, UDAT_STYLE_SHORT, UDISPCTX_CAPITALIZATION_NONE,
            status);
        if (U_FAILURE(status)) {
            formatter.reset();
            return std::nullopt;
        }
    }
    icu::UnicodeString text;
    const double offset = past ? -static_cast<double>(amount) : static_cast<double>(amount);
    formatter->formatNumeric(offset, unit, text, status);
    if (U_FAILURE(status))
        return std::nullopt;
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}
