#include "recall/freshrecall_test.h"
#include "recall/keychain.h"
#include "recall/recallsettings.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

using RecallSettingsTest = FreshRecall;

// Typing a key, its placeholders and the fields each model shows are driven through the menu
// in menuview_test.cpp; here what the form keeps and what it leaves alone.
TEST_F(RecallSettingsTest, SaveWritesWhatWasTypedAndLeavesTheRestAlone)
{
    keyring.set(u"anthropic"_s, u"sk-stored"_s);
    RecallSettings claude(RecallModel::claude, prefs);
    claude.load();
    EXPECT_TRUE(claude.hasKey);
    claude.name.clear();
    claude.save();
    EXPECT_EQ(prefs.stringValue(u"recall.claude.modelName"_s), QString()) << "stored empty";
    EXPECT_EQ(keyring.get(u"anthropic"_s), u"sk-stored"_s) << "an empty key field keeps the key";
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
    custom.baseURL.clear();
    custom.save();
    EXPECT_EQ(prefs.stringValue(u"recall.custom.baseURL"_s), QString());
    EXPECT_EQ(keyring.get(u"custom"_s), std::nullopt);

    RecallSettings onDevice(RecallModel::onDevice, prefs);
    onDevice.load();
    onDevice.key = u"ignored"_s;
    onDevice.save();
    EXPECT_EQ(prefs.stringValue(u"recall.onDevice.modelName"_s), QString());
    EXPECT_EQ(keyring.get(u"onDevice"_s), std::nullopt);
}

} // namespace
