#include "preferences.h"

#include "xdgpaths.h"

#include <QSettings>

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

void Preferences::setValue(const QString& key, const QVariant& value)
{
    std::lock_guard lock(m_mutex);
    m_settings->setValue(key, value);
    m_settings->sync();
}

void Preferences::remove(const QString& key)
{
    std::lock_guard lock(m_mutex);
    m_settings->remove(key);
    m_settings->sync();
}
