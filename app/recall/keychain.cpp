#include "recall/keychain.h"

#include "platform/secretstore.h"

namespace Keychain {

QString environmentVariable(const QString& account)
{
    return QStringLiteral("LOOKUP_") + account.toUpper() + QStringLiteral("_KEY");
}

std::optional<QString> get(const QString& account)
{
    const QString fromEnvironment =
        qEnvironmentVariable(environmentVariable(account).toLocal8Bit());
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return SecretStore::standard().get(account);
}

void set(const QString& account, const std::optional<QString>& value)
{
    SecretStore& store = SecretStore::standard();
    store.remove(account);
    if (value && !value->isEmpty())
        store.set(account, *value);
}

} // namespace Keychain
