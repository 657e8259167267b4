#include "platform/desktopentries.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QStringList>

namespace DesktopEntries {

namespace {

// "de_DE.UTF-8@euro" gives "de_DE@euro", "de_DE", "de".
QStringList languageKeys()
{
    QString locale;
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        locale = qEnvironmentVariable(name).section(QLatin1Char(':'), 0, 0);
        if (!locale.isEmpty())
            break;
    }
    QStringList keys;
    if (locale.isEmpty() || locale == QLatin1String("C") || locale == QLatin1String("POSIX"))
        return keys;
    const QString modifier = locale.section(QLatin1Char('@'), 1);
    const QString base = locale.section(QLatin1Char('@'), 0, 0).section(QLatin1Char('.'), 0, 0);
    if (!modifier.isEmpty())
        keys << base + QLatin1Char('@') + modifier;
    keys << base;
    if (base.contains(QLatin1Char('_')))
        keys << base.section(QLatin1Char('_'), 0, 0);
    return keys;
}

// The program of an Exec line (its first word after any "env VAR=value"), and whether
// anything but field codes (%U, %f, …) follows it.
struct Command {
    QString program;
    bool plain = true;
};

Command commandOf(const QString& exec)
{
    const QStringList words = QProcess::splitCommand(exec);
    qsizetype i = 0;
    if (!words.isEmpty() && QFileInfo(words.first()).fileName() == QLatin1String("env")) {
        for (i = 1; i < words.size() && words[i].contains(QLatin1Char('=')); ++i) {
        }
    }
    if (i >= words.size())
        return {};
    Command command{QFileInfo(words[i]).fileName(), true};
    for (qsizetype j = i + 1; j < words.size(); ++j)
        command.plain = command.plain && words[j].size() == 2 && words[j].front() == u'%';
    return command;
}

// File name of a program → the entry's name. An entry that starts the program plainly beats
// one that passes it options ("mousepad %U" over "mousepad --preferences"), a shown entry
// beats a hidden one, and otherwise the first found wins.
QHash<QString, QString> scan()
{
    QHash<QString, std::pair<int, QString>> ranked;
    const QStringList languages = languageKeys();
    QSet<QString> seenIds;
    const QStringList folders =
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    for (const QString& folder : folders) {
        const QFileInfoList files =
            QDir(folder).entryInfoList({QStringLiteral("*.desktop")}, QDir::Files);
        for (const QFileInfo& info : files) {
            if (seenIds.contains(info.fileName()))
                continue;
            seenIds.insert(info.fileName());
            QFile file(info.filePath());
            if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
                continue;
            bool inEntry = false;
            bool hidden = false;
            bool noDisplay = false;
            QString name;
            qsizetype nameRank = languages.size();
            QString exec;
            QString tryExec;
            while (!file.atEnd()) {
                const QString line = QString::fromUtf8(file.readLine()).trimmed();
                if (line.startsWith(QLatin1Char('['))) {
                    inEntry = line == QLatin1String("[Desktop Entry]");
                    continue;
                }
                const qsizetype equals = line.indexOf(QLatin1Char('='));
                if (!inEntry || equals < 0)
                    continue;
                const QString key = line.left(equals).trimmed();
                const QString value = line.mid(equals + 1).trimmed();
                if (key == QLatin1String("Name") && name.isEmpty()) {
                    name = value;
                } else if (key.startsWith(QLatin1String("Name["))) {
                    const qsizetype rank = languages.indexOf(key.mid(5).chopped(1));
                    if (rank >= 0 && rank < nameRank) {
                        name = value;
                        nameRank = rank;
                    }
                } else if (key == QLatin1String("Exec")) {
                    exec = value;
                } else if (key == QLatin1String("TryExec")) {
                    tryExec = value;
                } else if (key == QLatin1String("Hidden")) {
                    hidden = value == QLatin1String("true");
                } else if (key == QLatin1String("NoDisplay")) {
                    noDisplay = value == QLatin1String("true");
                }
            }
            const Command command = commandOf(exec);
            if (hidden || name.isEmpty() || command.program.isEmpty())
                continue;
            const int rank = (command.plain ? 0 : 1) + (noDisplay ? 2 : 0);
            for (const QString& program : {command.program, QFileInfo(tryExec).fileName()}) {
                if (program.isEmpty())
                    continue;
                const auto known = ranked.constFind(program);
                if (known == ranked.constEnd() || rank < known->first)
                    ranked.insert(program, {rank, name});
            }
        }
    }
    QHash<QString, QString> names;
    for (auto it = ranked.cbegin(); it != ranked.cend(); ++it)
        names.insert(it.key(), it->second);
    return names;
}

} // namespace

QString nameForExecutable(const QString& executable)
{
    static QHash<QString, QString> names;
    static QDeadlineTimer fresh(0);
    if (fresh.hasExpired()) {
        names = scan();
        fresh.setRemainingTime(60'000);
    }
    return names.value(QFileInfo(executable).fileName());
}

} // namespace DesktopEntries
