#include "temphome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <optional>

namespace {
const char* const kVariables[] = {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"};
}

TempHome::TempHome()
{
    for (const char* name : kVariables) {
        m_saved[name] =
            qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
        qunsetenv(name);
    }
    qputenv("HOME", QFile::encodeName(m_dir.path()));
}

TempHome::~TempHome()
{
    for (const auto& [name, value] : m_saved) {
        if (value)
            qputenv(name.constData(), *value);
        else
            qunsetenv(name.constData());
    }
}

QString TempHome::write(const QString& relativePath, const QByteArray& contents) const
{
    const QString full = m_dir.path() + QLatin1Char('/') + relativePath;
    QDir().mkpath(QFileInfo(full).path());
    QFile file(full);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(contents);
    return full;
}
