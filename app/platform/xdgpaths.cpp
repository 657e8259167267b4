#include "platform/xdgpaths.h"

#include <QDir>
#include <QtGlobal>
#include <pwd.h>
#include <unistd.h>

namespace {

// An XDG variable counts only when it holds an absolute path.
QString baseDir(const char* variable, const char* fallbackUnderHome)
{
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return XdgPaths::home() + QLatin1Char('/') + QLatin1String(fallbackUnderHome);
}

} // namespace

namespace XdgPaths {

QString home()
{
    const QString value = qEnvironmentVariable("HOME");
    if (!value.isEmpty())
        return QDir::cleanPath(value);
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir)
        return QString::fromLocal8Bit(entry->pw_dir);
    return QDir::rootPath();
}

QString configDir()
{
    return baseDir("XDG_CONFIG_HOME", ".config") + QStringLiteral("/peekwell");
}

QString dataDir()
{
    return baseDir("XDG_DATA_HOME", ".local/share") + QStringLiteral("/peekwell");
}

QString logDir()
{
    return baseDir("XDG_STATE_HOME", ".local/state") + QStringLiteral("/peekwell/logs");
}

} // namespace XdgPaths
