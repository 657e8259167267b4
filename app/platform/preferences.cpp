#include "platform/preferences.h"

#include "platform/xdgpaths.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>

Q_LOGGING_CATEGORY(lcPreferences, "peekwell.platform.preferences", QtWarningMsg)

Preferences::Preferences(const QString& filePath)
    : m_filePath(filePath), m_settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat))
{
}

Preferences::~Preferences() = default;

Preferences& Preferences::standard()
{
    static Preferences preferences(standardFilePath());
    return preferences;
}

QString Preferences::standardFilePath()
{
    return XdgPaths::configDir() + QStringLiteral("/peekwell.conf");
}

void Preferences::registerDefaults(const QVariantMap& defaults)
{
    std::lock_guard lock(m_mutex);
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        m_defaults.insert(it.key(), it.value());
}

QVariant Preferences::value(const QString& key) const
{
    std::lock_guard lock(m_mutex);
    m_settings->sync(); // picks up edits made by another process since the last read
    QVariant stored = m_settings->value(key);
    if (stored.isValid())
        return stored;
    return m_defaults.value(key);
}

bool Preferences::boolValue(const QString& key) const
{
    const QVariant v = value(key);
    if (v.typeId() == QMetaType::QString) {
        const QString text = v.toString().trimmed().toLower();
        return text == QLatin1String("true") || text == QLatin1String("yes") ||
               text == QLatin1String("1") || text == QLatin1String("on");
    }
    return v.toBool();
}

std::optional<QString> Preferences::stringValue(const QString& key) const
{
    const QVariant v = value(key);
    if (v.typeId() != QMetaType::QString)
        return std::nullopt;
    return v.toString();
}

bool Preferences::isStored(const QString& key) const
{
    std::lock_guard lock(m_mutex);
    m_settings->sync();
    return m_settings->contains(key);
}

bool Preferences::setValue(const QString& key, const QVariant& value)
{
    std::lock_guard lock(m_mutex);
    m_settings->setValue(key, value);
    m_settings->sync();
    return synced(QStringLiteral("store"), key);
}

bool Preferences::remove(const QString& key)
{
    std::lock_guard lock(m_mutex);
    m_settings->remove(key);
    m_settings->sync();
    return synced(QStringLiteral("remove"), key);
}

bool Preferences::synced(const QString& what, const QString& key) const
{
    switch (m_settings->status()) {
    case QSettings::NoError:
        return true;
    case QSettings::AccessError:
        qCWarning(lcPreferences).noquote()
            << "could not" << what << key << "in" << m_filePath
            << "- the file or its folder cannot be written (is" << QFileInfo(m_filePath).path()
            << "a folder you may write to?)";
        return false;
    case QSettings::FormatError:
        qCWarning(lcPreferences).noquote() << "could not" << what << key << "in" << m_filePath
                                           << "- the file is not a settings file Peekwell can read";
        return false;
    }
    return false;
}
