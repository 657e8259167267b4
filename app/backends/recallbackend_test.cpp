#include "backends/chatsbackend.h"
#include "backends/recallbackend.h"
#include "backends/searchchatstool.h"
#include "chats/chatindex.h"
#include "recall/freshrecall_test.h"
#include "tests/support/chatcompletionsserver.h"
#include "tests/support/eventwait.h"
#include "tests/support/temphome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

using Server = ChatCompletionsServer;
using Reply = HttpTestServer::Reply;

// The content of the last message with this role.
QString roleContent(const QJsonObject& request, const QString& role)
{
    const QJsonArray messages = request.value(u"messages"_s).toArray();
    for (qsizetype i = messages.size() - 1; i >= 0; --i) {
        if (messages[i][u"role"_s] == role)
            return messages[i][u"content"_s].toString();
    }
    return u"<none>"_s;
}

QStringList toolNames(const QJsonObject& request)
{
    QStringList names;
    for (const QJsonValue& tool : request.value(u"tools"_s).toArray())
        names.append(tool[u"function"_s][u"name"_s].toString());
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
    return uR"({"query":"%1"})"_s.arg(query);
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
        const QString id = request.json().value(u"id"_s).toString();
        return answer(QJsonObject{
            {"artifact",
             QJsonObject{{"content", u"Document %1 says entropy never falls."_s.arg(id)}}}});
    });
}

class RecallBackendTest : public FreshRecall {
protected:
    RecallBackendTest() { prefs.setValue(u"recall.custom.baseURL"_s, server.base()); }

    // A Claude Code transcript whose one user message is `text`.
    void addTranscript(const QString& name, const QString& title, const QString& text)
    {
        const QJsonObject titleRecord{
            {"type", "custom-title"}, {"customTitle", title}, {"sessionId", name}};
        const QJsonObject message{{"type", "user"},
                                  {"sessionId", name},
                                  {"cwd", "/work/app"},
                                  {"timestamp", "2026-03-01T12:00:00Z"},
                                  {"message", QJsonObject{{"role", "user"}, {"content", text}}}};
        home.write(u".claude/projects/-work-app/%1.jsonl"_s.arg(name),
                   QJsonDocument(titleRecord).toJson(QJsonDocument::Compact) + '\n' +
                       QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    }

    RecallBackend backend(std::optional<QUrl> library = std::nullopt,
                          RecallModel model = RecallModel::custom) const
    {
        return RecallBackend(BackendInfo{u"recall"_s, u"Recall"_s, u"brain.head.profile"_s, 45},
                             model, std::move(library), prefs, index);
    }

    static LookupItem answer(const QString& body,
                             const QString& label = u"Custom (OpenAI-compatible)"_s)
    {
        return LookupItem{u"recall"_s, u"In your work"_s, label, body, std::nullopt};
    }

    LookupItems chatItems(const QString& text) const
    {
        LookupItems items;
        for (const ChatIndex::Hit& hit : index.search(text, 4))
            items.append(ChatsBackend::item(hit));
        return items;
    }

    TempHome home;
    ChatIndex index;
    Server server;
};

TEST_F(RecallBackendTest, PromptNamesContextApplicationAndLibraryOnlyWhenPresent)
{
    HttpTestServer library;
    serveLibrary(library);
    server.script({Server::answer({u"Nothing."_s})});
    const QString tail = QStringLiteral(" for “tensor”. Then in at most three short sentences tell "
                                        "me what it has meant in my own work and which "
                                        "conversations it came up in.");

    // A model that calls no tool shows its answer alone.
    EXPECT_EQ(backend().lookup(LookupQuery{u"tensor"_s, {}, {}}).waitForAll().value(0),
              LookupItems{answer(u"Nothing."_s)});
    backend().lookup(LookupQuery{u"tensor"_s, u"A tensor of rank two."_s, {}}).waitForAll();
    backend().lookup(LookupQuery{u"tensor"_s, u"A tensor of rank two."_s, QString()}).waitForAll();
    backend(QUrl(library.base()))
        .lookup(LookupQuery{u"tensor"_s, u"Tensors."_s, u"Okular"_s})
        .waitForAll();

    QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 4);
    EXPECT_EQ(roleContent(requests[0], u"user"_s),
              u"I force-clicked the word “tensor”.\nSearch my chats"_s + tail);
    // An application without a name is no name.
    EXPECT_EQ(roleContent(requests[2], u"user"_s), roleContent(requests[1], u"user"_s));
    requests.removeAt(2);
    EXPECT_EQ(roleContent(requests[1], u"user"_s),
              QStringLiteral("I force-clicked the word “tensor” while reading this in an app: “A "
                             "tensor of rank two.”.\nSearch my chats") +
                  tail);
    EXPECT_EQ(roleContent(requests[2], u"user"_s),
              QStringLiteral("I force-clicked the word “tensor” while reading this in Okular: "
                             "“Tensors.”.\nSearch my chats and library") +
                  tail);
    EXPECT_EQ(toolNames(requests[2]), (QStringList{u"searchChats"_s, u"searchLibrary"_s}));
    // A custom server without a key is asked without one, for its default model.
    EXPECT_TRUE(server.rawChatRequests()[0].header("authorization").isEmpty());
    for (const QJsonObject& request : requests) {
        EXPECT_EQ(request.value(u"model"_s), u"qwen"_s);
        EXPECT_EQ(roleContent(request, u"system"_s), RecallBackend::instructions());
        EXPECT_FALSE(request.contains(u"temperature"_s));
        EXPECT_FALSE(request.contains(u"max_tokens"_s));
    }
}

