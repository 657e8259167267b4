#include "lookup/lookupstream.h"
#include "panel/lookuppanel.h"
#include "panel/lookuppanelcontroller.h"
#include "platform/secret/memorysecretstore.h"
#include "settings/pref.h"
#include "shell/appstatus.h"
#include "shell/autostart.h"
#include "shell/menutexts.h"
#include "shell/menuview.h"
#include "shell/recallsettingsview.h"
#include "shell/switchbutton.h"
#include "tests/support/eventwait.h"
#include "tests/support/temphome.h"

#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>
#include <mutex>

using namespace Qt::Literals::StringLiterals;

namespace {

// The nine keys' switches by the words beside them.
const QList<std::pair<QString, QString>> kSwitches = {
    {MenuTexts::lookUpOnForceClick, u"enabled"_s},  {MenuTexts::takeOverPress, u"replaceLookUp"_s},
    {MenuTexts::answer, u"backend.apple"_s},        {MenuTexts::recall, u"backend.recall"_s},
    {MenuTexts::chats, u"backend.chats"_s},         {MenuTexts::library, u"backend.shelfwise"_s},
    {MenuTexts::wikipedia, u"backend.wikipedia"_s},
};

// The local model server's address on a port nothing listens on.
const QVariantMap kClosedLocalModel = {{u"localModel.baseURL"_s, u"http://127.0.0.1:9/v1"_s}};

// A status object that is never started; the real accessibility check is not asked.
AppStatus::Hooks untrusted()
{
    AppStatus::Hooks h;
    h.trusted = [] { return false; };
    return h;
}

class MenuViewTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        SecretStore::setStandard(&keyring);
        Pref::registerDefaults(preferences);
        preferences.registerDefaults(kClosedLocalModel);
    }
    void TearDown() override
    {
        // The status lines' checks run on the I/O pool and read the keyring and preferences.
        ioThreadPool().waitForDone();
        SecretStore::setStandard(nullptr);
    }

    SwitchButton* switchFor(MenuView& menu, const QString& name)
    {
        for (SwitchButton* button : menu.findChildren<SwitchButton*>())
            if (button->accessibleName() == name)
                return button;
        ADD_FAILURE() << "no switch " << name.toStdString();
        return nullptr;
    }
    void pick(MenuView& menu, RecallModel model)
    {
        auto* picker = menu.findChild<QComboBox*>();
        const int index = picker->findData(model.rawValue());
        picker->setCurrentIndex(index);
        Q_EMIT picker->activated(index); // as a choice in its list does
    }

    TempHome home;
    MemorySecretStore keyring;
    Preferences preferences{home.path() + u"/peekwell.conf"_s};
    AppStatus status{untrusted()};
};

TEST_F(MenuViewTest, FreshUserSeesTheDefaultsAndEverySwitchWritesItsKey)
{
    MenuView menu(status, preferences);
    for (const auto& [name, key] : kSwitches) {
        SwitchButton* button = switchFor(menu, name);
        ASSERT_TRUE(button);
        EXPECT_EQ(button->isChecked(), key != u"backend.shelfwise"_s) << key.toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
        EXPECT_TRUE(preferences.isStored(key)) << key.toStdString();
        EXPECT_EQ(preferences.boolValue(key), button->isChecked()) << key.toStdString();
        EXPECT_EQ(preferences.boolValue(key), key == u"backend.shelfwise"_s) << key.toStdString();
    }
    EXPECT_EQ(menu.findChild<QComboBox*>()->currentText(), u"Local model"_s);
    auto* url = menu.findChild<QLineEdit*>();
    ASSERT_TRUE(url);
    EXPECT_EQ(url->text(), u"http://localhost:3010"_s);
    url->clear();
    QTest::keyClicks(url, u"http://shelf:1"_s);
    EXPECT_EQ(preferences.stringValue(u"backend.shelfwise.url"_s), u"http://shelf:1"_s)
        << "stored as typed";

    SwitchButton* login = switchFor(menu, MenuTexts::startAtLogin);
    ASSERT_TRUE(login);
    EXPECT_FALSE(login->isChecked());
    QTest::mouseClick(login, Qt::LeftButton);
    QFile entry(home.path() + u"/.config/autostart/peekwell.desktop"_s);
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    EXPECT_TRUE(entry.readAll().contains(
        "\nExec=" + QFile::encodeName(QCoreApplication::applicationFilePath()) + '\n'));
    QTest::mouseClick(login, Qt::LeftButton);
    EXPECT_FALSE(QFile::exists(entry.fileName()));

    // Reopened, the menu shows what is stored.
    MenuView again(status, preferences);
    EXPECT_FALSE(switchFor(again, MenuTexts::wikipedia)->isChecked());
    EXPECT_TRUE(switchFor(again, MenuTexts::library)->isChecked());
}

