#include "recall/recallmodel.h"

#include "lookup/backenderror.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "platform/llm/openai/systemlanguagemodel.h"
#include "recall/keychain.h"
#include "settings/pref.h"

QList<RecallModel> RecallModel::allCases()
{
    return {onDevice, privateCloud, openAI, claude, custom};
}

std::optional<RecallModel> RecallModel::fromRawValue(const QString& rawValue)
{
    for (RecallModel model : allCases()) {
        if (model.rawValue() == rawValue)
            return model;
    }
    return std::nullopt;
}

RecallModel RecallModel::current(const Preferences& preferences)
{
    const std::optional<QString> raw = preferences.stringValue(Pref::recallModel);
    return raw ? fromRawValue(*raw).value_or(onDevice) : onDevice;
}

QString RecallModel::rawValue() const
{
    switch (m_value) {
    case onDevice:
        return QStringLiteral("onDevice");
    case privateCloud:
        return QStringLiteral("privateCloud");
    case openAI:
        return QStringLiteral("openAI");
    case claude:
        return QStringLiteral("claude");
    case custom:
        return QStringLiteral("custom");
    }
    return {};
}

std::optional<QString> RecallModel::displayName() const
{
    switch (m_value) {
    case openAI:
        return QStringLiteral("OpenAI");
    case claude:
        return QStringLiteral("Claude");
    case custom:
        return QStringLiteral("Custom (OpenAI-compatible)");
    default:
        return std::nullopt;
    }
}

QString RecallModel::defaultModelName() const
{
    switch (m_value) {
    case openAI:
        return QStringLiteral("gpt-5.4-mini");
    case claude:
        return QStringLiteral("claude-haiku-5-5");
    case custom:
        return QStringLiteral("qwen");
    default:
        return QString();
    }
}

std::optional<QString> RecallModel::keyAccount() const
{
    switch (m_value) {
    case openAI:
        return QStringLiteral("openai");
    case claude:
        return QStringLiteral("anthropic");
    case custom:
        return QStringLiteral("custom");
    default:
        return std::nullopt;
    }
}

QString RecallModel::modelName(const Preferences& preferences) const
{
    return preferences.stringValue(Pref::modelName(rawValue())).value_or(defaultModelName());
}

std::optional<QUrl> RecallModel::baseURL(const Preferences& preferences) const
{
    switch (m_value) {
    case openAI:
        return QUrl(QStringLiteral("https://api.openai.com/v1"));
    case claude:
        return QUrl(QStringLiteral("https://api.anthropic.com/v1"));
    case custom: {
        const QString text = preferences.stringValue(Pref::recallCustomBaseURL).value_or(QString());
        const QUrl url(text, QUrl::StrictMode);
        if (text.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
            return std::nullopt;
        return url;
    }
    default:
        return std::nullopt;
    }
}

QString RecallModel::status(const Preferences& preferences) const
{
    switch (m_value) {
    case onDevice: {
        const Availability availability = Pref::localModel(preferences)->availability();
        return availability.isAvailable ? QStringLiteral("On device") : availability.reason;
    }
    case privateCloud:
        // With an entitlement the private-cloud model would be asked here; none exists.
        return QStringLiteral("Not available on Linux");
    default:
        break;
    }
    if (!baseURL(preferences))
        return QStringLiteral("Set a base URL");
    if (m_value != custom && !Keychain::get(*keyAccount()))
        return QStringLiteral("Add an API key");
    return modelName(preferences);
}

Session RecallModel::session(QList<std::shared_ptr<const Tool>> tools, const QString& instructions,
                             const Preferences& preferences) const
{
    switch (m_value) {
    case onDevice:
        return Session(Pref::localModel(preferences), std::move(tools), instructions);
    case privateCloud:
        throw BackendError(QStringLiteral(
            "Private Cloud Compute is not available on Linux: pick another model for Recall in "
            "the menu"));
    default:
        break;
    }
    const std::optional<QUrl> base = baseURL(preferences);
    if (!base)
        throw BackendError(QStringLiteral("Set a base URL for ") + *displayName() +
                           QStringLiteral(" in the menu"));
    std::optional<QString> key = Keychain::get(*keyAccount());
    if (m_value != custom && !key)
        throw BackendError(QStringLiteral("Add a ") + *displayName() +
                           QStringLiteral(" API key in the menu"));
    auto model = std::make_shared<OpenAICompatibleModel>(*base, modelName(preferences), key);
    return Session(std::move(model), std::move(tools), instructions);
}