// The answer streams ahead of the conversations its searches found. Which id wins and the cap
// of six are the sink's; here the tool loop must feed every search into it, while the model
// still hears each hit of a repeated search. The tool's report is searchtools_test.cpp's.
TEST_F(RecallBackendTest, AnswerStreamsAheadOfTheSourcesFoundListedOnceAndOnlySix)
{
    for (int i = 0; i < 4; ++i) {
        for (const QString& word : {u"alpha"_s, u"beta"_s})
            addTranscript(word + QString::number(i), word + QString::number(i),
                          u"the %1 build number %2"_s.arg(word).arg(i));
    }
    index.update();
    server.script({
        Server::toolCall("c1", "searchChats", arguments(u"alpha"_s)),
        Server::toolCall("c2", "searchChats", arguments(u"alpha"_s)),
        Server::toolCall("c3", "searchChats", arguments(u"beta"_s)),
        Server::answer({u"It came up "_s, u"in builds."_s}),
    });
    const QList<LookupItems> lists = backend().lookup(LookupQuery{u"build"_s, {}, {}}).waitForAll();

    const LookupItems six = chatItems(u"alpha"_s) + chatItems("beta").mid(0, 2);
    ASSERT_EQ(six.size(), 6);
    ASSERT_EQ(lists.size(), 3);
    for (const LookupItems& list : lists)
        EXPECT_EQ(list.mid(1), six) << idsOf(list).join(' ').toStdString();
    EXPECT_EQ(lists.first().value(0), answer(u"It came up "_s));
    EXPECT_EQ(lists.last().value(0), answer(u"It came up in builds."_s));

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 4);
    EXPECT_EQ(toolNames(requests[0]), QStringList{u"searchChats"_s});
    EXPECT_EQ(roleContent(requests[1], u"tool"_s),
              SearchChatsTool::report(u"alpha"_s, index.search(u"alpha"_s, 4)));
    EXPECT_EQ(roleContent(requests[2], u"tool"_s).count(u"• "_s), 4);
}

TEST_F(RecallBackendTest, WithoutSnapshotsTheFinalListIsTheOnlyOne)
{
    addTranscript(u"s1"_s, u"Widgets"_s, u"widget talk"_s);
    index.update();
    server.script({Server::toolCall(u"c1"_s, u"searchChats"_s, arguments(u"widget"_s)),
                   Server::toolCall(u"c2"_s, u"searchChats"_s, arguments(u"sprocket"_s)),
                   Server::stream({Server::chunk(QJsonObject{}, u"stop"_s)})});
    const QList<LookupItems> lists =
        backend().lookup(LookupQuery{u"widget"_s, {}, {}}).waitForAll();
    EXPECT_EQ(lists, QList<LookupItems>{LookupItems{answer(QString())} + chatItems(u"widget"_s)});
    EXPECT_EQ(roleContent(server.chatRequests().last(), u"tool"_s),
              u"No conversations mention “sprocket”."_s);
}

