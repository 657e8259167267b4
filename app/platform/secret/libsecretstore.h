#pragma once

#include "platform/secretstore.h"

// The desktop keyring over the Secret Service (GNOME Keyring, KWallet) through libsecret.
//
// Items are generic passwords identified by two attributes, "service" (the application id,
// "peekwell") and "account", so `secret-tool lookup service peekwell account openai` finds
// them too. Items go into the default collection (the login keyring). Thread-safe: libsecret's
// synchronous calls run on their own main context.
class LibsecretStore : public SecretStore {
public:
    static constexpr const char* service = "peekwell";

    std::optional<QString> get(const QString& account) const override;
    bool set(const QString& account, const QString& value) override;
    bool remove(const QString& account) override;
    bool isAvailable() const override;
};
