#include "arguments.h"
#include "pref.h"
#include "preferences.h"
#include "settingsoperations.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

class SettingsOperationsTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    Preferences preferences{dir.path() + QStringLiteral("/p.conf")};
    void SetUp() override { Pref::registerDefaults(preferences); }
};

TEST_F(SettingsOperationsTest, ModelNameGoesToTheModelChosenInTheSameCommand)
{
    const Arguments arguments({"peekwell", "--model-name", "gpt-test", "--recall-model", "openAI"});
    // In the order of the operation table: the model first, then its name.
    SettingsOperations::setRecallModel(arguments, preferences);
    SettingsOperations::setModelName(arguments, preferences);
    EXPECT_EQ(preferences.stringValue(QStringLiteral("recall.model")), QStringLiteral("openAI"));
    EXPECT_EQ(preferences.stringValue(QStringLiteral("recall.openAI.modelName")),
              QStringLiteral("gpt-test"));
    EXPECT_FALSE(preferences.isStored(QStringLiteral("recall.onDevice.modelName")));
}

TEST_F(SettingsOperationsTest, UnknownModelsCountAsOnDevice)
{
    for (const char* model : {"privateCloud", "claude", "custom"}) {
        preferences.setValue(QStringLiteral("recall.model"), QString::fromLatin1(model));
        SettingsOperations::setModelName(Arguments({"peekwell", "--model-name", "m"}), preferences);
        EXPECT_EQ(preferences.stringValue(Pref::modelName(QString::fromLatin1(model))),
                  QStringLiteral("m"));
    }
    preferences.setValue(QStringLiteral("recall.model"), QStringLiteral("gpt5"));
    SettingsOperations::setModelName(Arguments({"peekwell", "--model-name", "llama3"}),
                                     preferences);
    EXPECT_EQ(preferences.stringValue(QStringLiteral("recall.onDevice.modelName")),
              QStringLiteral("llama3"));
}

TEST_F(SettingsOperationsTest, AddressesAreStoredAsGiven)
{
    const Arguments arguments({"peekwell", "--sw-url", "http://nas:3010", "--custom-base-url",
                               "--not-an-option-but-a-value"});
    EXPECT_EQ(SettingsOperations::setShelfwiseUrl(arguments, preferences),
              Diagnostics::Outcome::GoOn);
    EXPECT_EQ(SettingsOperations::setCustomBaseUrl(arguments, preferences),
              Diagnostics::Outcome::GoOn);
    EXPECT_EQ(preferences.stringValue(QStringLiteral("backend.shelfwise.url")),
              QStringLiteral("http://nas:3010"));
    EXPECT_EQ(preferences.stringValue(QStringLiteral("recall.custom.baseURL")),
              QStringLiteral("--not-an-option-but-a-value"));
}

} // namespace
