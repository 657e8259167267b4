#include "backends/backends.h"
#include "chats/chatindex.h"
#include "lookup/lookupmodel.h"
#include "platform/preferences.h"
#include "platform/secret/memorysecretstore.h"
#include "settings/pref.h"
#include "tests/support/httptestserver.h"
#include "tests/support/temphome.h"
#include "tests/support/transcriptlines.h"

#include <QJsonArray>
#include <gtest/gtest.h>

// The standard preferences and the shared index are made once per process, under the home
// of that moment: this test has its executable to itself.

namespace {

// A first run on a machine with no local model server and no network. The tabs' rendering and
// the dictionary's answer are the snapshot end-to-end test's; here the standard preferences and
// the shared index under the home reach the sources: Chats finds the transcript, Recall says
// what to start.
TEST(BackendsFreshMachineTest, LookupOverTheStandardPreferences)
{
    TempHome home;
    MemorySecretStore keyring;
    SecretStore::setStandard(&keyring);
    Preferences& preferences = Preferences::standard();
    ASSERT_TRUE(preferences.filePath().startsWith(home.path()));
    Pref::registerDefaults(preferences);
    const QString closed = QStringLiteral("http://127.0.0.1:%1").arg(HttpTestServer::closedPort());
    preferences.setValue("localModel.baseURL", closed + QStringLiteral("/v1"));
    preferences.setValue("backend.wikipedia.url", closed);

    home.write(".claude/projects/-work-app/s1.jsonl",
               claudeLine("user", "why does the tokenizer drop accents"));
    ChatIndex::shared().update();

    LookupModel model(LookupQuery{"accents", "The tokenizer drops accents.", "Kate"},
                      Backends::enabled(preferences));
    model.waitUntilFinished(60);
    ASSERT_TRUE(model.isFinished());
    const QJsonArray tabs = model.report().value("tabs").toArray();
    ASSERT_EQ(tabs.size(), 4);
    EXPECT_EQ(tabs[1]["id"], "recall");
    EXPECT_EQ(tabs[1]["phase"], QStringLiteral("failed: Start a local model server at ") + closed +
                                    QStringLiteral("/v1"));
    EXPECT_EQ(tabs[2]["id"], "chats");
    ASSERT_EQ(tabs[2]["items"].toArray().size(), 1);
    EXPECT_TRUE(tabs[2]["items"][0][2].toString().contains("accents"));
    SecretStore::setStandard(nullptr);
}

} // namespace
