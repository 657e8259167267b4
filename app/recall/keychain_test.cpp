#include "platform/secret/memorysecretstore.h"
#include "recall/keychain.h"
#include "tests/support/scopedenvironment.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(KeychainTest, PrefersANonEmptyVariableAndReplacesOrDeletesStoredKeys)
{
    ScopedEnvironment environment{{"LOOKUP_OPENAI_KEY", std::nullopt}};
    MemorySecretStore keyring;
    SecretStore::setStandard(&keyring);
    const QString account = u"openai"_s;
    EXPECT_EQ(Keychain::get(account), std::nullopt);
    Keychain::set(account, u"sk-2"_s);
    EXPECT_EQ(Keychain::get(account), u"sk-2"_s);

    environment.set("LOOKUP_OPENAI_KEY", "sk-env");
    EXPECT_EQ(Keychain::get(account), u"sk-env"_s);
    environment.set("LOOKUP_OPENAI_KEY", "");
    EXPECT_EQ(Keychain::get(account), u"sk-2"_s) << "an empty variable is ignored";

    Keychain::set(account, QString());
    EXPECT_EQ(Keychain::get(account), std::nullopt);
    Keychain::set(account, u"sk-3"_s);
    Keychain::set(account, std::nullopt);
    EXPECT_EQ(keyring.get(account), std::nullopt);
    EXPECT_EQ(Keychain::environmentVariable(u"my-server"_s), u"LOOKUP_MY-SERVER_KEY"_s);

    // Without a keyring nothing is kept and nothing is found.
    MemorySecretStore absent(false);
    SecretStore::setStandard(&absent);
    Keychain::set(account, u"sk-4"_s);
    EXPECT_EQ(Keychain::get(account), std::nullopt);
    SecretStore::setStandard(nullptr);
}

} // namespace
