#pragma once

#include "platform/preferences.h"
#include "platform/secret/memorysecretstore.h"
#include "settings/pref.h"
#include "tests/support/scopedenvironment.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// The recall tests' starting point: fresh preferences with the program's defaults, an in-memory
// keyring as the standard one, and no key variables.
class FreshRecall : public ::testing::Test {
protected:
    FreshRecall()
    {
        Pref::registerDefaults(prefs);
        SecretStore::setStandard(&keyring);
    }
    ~FreshRecall() override { SecretStore::setStandard(nullptr); }

    QTemporaryDir dir;
    Preferences prefs{dir.path() + QStringLiteral("/peekwell.conf")};
    MemorySecretStore keyring;
    ScopedEnvironment environment{{"LOOKUP_OPENAI_KEY", std::nullopt},
                                  {"LOOKUP_ANTHROPIC_KEY", std::nullopt},
                                  {"LOOKUP_CUSTOM_KEY", std::nullopt}};
};
