#include "settingsoperations.h"

#include "arguments.h"
#include "pref.h"
#include "preferences.h"
#include "recallmodel.h"

namespace SettingsOperations {

namespace {

Diagnostics::Outcome store(const Arguments& arguments, const QString& option, const QString& key,
                           Preferences& preferences)
{
    if (const std::optional<QString> value = arguments.value(option))
        preferences.setValue(key, *value);
    return Diagnostics::Outcome::GoOn;
}

} // namespace

Diagnostics::Outcome setShelfwiseUrl(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--sw-url"), QStringLiteral("backend.shelfwise.url"),
                 preferences);
}

Diagnostics::Outcome setRecallModel(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--recall-model"), QStringLiteral("recall.model"),
                 preferences);
}

Diagnostics::Outcome setModelName(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--model-name"),
                 Pref::modelName(RecallModel::current(preferences)), preferences);
}

Diagnostics::Outcome setCustomBaseUrl(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--custom-base-url"),
                 QStringLiteral("recall.custom.baseURL"), preferences);
}

} // namespace SettingsOperations
