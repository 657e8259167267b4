#pragma once

#include <QString>
#include <optional>

// Where API keys are kept: the desktop keyring, one secret per account, never a file.
//
// Failures are quiet by design: when no keyring answers, reads give no key and writes store
// nothing; isAvailable() tells the two apart for those who must say so. Implementations are
// safe to call from any thread; calls block while the keyring answers.
class SecretStore {
public:
    virtual ~SecretStore() = default;

    // The process's store: the Secret Service through libsecret, unless a test replaced it.
    static SecretStore& standard();
    // Replaces the store standard() returns (for tests); null puts the keyring back. The
    // replacement must outlive its use.
    static void setStandard(SecretStore* store);

    // The secret stored for the account, or none (no item, no keyring, not UTF-8).
    virtual std::optional<QString> get(const QString& account) const = 0;
    // Stores (replacing) the account's secret; false when nothing was stored.
    virtual bool set(const QString& account, const QString& value) = 0;
    // Removes the account's secret; false when there was none or no keyring answered.
    virtual bool remove(const QString& account) = 0;
    // Whether a keyring answers at all.
    virtual bool isAvailable() const = 0;
};
