#include "backends/appleintelligencebackend.h"
#include "backends/backends.h"
#include "backends/chatsbackend.h"
#include "backends/recallbackend.h"
#include "backends/shelfwisebackend.h"
#include "backends/wikipediabackend.h"
#include "platform/preferences.h"
#include "settings/pref.h"
#include "tests/support/temphome.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QStringList idsOf(const BackendList& sources)
{
    QStringList ids;
    for (const BackendPtr& source : sources)
        ids.append(source->id());
    return ids;
}

template <typename Source> std::shared_ptr<const Source> find(const BackendList& sources)
{
    for (const BackendPtr& source : sources) {
        if (auto typed = std::dynamic_pointer_cast<const Source>(source))
            return typed;
    }
    return nullptr;
}

class BackendsTest : public ::testing::Test {
protected:
    BackendsTest() { Pref::registerDefaults(preferences); }

    void set(const char* key, const QVariant& value)
    {
        preferences.setValue(QString::fromLatin1(key), value);
    }

    // The library address Recall was handed and the library source's own, which must agree.
    std::optional<QUrl> libraryOf(const BackendList& sources) const
    {
        const auto recall = find<RecallBackend>(sources);
        const auto library = find<ShelfwiseBackend>(sources);
        EXPECT_TRUE(recall);
        if (!recall)
            return std::nullopt;
        EXPECT_EQ(library != nullptr, recall->shelfwiseURL().has_value());
        if (library && recall->shelfwiseURL()) {
            EXPECT_EQ(library->baseURL(), *recall->shelfwiseURL());
        }
        return recall->shelfwiseURL();
    }

    TempHome home; // the Chats source opens the shared index under the home
    Preferences preferences{home.path() + u"/test.conf"_s};
};

// The captions, symbols and time-outs are the registry's table; here the order, the kinds, the
// switches and the library address Recall is handed.
TEST_F(BackendsTest, DefaultsGiveFourSourcesAndTheLibrarySwitchInsertsTheLibrary)
{
    BackendList sources = Backends::enabled(preferences);
    EXPECT_EQ(idsOf(sources), (QStringList{"apple", "recall", "chats", "wikipedia"}));
    EXPECT_TRUE(find<AppleIntelligenceBackend>(sources) && find<ChatsBackend>(sources) &&
                find<WikipediaBackend>(sources));
    EXPECT_EQ(find<RecallBackend>(sources)->model(), RecallModel::onDevice);
    EXPECT_FALSE(libraryOf(sources));

    set("backend.shelfwise", true);
    sources = Backends::enabled(preferences);
    EXPECT_EQ(idsOf(sources), (QStringList{"apple", "recall", "chats", "shelfwise", "wikipedia"}));
    EXPECT_EQ(libraryOf(sources), QUrl("http://localhost:3010"));

    set("backend.shelfwise.url", "https://books.example.org:8443/shelf");
    sources = Backends::enabled(preferences);
    EXPECT_EQ(libraryOf(sources), QUrl("https://books.example.org:8443/shelf"));

    // Removing the stored address falls back to the default, registered or not.
    preferences.remove("backend.shelfwise.url");
    EXPECT_EQ(libraryOf(Backends::enabled(preferences)), QUrl("http://localhost:3010"));
    Preferences unregistered(home.path() + u"/bare.conf"_s);
    unregistered.setValue("backend.recall", true);
    unregistered.setValue("backend.shelfwise", true);
    sources = Backends::enabled(unregistered);
    EXPECT_EQ(idsOf(sources), (QStringList{"recall", "shelfwise"}));
    EXPECT_EQ(libraryOf(sources), QUrl(Backends::defaultShelfwiseURL));
}

TEST_F(BackendsTest, SwitchesAreIndependentAndReadAtEachCallAndAnInvalidLibraryIsLeftOut)
{
    set("backend.shelfwise", true);
    for (const char* invalid :
         {"localhost:3010", "http://", "/srv/shelf", "", "http://exa mple.org"}) {
        set("backend.shelfwise.url", invalid);
        const BackendList sources = Backends::enabled(preferences);
        EXPECT_EQ(idsOf(sources), (QStringList{"apple", "recall", "chats", "wikipedia"}))
            << invalid;
        EXPECT_FALSE(libraryOf(sources)) << invalid;
    }
    preferences.remove("backend.shelfwise.url");

    set("backend.recall", false);
    EXPECT_EQ(idsOf(Backends::enabled(preferences)),
              (QStringList{"apple", "chats", "shelfwise", "wikipedia"}));

    set("backend.recall", true);
    set("backend.shelfwise", false);
    set("recall.model", "claude");
    BackendList sources = Backends::enabled(preferences);
    EXPECT_EQ(idsOf(sources), (QStringList{"apple", "recall", "chats", "wikipedia"}));
    EXPECT_EQ(find<RecallBackend>(sources)->model(), RecallModel::claude);
    EXPECT_FALSE(libraryOf(sources));

    for (const char* key :
         {"backend.apple", "backend.recall", "backend.chats", "backend.wikipedia"})
        set(key, false);
    EXPECT_TRUE(Backends::enabled(preferences).isEmpty());
    set("backend.chats", true);
    EXPECT_EQ(idsOf(Backends::enabled(preferences)), QStringList{"chats"});
}

} // namespace