TEST_F(RecallBackendTest, AModelThatCannotBeUsedFailsTheTabBeforeAnyListAndOnDeviceIsLabelled)
{
    prefs.remove(u"recall.custom.baseURL"_s);
    const LookupStream stream = backend().lookup(LookupQuery{u"x"_s, {}, {}});
    EXPECT_EQ(failureOf(stream), u"Set a base URL for Custom (OpenAI-compatible) in the menu"_s);
    EXPECT_EQ(stream.future().resultCount(), 0);
    EXPECT_TRUE(server.chatRequests().isEmpty());

    prefs.setValue(u"localModel.baseURL"_s, server.base());
    server.listModels({u"llama3.2:latest"_s});
    server.script({Server::answer({u"Seen once."_s})});
    EXPECT_EQ(backend(std::nullopt, RecallModel::onDevice)
                  .lookup(LookupQuery{u"x"_s, {}, {}})
                  .waitForAll()
                  .value(0),
              LookupItems{answer(u"Seen once."_s, u"Local model"_s)});
}

TEST_F(RecallBackendTest, LibraryDocumentsJoinTheSourcesAndALibraryThatIsDownFindsNothing)
{
    HttpTestServer library;
    serveLibrary(library);
    server.script({Server::toolCall(u"c1"_s, u"searchLibrary"_s, arguments(u"entropy"_s)),
                   Server::answer({u"You read about it."_s})});
    QList<LookupItems> lists =
        backend(QUrl(library.base())).lookup(LookupQuery{u"entropy"_s, {}, {}}).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    const LookupItems final = lists.last();
    ASSERT_EQ(idsOf(final), (QStringList{u"recall"_s, u"d1"_s, u"d2"_s}));
    EXPECT_EQ(final[1].title, u"Entropy notes"_s);
    ASSERT_TRUE(final[1].body && final[2].body);
    EXPECT_TRUE(final[1].body->contains(u"Document d1 says entropy"_s));
    EXPECT_EQ(roleContent(server.chatRequests().last(), u"tool"_s),
              u"• “Entropy notes”: "_s + *final[1].body + u"\n• “Heat engines”: "_s +
                  *final[2].body);

    const QUrl down(u"http://127.0.0.1:%1"_s.arg(HttpTestServer::closedPort()));
    server.script({Server::toolCall(u"c1"_s, u"searchLibrary"_s, arguments(u"entropy"_s)),
                   Server::answer({u"You read about it."_s})});
    lists = backend(down).lookup(LookupQuery{u"entropy"_s, {}, {}}).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    EXPECT_EQ(lists.last(), LookupItems{answer(u"You read about it."_s)});
    EXPECT_EQ(roleContent(server.chatRequests().last(), u"tool"_s),
              u"No library documents mention “entropy”."_s);
}

TEST_F(RecallBackendTest, CancellingTheLookupStopsARunningToolAndTheResponse)
{
    HttpTestServer library;
    library.on("/api/tools/sw_search", Reply::silence());
    server.script({Server::toolCall(u"c1"_s, u"searchLibrary"_s, arguments(u"entropy"_s)),
                   Server::answer({u"Never asked for."_s})});
    LookupStream stream = backend(QUrl(library.base())).lookup(LookupQuery{u"entropy"_s, {}, {}});
    ASSERT_TRUE(library.waitForRequests(1));
    stream.cancel();
    EXPECT_TRUE(library.waitForClientClose(1)) << "before the search's own time-out";
    EXPECT_EQ(failureOf(stream), u"Cancelled"_s) << "the loop stops after the tools";
    EXPECT_EQ(server.chatRequests().size(), 1) << "the model is not asked again";
}

} // namespace
