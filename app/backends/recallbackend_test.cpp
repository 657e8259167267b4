#include "backenderror.h"
#include "chatcompletionsserver.h"
#include "chatindex.h"
#include "chatsbackend.h"
#include "memorysecretstore.h"
#include "preferences.h"
#include "recallbackend.h"
#include "temphome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <mutex>

namespace {

using Server = ChatCompletionsServer;
using Reply = HttpTestServer::Reply;

const QString kTimestamp = QStringLiteral("2026-03-01T12:00:00Z");

QString roleContent(const QJsonObject& request, const QString& role, int fromEnd = 0)
{
    const QJsonArray messages = request.value(QStringLiteral("messages")).toArray();
    int seen = 0;
    for (qsizetype i = messages.size() - 1; i >= 0; --i) {
        if (messages[i][QStringLiteral("role")] == role && seen++ == fromEnd)
            return messages[i][QStringLiteral("content")].toString();
    }
    return QStringLiteral("<none>");
}

QStringList toolNames(const QJsonObject& request)
{
    QStringList names;
    for (const QJsonValue& tool : request.value(QStringLiteral("tools")).toArray())
        names.append(tool[QStringLiteral("function")][QStringLiteral("name")].toString());
    return names;
}

QStringList idsOf(const LookupItems& items)
{
    QStringList ids;
    for (const LookupItem& item : items)
        ids.append(item.id);
    return ids;
}

QString arguments(const QString& query)
{
    return QStringLiteral(R"({"query":"%1"})").arg(query);
}

// A Shelfwise server with two documents about entropy.
void serveLibrary(HttpTestServer& library)
{
    auto answer = [](const QJsonObject& content) {
        return Reply::json(QJsonObject{{"isError", false}, {"structuredContent", content}});
    };
    const QJsonArray items{QJsonObject{{"id", "d1"}, {"title", "Entropy notes"}},
                           QJsonObject{{"id", "d2"}, {"title", "Heat engines"}}};
    library.on("/api/tools/sw_search", answer(QJsonObject{{"items", items}}));
    library.on("/api/tools/sw_read", [answer](const HttpTestServer::Request& request) {
        const QString id = request.json().value(QStringLiteral("id")).toString();
        return answer(QJsonObject{
            {"artifact",
             QJsonObject{
                 {"content", QStringLiteral("Document %1 says entropy never falls.").arg(id)}}}});
    });
}

class RecallBackendTest : public ::testing::Test {
protected:
    RecallBackendTest()
    {
        SecretStore::setStandard(&keyring);
        for (const char* name :
             {"LOOKUP_OPENAI_KEY", "LOOKUP_ANTHROPIC_KEY", "LOOKUP_CUSTOM_KEY"}) {
            if (qEnvironmentVariableIsSet(name))
                savedEnvironment.emplace_back(name, qgetenv(name));
            qunsetenv(name);
        }
        preferences.setValue(QStringLiteral("recall.model"), QStringLiteral("custom"));
        preferences.setValue(QStringLiteral("recall.custom.baseURL"), server.base());
    }
    ~RecallBackendTest() override
    {
        SecretStore::setStandard(nullptr);
        for (const auto& [name, value] : savedEnvironment)
            qputenv(name, value);
    }

