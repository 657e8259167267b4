#include "settings/pref.h"

#include "platform/llm/openai/systemlanguagemodel.h"
#include "platform/preferences.h"

namespace Pref {

QVariantMap defaults()
{
    return QVariantMap{
        {enabled, true},
        {replaceLookUp, true},
        {answerOn, true},
        {libraryOn, false},
        {wikipediaOn, true},
        {chatsOn, true},
        {recallOn, true},
        {recallModel, QStringLiteral("onDevice")},
        {libraryURL, QStringLiteral("http://localhost:3010")},
        {localModelBaseURL, QStringLiteral("http://127.0.0.1:11434/v1")},
        {localModelName, QStringLiteral("llama3.2")},
        {wikipediaURL, QStringLiteral("https://en.wikipedia.org")},
    };
}

void registerDefaults(Preferences& preferences)
{
    preferences.registerDefaults(defaults());
}

void registerDefaults()
{
    registerDefaults(Preferences::standard());
}

QString modelName(const QString& recallModelRawValue)
{
    return QStringLiteral("recall.") + recallModelRawValue + QStringLiteral(".modelName");
}

std::shared_ptr<const SystemLanguageModel> localModel(const Preferences& preferences)
{
    const QString base = preferences.stringValue(localModelBaseURL).value_or(QString());
    const QString name = preferences.stringValue(localModelName).value_or(QString());
    return std::make_shared<SystemLanguageModel>(QUrl(base, QUrl::StrictMode), name, base);
}

} // namespace Pref
