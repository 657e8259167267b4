#pragma once

#include "diagnostics/diagnostics.h"

class Arguments;
class Preferences;

// The options that store a preference and let the command go on ("--sw-url",
// "--recall-model", "--model-name", "--custom-base-url"). Each expects its value to be present
// (the operation table checks that) and writes through to `preferences` at once.
namespace SettingsOperations {

Diagnostics::Outcome setShelfwiseUrl(const Arguments& arguments, Preferences& preferences);
Diagnostics::Outcome setRecallModel(const Arguments& arguments, Preferences& preferences);
// Stores the name under the key of the recall model chosen now (after "--recall-model").
Diagnostics::Outcome setModelName(const Arguments& arguments, Preferences& preferences);
Diagnostics::Outcome setCustomBaseUrl(const Arguments& arguments, Preferences& preferences);

} // namespace SettingsOperations
