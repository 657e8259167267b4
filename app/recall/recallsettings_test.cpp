#include "platform/secret/memorysecretstore.h"
#include "recall/keychain.h"
#include "recall/recallsettings.h"
#include "settings/pref.h"
#include "tests/support/scopedenvironment.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Fresh preferences with the program's defaults, an in-memory keyring and no key variables.
class RecallSettingsTest : public ::testing::Test {
protected:
    RecallSettingsTest()
    {
        Pref::registerDefaults(prefs);
        SecretStore::setStandard(&keyring);
    }
    ~RecallSettingsTest() override { SecretStore::setStandard(nullptr); }

    QTemporaryDir dir;
    Preferences prefs{dir.path() + u"/peekwell.conf"_s};
    MemorySecretStore keyring;
    ScopedEnvironment environment{{"LOOKUP_OPENAI_KEY", std::nullopt},
                                  {"LOOKUP_ANTHROPIC_KEY", std::nullopt},
                                  {"LOOKUP_CUSTOM_KEY", std::nullopt}};
};

TEST_F(RecallSettingsTest, LoadFromStorageAndSaveBack)
{
    RecallSettings claude(RecallModel::claude, prefs);
    claude.load();
    EXPECT_EQ(claude.name, u"claude-haiku-5-5"_s);
    EXPECT_EQ(claude.baseURL, QString());
    EXPECT_FALSE(claude.hasKey);
    EXPECT_EQ(claude.keyPlaceholder(), u"API key"_s);
    EXPECT_TRUE(claude.showsModelFields());
    EXPECT_FALSE(claude.showsBaseURLField());

    claude.name.clear();
    claude.key = u"sk-typed"_s;
    claude.save();
    EXPECT_EQ(prefs.stringValue(u"recall.claude.modelName"_s), QString());
    EXPECT_EQ(keyring.get(u"anthropic"_s), u"sk-typed"_s);
    EXPECT_EQ(claude.key, QString());
    EXPECT_TRUE(claude.hasKey);
    EXPECT_EQ(claude.keyPlaceholder(), u"API key saved (type to replace)"_s);
    claude.save(); // an empty key field leaves the stored key alone
    EXPECT_EQ(keyring.get(u"anthropic"_s), u"sk-typed"_s);
    EXPECT_FALSE(prefs.isStored(u"recall.custom.baseURL"_s)) << "only custom stores it";

    RecallSettings custom(RecallModel::custom, prefs);
    prefs.setValue(u"recall.custom.baseURL"_s, u"http://box/v1"_s);
    custom.key = u"typed, not saved"_s;
    custom.load();
    EXPECT_EQ(custom.key, QString()) << "a reload drops uncommitted text";
    EXPECT_EQ(custom.baseURL, u"http://box/v1"_s);
    EXPECT_FALSE(custom.hasKey);
    environment.set("LOOKUP_CUSTOM_KEY", "from-env");
    custom.load();
    EXPECT_TRUE(custom.hasKey) << "the variable counts";
    EXPECT_TRUE(custom.showsBaseURLField());
    custom.baseURL.clear();
    custom.save();
    EXPECT_EQ(prefs.stringValue(u"recall.custom.baseURL"_s), QString());
    EXPECT_EQ(prefs.stringValue(u"recall.custom.modelName"_s), u"qwen"_s);
    EXPECT_EQ(keyring.get(u"custom"_s), std::nullopt);

    RecallSettings onDevice(RecallModel::onDevice, prefs);
    onDevice.load();
    EXPECT_FALSE(onDevice.showsModelFields());
    EXPECT_FALSE(onDevice.hasKey);
    EXPECT_EQ(onDevice.baseURL, QString()) << "the custom address is read for every model";
    onDevice.key = u"ignored"_s;
    onDevice.save();
    EXPECT_EQ(prefs.stringValue(u"recall.onDevice.modelName"_s), QString());
    EXPECT_EQ(keyring.get(u"onDevice"_s), std::nullopt);
    EXPECT_EQ(RecallSettings::baseURLPlaceholder(), u"Base URL, e.g. http://localhost:11434/v1"_s);
}

} // namespace
