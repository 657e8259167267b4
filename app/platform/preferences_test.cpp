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

// Stored values over registered defaults, and the fall-back when one is removed, are what every
// settings test relies on (backends_test.cpp, menuview_test.cpp); here the file.
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
