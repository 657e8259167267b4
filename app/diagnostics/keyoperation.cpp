#include "diagnostics/keyoperation.h"

#include "diagnostics/arguments.h"
#include "platform/secretstore.h"
#include "recall/keychain.h"

#include <cstdio>

namespace KeyOperation {

QJsonObject setKey(const QString& account)
{
    std::optional<QString> value;
    if (qEnvironmentVariableIsSet("LOOKUP_KEY"))
        value = qEnvironmentVariable("LOOKUP_KEY");
    const bool available = SecretStore::standard().isAvailable();
    if (!available) {
        std::fputs("peekwell: no keyring is available (no Secret Service answers on the session "
                   "bus); nothing was stored or deleted\n",
                   stderr);
    }
    Keychain::set(account, value);
    const bool stored = Keychain::get(account).has_value();
    if (available && value && !value->isEmpty() && !stored) {
        std::fputs("peekwell: the keyring did not store the key (is it locked?)\n", stderr);
    }
    return QJsonObject{{QStringLiteral("account"), account}, {QStringLiteral("stored"), stored}};
}

Diagnostics::Outcome run(const Arguments& arguments)
{
    const QString account = *arguments.value(QStringLiteral("--set-key"));
    Diagnostics::emit(setKey(account), QStringLiteral("keys.json"));
    Diagnostics::finish(0);
}

} // namespace KeyOperation
