#include "diagnostics/keyoperation.h"
#include "platform/secret/memorysecretstore.h"
#include "tests/support/scopedenvironment.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Storing, replacing, deleting and a missing keyring run against a real keyring in
// tests/e2e/keyring_test.cpp.
TEST(KeyOperationTest, StoresQuietlyAndAKeyInTheAccountsVariableCountsAsStored)
{
    ScopedEnvironment environment{{"LOOKUP_KEY", "sk-one"}, {"LOOKUP_OPENAI_KEY", std::nullopt}};
    MemorySecretStore keyring;
    SecretStore::setStandard(&keyring);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(KeyOperation::setKey(u"openai"_s),
              QJsonObject({{"account", "openai"}, {"stored", true}}));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(keyring.get(u"openai"_s), u"sk-one"_s);

    environment.set("LOOKUP_KEY", std::nullopt);
    environment.set("LOOKUP_OPENAI_KEY", "sk-env");
    EXPECT_EQ(KeyOperation::setKey(u"openai"_s).value("stored"), true);
    EXPECT_EQ(keyring.get(u"openai"_s), std::nullopt);

    SecretStore::setStandard(nullptr);
}

} // namespace
