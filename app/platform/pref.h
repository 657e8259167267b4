#pragma once

#include <QString>
#include <QVariantMap>

class Preferences;

// The program's preference keys and their registered defaults.
namespace Pref {

// The keys every part of the program may read, with their defaults.
QVariantMap defaults();
// Registers defaults() on the store (the standard one unless told otherwise).
void registerDefaults(Preferences& preferences);
void registerDefaults();

// The key that holds the model name of a recall model: "recall." + raw value + ".modelName".
QString modelName(const QString& recallModelRawValue);

} // namespace Pref
