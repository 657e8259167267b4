#include "platform/preferences.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

class PreferencesTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString file = dir.path() + QStringLiteral("/peekwell.conf");
};

TEST_F(PreferencesTest, StoredValuesWinOverRegisteredDefaults)
{
    Preferences prefs(file);
    prefs.registerDefaults({{QStringLiteral("backend.wikipedia"), true},
                            {QStringLiteral("enabled"), true},
                            {QStringLiteral("recall.model"), QStringLiteral("onDevice")}});
    EXPECT_TRUE(prefs.boolValue(QStringLiteral("backend.wikipedia")));
    EXPECT_FALSE(prefs.isStored(QStringLiteral("enabled")));

    prefs.setValue(QStringLiteral("backend.wikipedia"), false);
    prefs.setValue(QStringLiteral("recall.model"), QStringLiteral("claude"));
    EXPECT_FALSE(prefs.boolValue(QStringLiteral("backend.wikipedia")));
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.model")), QStringLiteral("claude"));

    prefs.remove(QStringLiteral("recall.model"));
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.model")), QStringLiteral("onDevice"));

    // Missing keys are nothing; an empty text is a text.
    EXPECT_FALSE(prefs.stringValue(QStringLiteral("missing")).has_value());
    EXPECT_FALSE(prefs.boolValue(QStringLiteral("missing")));
    prefs.setValue(QStringLiteral("recall.custom.baseURL"), QString());
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.custom.baseURL")), QString());
}

TEST_F(PreferencesTest, WritesGoThroughToAReadableIniFileAndOutsideEditsAreSeen)
{
    Preferences prefs(file);
    prefs.setValue(QStringLiteral("backend.shelfwise.url"), QStringLiteral("http://nas:3010"));
    prefs.setValue(QStringLiteral("backend.chats"), false);

    QFile ini(file);
    ASSERT_TRUE(ini.open(QIODevice::ReadOnly));
    const QByteArray text = ini.readAll();
    EXPECT_TRUE(text.contains("backend.shelfwise.url=\"http://nas:3010\"") ||
                text.contains("backend.shelfwise.url=http://nas:3010"))
        << text.constData();
    EXPECT_TRUE(text.contains("backend.chats=false")) << text.constData();
    ini.close();

    // Another process (or a person) edits the file: the next read sees it, no restart.
    Preferences other(file);
    other.setValue(QStringLiteral("backend.chats"), true);
    EXPECT_TRUE(prefs.boolValue(QStringLiteral("backend.chats")));
}

} // namespace
