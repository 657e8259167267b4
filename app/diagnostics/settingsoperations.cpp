#include "diagnostics/settingsoperations.h"

#include "diagnostics/arguments.h"
#include "platform/preferences.h"
#include "recall/recallmodel.h"
#include "settings/pref.h"

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
    return store(arguments, QStringLiteral("--sw-url"), Pref::libraryURL, preferences);
}

Diagnostics::Outcome setRecallModel(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--recall-model"), Pref::recallModel, preferences);
}

Diagnostics::Outcome setModelName(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--model-name"),
                 Pref::modelName(RecallModel::current(preferences).rawValue()), preferences);
}

Diagnostics::Outcome setCustomBaseUrl(const Arguments& arguments, Preferences& preferences)
{
    return store(arguments, QStringLiteral("--custom-base-url"), Pref::recallCustomBaseURL,
                 preferences);
}

} // namespace SettingsOperations
