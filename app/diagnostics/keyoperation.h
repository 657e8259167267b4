#pragma once

#include "diagnostics/diagnostics.h"

#include <QJsonObject>
#include <QString>

class Arguments;

// "--set-key ACCOUNT": stores the key given in the environment variable LOOKUP_KEY for the
// account in the desktop keyring (an unset or empty variable deletes the account's key),
// reports "keys.json" {"account", "stored"} and ends the process with status 0. The key
// itself appears nowhere: not in the report, not on standard output or error, not in logs.
namespace KeyOperation {

// The store and the report, without ending the process. When no keyring answers, or the
// keyring refuses the key (locked, no login keyring), one line on standard error says so.
QJsonObject setKey(const QString& account);

// The operation's entry in Diagnostics::operations(); does not return.
Diagnostics::Outcome run(const Arguments& arguments);

} // namespace KeyOperation
