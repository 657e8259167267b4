#include "diagnostics/indexoperations.h"

#include "backends/chatsbackend.h"
#include "diagnostics/arguments.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <cstdio>

namespace IndexOperations {

QString progressLine(const ChatIndex::Stats& stats)
{
    return QStringLiteral("%1 files, %2 messages, %3 MB\n")
        .arg(stats.changedFiles)
        .arg(stats.messages)
        .arg(stats.bytesRead >> 20);
}

QJsonObject indexReport(const ChatIndex::Stats& stats, const QString& db)
{
    return QJsonObject{
        {QStringLiteral("files"), static_cast<qint64>(stats.files)},
        {QStringLiteral("changedFiles"), static_cast<qint64>(stats.changedFiles)},
        {QStringLiteral("messages"), static_cast<qint64>(stats.messages)},
        {QStringLiteral("mbRead"), static_cast<qint64>(stats.bytesRead >> 20)},
        {QStringLiteral("seconds"), stats.seconds},
        {QStringLiteral("db"), db},
    };
}

QJsonObject searchReport(const QList<ChatIndex::Hit>& hits, double ms)
{
    QJsonArray list;
    for (const ChatIndex::Hit& hit : hits)
        list.append(
            QJsonArray{hit.harness, hit.title, hit.snippet, ChatsBackend::resumeCommand(hit)});
    return QJsonObject{{QStringLiteral("ms"), ms}, {QStringLiteral("hits"), list}};
}

Diagnostics::Outcome index(const Arguments&)
{
    ChatIndex& chats = ChatIndex::shared();
    const ChatIndex::Stats stats = chats.update([](const ChatIndex::Stats& running) {
        std::fputs(progressLine(running).toUtf8().constData(), stderr);
        std::fflush(stderr);
    });
    Diagnostics::emit(indexReport(stats, chats.url()), QStringLiteral("index.json"));
    Diagnostics::finish(0);
}

Diagnostics::Outcome search(const Arguments& arguments)
{
    const QString text = arguments.value(QStringLiteral("--search")).value_or(QString());
    ChatIndex& chats = ChatIndex::shared();
    QElapsedTimer clock;
    clock.start();
    const QList<ChatIndex::Hit> hits = chats.search(text, 8);
    const double ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    Diagnostics::emit(searchReport(hits, ms), QStringLiteral("search.json"));
    Diagnostics::finish(0);
}

} // namespace IndexOperations
