#include "pref.h"

#include "preferences.h"

namespace Pref {

QVariantMap defaults()
{
    return QVariantMap{
        {QStringLiteral("enabled"), true},
        {QStringLiteral("replaceLookUp"), true},
        {QStringLiteral("backend.apple"), true},
        {QStringLiteral("backend.shelfwise"), false},
        {QStringLiteral("backend.wikipedia"), true},
        {QStringLiteral("backend.chats"), true},
        {QStringLiteral("backend.recall"), true},
        {QStringLiteral("recall.model"), QStringLiteral("onDevice")},
        {QStringLiteral("backend.shelfwise.url"), QStringLiteral("http://localhost:3010")},
        {QStringLiteral("localModel.baseURL"), QStringLiteral("http://127.0.0.1:11434/v1")},
        {QStringLiteral("localModel.name"), QStringLiteral("llama3.2")},
        {QStringLiteral("backend.wikipedia.url"), QStringLiteral("https://en.wikipedia.org")},
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

} // namespace Pref
