#include "recall/recallsettings.h"

#include "settings/pref.h"

#include "recall/keychain.h"

RecallSettings::RecallSettings(RecallModel model, Preferences& preferences)
    : m_model(model), m_preferences(preferences)
{
}

QString RecallSettings::baseURLPlaceholder()
{
    return QStringLiteral("Base URL, e.g. http://localhost:11434/v1");
}

QString RecallSettings::keyPlaceholder() const
{
    return hasKey ? QStringLiteral("API key saved (type to replace)") : QStringLiteral("API key");
}

void RecallSettings::load()
{
    name = m_model.modelName(m_preferences);
    baseURL = m_preferences.stringValue(Pref::recallCustomBaseURL).value_or(QString());
    key.clear();
    const std::optional<QString> account = m_model.keyAccount();
    hasKey = account && Keychain::get(*account).has_value();
}

void RecallSettings::save()
{
    m_preferences.setValue(Pref::modelName(m_model.rawValue()), name);
    const std::optional<QString> account = m_model.keyAccount();
    if (!account)
        return;
    if (m_model == RecallModel::custom)
        m_preferences.setValue(Pref::recallCustomBaseURL, baseURL);
    if (!key.isEmpty()) {
        Keychain::set(*account, key);
        key.clear();
        hasKey = true;
    }
}
