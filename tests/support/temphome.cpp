#include "tests/support/temphome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TempHome::TempHome()
    : m_environment({{"HOME", QFile::encodeName(m_dir.path())},
                     {"XDG_CONFIG_HOME", std::nullopt},
                     {"XDG_DATA_HOME", std::nullopt},
                     {"XDG_STATE_HOME", std::nullopt}})
{
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
