#include "shell/autostart.h"

#include "platform/xdgpaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>

Q_DECLARE_LOGGING_CATEGORY(lcShell)

namespace {

// A desktop entry's Exec argument: quoted when it holds anything but plain path characters,
// with the characters reserved inside quotes escaped, then backslashes escaped once more as
// in any value of the file, and % doubled.
QString execArgument(const QString& path)
{
    static const QString plain = QStringLiteral("/._-+");
    bool needsQuotes = false;
    for (const QChar c : path)
        needsQuotes = needsQuotes || !(c.isLetterOrNumber() || plain.contains(c));
    if (!needsQuotes)
        return path;
    QString quoted;
    for (const QChar c : path) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\')
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    quoted.replace(QLatin1Char('%'), QStringLiteral("%%"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

namespace Autostart {

QString entryPath()
{
    // The configuration home is the parent of Peekwell's own configuration folder.
    return QFileInfo(XdgPaths::configDir()).path() + QStringLiteral("/autostart/peekwell.desktop");
}

bool isEnabled()
{
    return QFileInfo::exists(entryPath());
}

QByteArray entry(const QString& executable)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Peekwell\n"
                          "Comment=Look up the word under the pointer with a long press\n"
                          "Exec=%1\n"
                          "Icon=peekwell\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(execArgument(executable))
        .toUtf8();
}

bool setEnabled(bool enabled, const QString& executable)
{
    const QString path = entryPath();
    if (!enabled) {
        if (!QFileInfo::exists(path) || QFile::remove(path))
            return true;
        qCWarning(lcShell).noquote() << "could not remove the autostart entry" << path;
        return false;
    }
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(entry(executable)) >= 0 && file.commit())
        return true;
    qCWarning(lcShell).noquote() << "could not write the autostart entry" << path << "-"
                                 << file.errorString();
    return false;
}

} // namespace Autostart
