#pragma once

#include <QString>
#include <QVariantMap>

#include <memory>

class Preferences;
class SystemLanguageModel;

// Every preference key of the program, with its registered default. The keys are those of the
// user's settings file: renaming one loses what the user chose.
namespace Pref {

// Force clicks.
inline const QString enabled = QStringLiteral("enabled");
inline const QString replaceLookUp = QStringLiteral("replaceLookUp");

// Each source's switch.
inline const QString answerOn = QStringLiteral("backend.apple");
inline const QString recallOn = QStringLiteral("backend.recall");
inline const QString chatsOn = QStringLiteral("backend.chats");
inline const QString libraryOn = QStringLiteral("backend.shelfwise");
inline const QString wikipediaOn = QStringLiteral("backend.wikipedia");

// Where the sources ask.
inline const QString libraryURL = QStringLiteral("backend.shelfwise.url");
inline const QString wikipediaURL = QStringLiteral("backend.wikipedia.url");
inline const QString localModelBaseURL = QStringLiteral("localModel.baseURL");
inline const QString localModelName = QStringLiteral("localModel.name");

// The model Recall runs on, and the base URL of the custom one.
inline const QString recallModel = QStringLiteral("recall.model");
inline const QString recallCustomBaseURL = QStringLiteral("recall.custom.baseURL");
// The key that holds the model name of a recall model: "recall." + raw value + ".modelName".
QString modelName(const QString& recallModelRawValue);

// The keys every part of the program may read, with their defaults.
QVariantMap defaults();
// Registers defaults() on the store (the standard one unless told otherwise).
void registerDefaults(Preferences& preferences);
void registerDefaults();

// The local model server and model the preferences name now.
std::shared_ptr<const SystemLanguageModel> localModel(const Preferences& preferences);

} // namespace Pref