TEST_F(MenuViewTest, PickerShowsTheSettingsOfTheChosenModel)
{
    MenuView menu(status, preferences);
    RecallSettingsView* settings = menu.recallSettings();
    EXPECT_FALSE(settings->nameField()) << "the local model has only its status line";

    pick(menu, RecallModel::custom);
    EXPECT_EQ(preferences.stringValue(u"recall.model"_s), u"custom"_s);
    settings = menu.recallSettings();
    ASSERT_TRUE(settings->nameField() && settings->baseURLField() && settings->keyField());
    EXPECT_EQ(settings->nameField()->text(), u"qwen"_s);
    EXPECT_EQ(settings->keyField()->echoMode(), QLineEdit::Password);
    EXPECT_EQ(settings->keyField()->placeholderText(), u"API key"_s);
    ASSERT_TRUE(spinUntil([&] { return settings->statusLine()->text() == u"Set a base URL"_s; }));

    QTest::keyClicks(settings->baseURLField(), u"http://127.0.0.1:9/v1"_s);
    QTest::keyClick(settings->baseURLField(), Qt::Key_Return);
    QTest::keyClicks(settings->keyField(), u"sk-local"_s);
    QTest::keyClick(settings->keyField(), Qt::Key_Return);
    EXPECT_EQ(preferences.stringValue(u"recall.custom.baseURL"_s), u"http://127.0.0.1:9/v1"_s);
    EXPECT_EQ(keyring.get(u"custom"_s), u"sk-local"_s);
    EXPECT_TRUE(settings->keyField()->text().isEmpty());
    EXPECT_EQ(settings->keyField()->placeholderText(), u"API key saved (type to replace)"_s);
    ASSERT_TRUE(spinUntil([&] { return settings->statusLine()->text() == u"qwen"_s; }));

    pick(menu, RecallModel::claude);
    settings = menu.recallSettings();
    EXPECT_FALSE(settings->baseURLField());
    EXPECT_EQ(settings->nameField()->text(), u"claude-haiku-5-5"_s);
    ASSERT_TRUE(spinUntil([&] { return settings->statusLine()->text() == u"Add an API key"_s; }));
}

TEST_F(MenuViewTest, UnwritableSettingsKeepTheSwitchAndSayWhy)
{
    // The settings folder is a file: nothing can be written below it.
    const QString blocked = home.write(u"blocked"_s, "not a folder");
    Preferences unwritable(blocked + u"/peekwell.conf"_s);
    Pref::registerDefaults(unwritable);
    unwritable.registerDefaults(kClosedLocalModel);
    // Messages may come from the worker threads of the status lines too.
    static std::mutex lock;
    static QStringList warnings;
    warnings.clear();
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
            const std::lock_guard guard(lock);
            warnings << text;
        });
    MenuView menu(status, unwritable);
    SwitchButton* wikipedia = switchFor(menu, MenuTexts::wikipedia);
    QTest::mouseClick(wikipedia, Qt::LeftButton);
    qInstallMessageHandler(previous);
    EXPECT_FALSE(wikipedia->isChecked());
    ioThreadPool().waitForDone(); // the status checks read `unwritable`, which ends here
    const std::lock_guard guard(lock);
    EXPECT_TRUE(warnings.join(u'\n').contains(blocked)) << warnings.join(u'\n').toStdString();
}

// The real lookup path: the sample query in the panel at the pointer, with the user's sources
// (pointed at closed local ports).
TEST(MenuLookupTest, TryALookupOpensThePanelAtThePointer)
{
    TempHome home;
    Preferences& preferences = Preferences::standard();
    Pref::registerDefaults(preferences);
    preferences.setValue(u"localModel.baseURL"_s, u"http://127.0.0.1:9/v1"_s);
    preferences.setValue(u"backend.wikipedia.url"_s, u"http://127.0.0.1:9"_s);
    AppStatus::Hooks hooks = untrusted();
    hooks.pointer = [] { return QPointF(300, 200); };
    AppStatus status(std::move(hooks));
    MenuView menu(status, preferences);
    bool hid = false;
    QObject::connect(&menu, &MenuView::tryingLookup, [&] { hid = true; });
    QPushButton* tryIt = nullptr;
    for (QPushButton* button : menu.findChildren<QPushButton*>())
        if (button->text() == MenuTexts::tryLookup)
            tryIt = button;
    ASSERT_TRUE(tryIt);
    QTest::mouseClick(tryIt, Qt::LeftButton);
    EXPECT_TRUE(hid);
    LookupPanelController& panels = LookupPanelController::shared();
    ASSERT_TRUE(panels.model() && panels.panel());
    EXPECT_EQ(panels.model()->query(), AppStatus::sampleQuery());
    EXPECT_EQ(panels.model()->tabs().size(), 4) << "Answer, Recall, Chats, Wikipedia";
    EXPECT_EQ(panels.panel()->geometry(),
              LookupPanelController::frame(QPointF(300, 200)).toAlignedRect());
    panels.close();
    ioThreadPool().waitForDone(); // the cancelled sources and the status checks end here
}

} // namespace