    // A Claude Code transcript whose one user message is `text`.
    void addTranscript(const QString& name, const QString& title, const QString& text)
    {
        const QJsonObject titleRecord{
            {"type", "custom-title"}, {"customTitle", title}, {"sessionId", name}};
        const QJsonObject message{{"type", "user"},
                                  {"sessionId", name},
                                  {"cwd", "/work/app"},
                                  {"timestamp", kTimestamp},
                                  {"message", QJsonObject{{"role", "user"}, {"content", text}}}};
        home.write(QStringLiteral(".claude/projects/-work-app/%1.jsonl").arg(name),
                   QJsonDocument(titleRecord).toJson(QJsonDocument::Compact) + '\n' +
                       QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    }

    RecallBackend backend(std::optional<QUrl> library = std::nullopt,
                          RecallModel model = RecallModel::custom) const
    {
        return RecallBackend(BackendInfo{QStringLiteral("recall"), QStringLiteral("Recall"),
                                         QStringLiteral("brain.head.profile"), 45},
                             model, std::move(library), preferences, index);
    }

    static LookupQuery query(const QString& term, std::optional<QString> context = std::nullopt,
                             std::optional<QString> appName = std::nullopt)
    {
        return LookupQuery{term, std::move(context), std::move(appName)};
    }

    static LookupItem answer(const QString& body,
                             const QString& label = QStringLiteral("Custom (OpenAI-compatible)"))
    {
        return LookupItem{QStringLiteral("recall"), QStringLiteral("In your work"), label, body,
                          std::nullopt};
    }

    LookupItems chatItems(const QString& text) const
    {
        LookupItems items;
        for (const ChatIndex::Hit& hit : index.search(text, 4))
            items.append(ChatsBackend::item(hit));
        return items;
    }

    // The failure's text; the lists yielded before it go to `yielded`.
    static QString failure(const LookupStream& stream, qsizetype* yielded = nullptr)
    {
        QString text;
        try {
            stream.waitForAll();
        } catch (const BackendError& error) {
            text = error.localizedDescription();
        } catch (const std::exception& error) {
            text = QString::fromUtf8(error.what());
        }
        if (yielded)
            *yielded = stream.future().resultCount();
        return text;
    }

    TempHome home;
    std::vector<std::pair<const char*, QByteArray>> savedEnvironment;
    MemorySecretStore keyring;
    Preferences preferences{home.path() + QStringLiteral("/peekwell.conf")};
    ChatIndex index;
    Server server;
};

TEST_F(RecallBackendTest, AnswerStreamsAheadOfTheConversationsTheToolFound)
{
    // 69 letters, then a letter with a combining accent: one character of two code units.
    const QString title = QString(69, QLatin1Char('a')) + QStringLiteral("e\u0301 and more");
    addTranscript(QStringLiteral("s1"), title, QStringLiteral("the widget factory broke again"));
    addTranscript(QStringLiteral("s2"), QStringLiteral("Other"), QStringLiteral("nothing here"));
    index.update();

    server.script({Server::toolCall(QStringLiteral("call_1"), QStringLiteral("searchChats"),
                                    arguments(QStringLiteral("widget"))),
                   Server::answer({QStringLiteral("You built "), QStringLiteral("the factory.")})});
    const QList<LookupItems> lists =
        backend()
            .lookup(query(QStringLiteral("widget"), QStringLiteral("Where is the widget?"),
                          QStringLiteral("Firefox")))
            .waitForAll();

    const LookupItems found = chatItems(QStringLiteral("widget"));
    ASSERT_EQ(found.size(), 1);
    const QList<LookupItems> expected{
        LookupItems{answer(QStringLiteral("You built "))} + found,
        LookupItems{answer(QStringLiteral("You built the factory."))} + found,
        LookupItems{answer(QStringLiteral("You built the factory."))} + found,
    };
    EXPECT_EQ(lists, expected);

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(roleContent(requests[0], QStringLiteral("system")), RecallBackend::instructions());
    EXPECT_EQ(roleContent(requests[0], QStringLiteral("user")),
              QStringLiteral("I force-clicked the word “widget” while reading this in Firefox: "
                             "“Where is the widget?”.\nSearch my chats for “widget”. Then in at "
                             "most three short sentences tell me what it has meant in my own work "
                             "and which conversations it came up in."));
    EXPECT_EQ(toolNames(requests[0]), QStringList{QStringLiteral("searchChats")});

    const ChatIndex::Hit hit = index.search(QStringLiteral("widget"), 4).first();
    EXPECT_EQ(roleContent(requests[1], QStringLiteral("tool")),
              QStringLiteral("• “") + QString(69, QLatin1Char('a')) +
                  QStringLiteral("e\u0301” (Claude Code, ") + *ChatsBackend::relative(kTimestamp) +
                  QStringLiteral("): ") + hit.snippet);
}

TEST_F(RecallBackendTest, PromptNamesContextApplicationAndLibraryOnlyWhenPresent)
{
    HttpTestServer library;
    serveLibrary(library);
    server.script({Server::answer({QStringLiteral("Nothing.")})});
    const QString tail = QStringLiteral(" for “tensor”. Then in at most three short sentences tell "
                                        "me what it has meant in my own work and which "
                                        "conversations it came up in.");

    backend().lookup(query(QStringLiteral("tensor"))).waitForAll();
    backend()
        .lookup(query(QStringLiteral("tensor"), QStringLiteral("A tensor of rank two.")))
        .waitForAll();
    backend()
        .lookup(query(QStringLiteral("tensor"), QStringLiteral("A tensor of rank two."), QString()))
        .waitForAll();
    backend(QUrl(library.base()))
        .lookup(
            query(QStringLiteral("tensor"), QStringLiteral("Tensors."), QStringLiteral("Okular")))
        .waitForAll();

    QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 4);
    EXPECT_EQ(roleContent(requests[0], QStringLiteral("user")),
              QStringLiteral("I force-clicked the word “tensor”.\nSearch my chats") + tail);
    // An application without a name is no name.
    EXPECT_EQ(roleContent(requests[2], QStringLiteral("user")),
              roleContent(requests[1], QStringLiteral("user")));
    requests.removeAt(2);
    EXPECT_EQ(roleContent(requests[1], QStringLiteral("user")),
              QStringLiteral("I force-clicked the word “tensor” while reading this in an app: “A "
                             "tensor of rank two.”.\nSearch my chats") +
                  tail);
    EXPECT_EQ(roleContent(requests[2], QStringLiteral("user")),
              QStringLiteral("I force-clicked the word “tensor” while reading this in Okular: "
                             "“Tensors.”.\nSearch my chats and library") +
                  tail);
    EXPECT_EQ(toolNames(requests[2]),
              (QStringList{QStringLiteral("searchChats"), QStringLiteral("searchLibrary")}));
    for (const QJsonObject& request : requests) {
        EXPECT_FALSE(request.contains(QStringLiteral("temperature")));
        EXPECT_FALSE(request.contains(QStringLiteral("max_tokens")));
    }
}

// Which id wins and the cap of six are the sink's; here the tool loop must feed every search
// into it, while the model still hears each hit of a repeated search.
TEST_F(RecallBackendTest, SourcesFoundTwiceAreListedOnceAndOnlySixAreShown)
{
    for (int i = 0; i < 4; ++i) {
        for (const QString& word : {QStringLiteral("alpha"), QStringLiteral("beta")})
            addTranscript(word + QString::number(i), word + QString::number(i),
                          QStringLiteral("the %1 build number %2").arg(word).arg(i));
    }
    index.update();
    server.script({
        Server::toolCall("c1", "searchChats", arguments(QStringLiteral("alpha"))),
        Server::toolCall("c2", "searchChats", arguments(QStringLiteral("alpha"))),
        Server::toolCall("c3", "searchChats", arguments(QStringLiteral("beta"))),
        Server::answer({QStringLiteral("It came up "), QStringLiteral("in builds.")}),
    });
    const QList<LookupItems> lists = backend().lookup(query(QStringLiteral("build"))).waitForAll();

    const LookupItems six = chatItems(QStringLiteral("alpha")) + chatItems("beta").mid(0, 2);
    ASSERT_EQ(six.size(), 6);
    ASSERT_EQ(lists.size(), 3);
    for (const LookupItems& list : lists)
        EXPECT_EQ(list.mid(1), six) << idsOf(list).join(' ').toStdString();
    EXPECT_EQ(lists.last().value(0), answer(QStringLiteral("It came up in builds.")));
    EXPECT_EQ(
        roleContent(server.chatRequests()[2], QStringLiteral("tool")).count(QStringLiteral("• ")),
        4);
}

TEST_F(RecallBackendTest, WithoutSnapshotsTheFinalListIsTheOnlyOne)
{
    addTranscript(QStringLiteral("s1"), QStringLiteral("Widgets"), QStringLiteral("widget talk"));
    index.update();
    server.script({Server::toolCall(QStringLiteral("c1"), QStringLiteral("searchChats"),
                                    arguments(QStringLiteral("widget"))),
                   Server::toolCall(QStringLiteral("c2"), QStringLiteral("searchChats"),
                                    arguments(QStringLiteral("sprocket"))),
                   Server::stream({Server::chunk(QJsonObject{}, QStringLiteral("stop"))})});
    QList<LookupItems> lists = backend().lookup(query(QStringLiteral("widget"))).waitForAll();
    EXPECT_EQ(lists, QList<LookupItems>{LookupItems{answer(QString())} +
                                        chatItems(QStringLiteral("widget"))});
    EXPECT_EQ(roleContent(server.chatRequests().last(), QStringLiteral("tool")),
              QStringLiteral("No conversations mention “sprocket”."));

    // A model that calls no tool shows its answer alone.
    server.script({Server::answer({QStringLiteral("No idea.")})});
    lists = backend().lookup(query(QStringLiteral("widget"))).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    EXPECT_EQ(lists.last(), LookupItems{answer(QStringLiteral("No idea."))});
}

TEST_F(RecallBackendTest, ModelThatCannotBeUsedFailsTheTabBeforeAnyList)
{
    qsizetype yielded = -1;
    preferences.remove(QStringLiteral("recall.custom.baseURL"));
    EXPECT_EQ(failure(backend().lookup(query(QStringLiteral("x"))), &yielded),
              QStringLiteral("Set a base URL for Custom (OpenAI-compatible) in the menu"));
    EXPECT_EQ(yielded, 0);
    EXPECT_TRUE(server.chatRequests().isEmpty());
}

TEST_F(RecallBackendTest, OnDeviceAnswersAreLabelledAsSuch)
{
    preferences.setValue(QStringLiteral("localModel.baseURL"), server.base());
    preferences.setValue(QStringLiteral("localModel.name"), QStringLiteral("llama3.2"));
    server.listModels({QStringLiteral("llama3.2:latest")});
    server.script({Server::answer({QStringLiteral("Seen once.")})});
    EXPECT_EQ(backend(std::nullopt, RecallModel::onDevice)
                  .lookup(query(QStringLiteral("x")))
                  .waitForAll()
                  .value(0),
              LookupItems{answer(QStringLiteral("Seen once."), QStringLiteral("Apple on-device"))});
}

TEST_F(RecallBackendTest, LibraryDocumentsJoinTheSourcesAndALibraryThatIsDownFindsNothing)
{
    HttpTestServer library;
    serveLibrary(library);
    server.script({Server::toolCall(QStringLiteral("c1"), QStringLiteral("searchLibrary"),
                                    arguments(QStringLiteral("entropy"))),
                   Server::answer({QStringLiteral("You read about it.")})});
    QList<LookupItems> lists =
        backend(QUrl(library.base())).lookup(query(QStringLiteral("entropy"))).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    const LookupItems final = lists.last();
    ASSERT_EQ(idsOf(final),
              (QStringList{QStringLiteral("recall"), QStringLiteral("d1"), QStringLiteral("d2")}));
    EXPECT_EQ(final[1].title, QStringLiteral("Entropy notes"));
    ASSERT_TRUE(final[1].body && final[2].body);
    EXPECT_TRUE(final[1].body->contains(QStringLiteral("Document d1 says entropy")));
    EXPECT_EQ(roleContent(server.chatRequests().last(), QStringLiteral("tool")),
              QStringLiteral("• “Entropy notes”: ") + *final[1].body +
                  QStringLiteral("\n• “Heat engines”: ") + *final[2].body);

    const QUrl down(QStringLiteral("http://127.0.0.1:%1").arg(HttpTestServer::closedPort()));
    server.script({Server::toolCall(QStringLiteral("c1"), QStringLiteral("searchLibrary"),
                                    arguments(QStringLiteral("entropy"))),
                   Server::answer({QStringLiteral("You read about it.")})});
    lists = backend(down).lookup(query(QStringLiteral("entropy"))).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    EXPECT_EQ(lists.last(), LookupItems{answer(QStringLiteral("You read about it."))});
    EXPECT_EQ(roleContent(server.chatRequests().last(), QStringLiteral("tool")),
              QStringLiteral("No library documents mention “entropy”."));
}

TEST_F(RecallBackendTest, CancellingTheLookupStopsARunningToolAndTheResponse)
{
    HttpTestServer library;
    library.on("/api/tools/sw_search", Reply::silence());
    server.script({Server::toolCall(QStringLiteral("c1"), QStringLiteral("searchLibrary"),
                                    arguments(QStringLiteral("entropy"))),
                   Server::answer({QStringLiteral("Never asked for.")})});
    LookupStream stream = backend(QUrl(library.base())).lookup(query(QStringLiteral("entropy")));
    ASSERT_TRUE(library.waitForRequests(1));
    stream.cancel();
    QFuture<LookupItems> future = stream.future();
    future.waitForFinished();
    EXPECT_TRUE(stream.error()) << "a cancelled response ends with its cancellation";
    EXPECT_TRUE(library.waitForClientClose(1));
    EXPECT_EQ(server.chatRequests().size(), 1) << "the model is not asked again";
}

} // namespace
