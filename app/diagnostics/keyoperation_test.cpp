#include "diagnostics/keyoperation.h"
#include "platform/secret/memorysecretstore.h"
#include "tests/support/scopedenvironment.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Storing, replacing, deleting and a missing keyring run against a real keyring in
// tests/e2e/keyring_test.cpp.
TEST(KeyOperationTest, AKeyInTheAccountsVariableCountsAsStoredAfterADelete)
{
    ScopedEnvironment environment{{"LOOKUP_KEY", std::nullopt}, {"LOOKUP_OPENAI_KEY", "sk-env"}};
    MemorySecretStore keyring;
    keyring.set(u"openai"_s, u"sk-one"_s);
    SecretStore::setStandard(&keyring);
    EXPECT_EQ(KeyOperation::setKey(u"openai"_s).value("stored"), true);
    EXPECT_EQ(keyring.get(u"openai"_s), std::nullopt);
    SecretStore::setStandard(nullptr);
}

} // namespace
