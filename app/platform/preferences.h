#pragma once

#include <QMap>
#include <QString>
#include <QVariant>
#include <memory>
#include <mutex>
#include <optional>

class QSettings;

// The user's preferences: values the user stored, over defaults registered at launch.
//
// Stored values live in an INI file (QSettings' format, the keys exactly as the program names
// them) that a person or a script may edit; every read looks at the file as it is now, so an
// edit takes effect at the next read. Registered defaults live in memory only.
// Safe to use from any thread.
class Preferences {
public:
    explicit Preferences(const QString& filePath);
    ~Preferences();

    // $XDG_CONFIG_HOME/peekwell/peekwell.conf, opened on first use.
    static Preferences& standard();
    static QString standardFilePath();

    const QString& filePath() const { return m_filePath; }

    // Adds to the registered defaults; stored values win over them.
    void registerDefaults(const QVariantMap& defaults);

    // The stored value, else the registered default, else an invalid QVariant.
    QVariant value(const QString& key) const;
    bool boolValue(const QString& key) const;
    // The value when it is text (INI stores every scalar as text), else nothing.
    std::optional<QString> stringValue(const QString& key) const;
    bool isStored(const QString& key) const;

    // Written through to the file at once. False when the file could not be written: the
    // reason is logged, and the value is kept in memory for this process only.
    bool setValue(const QString& key, const QVariant& value);
    bool remove(const QString& key);

private:
    bool synced(const QString& what, const QString& key) const;

    QString m_filePath;
    mutable std::mutex m_mutex;
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_defaults;
};
