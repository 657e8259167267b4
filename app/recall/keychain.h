#pragma once

#include <QString>
#include <optional>

// API keys by account ("openai", "anthropic", "custom").
//
// A key in the environment wins: "LOOKUP_" + the account in upper case + "_KEY" (e.g.
// LOOKUP_OPENAI_KEY), when set and not empty. Otherwise the desktop keyring is asked
// (SecretStore::standard()). Failures are silent: a failed read is no key, a failed write
// leaves no key. Keys are never logged. Any thread; calls block while the keyring answers.
namespace Keychain {

// The environment variable that overrides the account's stored key.
QString environmentVariable(const QString& account);

std::optional<QString> get(const QString& account);

// Deletes the account's stored key, then stores `value` when it is present and not empty.
void set(const QString& account, const std::optional<QString>& value);

} // namespace Keychain
