#include "platform/llm/openai/openaicompatibleexecutor.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "tests/support/chatcompletionsserver.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using Server = ChatCompletionsServer;
using Reply = HttpTestServer::Reply;
using Entry = Transcript::Entry;

namespace {

// Keeps every event. Cancellation reaches the executor from the lookups that use it
// (appleintelligencebackend_test.cpp, recallbackend_test.cpp).
class RecordingChannel : public GenerationChannel {
public:
    void send(const GenerationEvent& event) override { events.append(event); }
    bool isCanceled() const override { return false; }
    QList<GenerationEvent> events;
};

GenerationRequest simpleRequest()
{
    GenerationRequest request;
    request.transcript.append(Entry::instructions(u"Be brief."_s));
    request.transcript.append(Entry::prompt({Transcript::Segment::fromText(u"Hi"_s)}));
    return request;
}

class ExecutorTest : public ::testing::Test {
protected:
    // One turn against the scripted server; returns the error text, if any.
    std::optional<QString> run(const GenerationRequest& request = simpleRequest(),
                               std::optional<QString> key = std::nullopt)
    {
        const OpenAICompatibleModel model(server.baseURL(), u"test-model"_s, key);
        try {
            OpenAICompatibleExecutor().respond(request, model, channel);
        } catch (const ModelServerError& error) {
            return error.localizedDescription();
        }
        return std::nullopt;
    }
    void play(const QList<QByteArray>& lines) { server.script({Server::stream(lines)}); }

    Server server;
    RecordingChannel channel;
};

// The tool loop's messages and the schema of a structured answer are checked on the wire in
// session_test.cpp.
TEST_F(ExecutorTest, TheRequestCarriesModelMessagesToolsAndOptionsAndLeavesOutTheRest)
{
    server.script({Server::answer({u"ok"_s})});
    ASSERT_EQ(run(simpleRequest(), u" sk-test"_s), std::nullopt);

    GenerationRequest request;
    request.transcript.append(Entry::instructions(u"Be brief."_s));
    request.transcript.append(
        Entry::prompt({Transcript::Segment::fromText(u"WORD: x"_s),
                       Transcript::Segment::fromStructure(GeneratedContent(QJsonObject{{"a", 1}})),
                       Transcript::Segment::fromText(u"end"_s)}));
    const GenerationSchema parameters =
        GenerationSchema::object(u"Arguments"_s, std::nullopt,
                                 {{u"query"_s, u"The word"_s, GenerationSchema::stringType()}});
    request.enabledToolDefinitions = {{u"searchChats"_s, u"Search chats"_s, parameters}};
    request.generationOptions.temperature = 0.5;
    request.generationOptions.maximumResponseTokens = 200;
    ASSERT_EQ(run(request), std::nullopt);

    const auto raw = server.rawChatRequests();
    ASSERT_EQ(raw.size(), 2);
    EXPECT_EQ(raw[0].header("authorization"), "Bearer  sk-test") << "the key is sent as it is";
    for (const char* key : {"tools", "response_format", "temperature", "max_tokens"})
        EXPECT_FALSE(raw[0].json().contains(key)) << key;

    EXPECT_EQ(raw[1].method, "POST");
    EXPECT_EQ(raw[1].header("content-type"), "application/json");
    EXPECT_TRUE(raw[1].header("authorization").isEmpty()) << "no key, no Authorization";
    const QJsonObject body = raw[1].json();
    EXPECT_EQ(body.value("model"), u"test-model"_s);
    EXPECT_EQ(body.value("stream"), true);
    EXPECT_EQ(body.value("temperature"), 0.5);
    EXPECT_EQ(body.value("max_tokens"), 200);
    EXPECT_EQ(body.value("messages"),
              QJsonArray({QJsonObject{{"role", "system"}, {"content", "Be brief."}},
                          QJsonObject{{"role", "user"}, {"content", "WORD: x\n{\"a\":1}\nend"}}}));
    EXPECT_EQ(
        body.value("tools"),
        QJsonArray({QJsonObject{{"type", "function"},
                                {"function", QJsonObject{{"name", "searchChats"},
                                                         {"description", "Search chats"},
                                                         {"parameters", parameters.json()}}}}}));
    EXPECT_EQ(OpenAICompatibleExecutor::endpoint(QUrl("http://h:1/v1/")),
              QUrl("http://h:1/v1/chat/completions"));
}

// A call keeps the id and name of its first chunk (generated when it has none); a chunk
// without an index continues call 0.
TEST_F(ExecutorTest, ToolCallsAreAssembledByIndexWithTheFirstChunksIdAndName)
{
    play({Server::calls({Server::call({}, {}, "searchChats", R"({"query")")}),
          Server::calls({Server::call(0, "late-id", "late-name", R"(:"x"})")}),
          // Two calls streamed side by side; text and calls in one chunk: the text goes first.
          Server::calls({Server::call(1, "call_b", "searchLibrary", R"({"q)"),
                         Server::call(2, "call_c", "searchChats", R"({"q)")}),
          Server::chunk(
              QJsonObject{{"content", "Looking."},
                          {"tool_calls", QJsonArray{Server::call(2, {}, {}, R"(uery":"c"})"),
                                                    Server::call(1, {}, {}, R"(uery":"b"})")}}}),
          // A call without a function object, and one without a name.
          Server::calls({QJsonObject{{"index", 3}, {"id", "call_d"}}}),
          Server::calls({Server::call(4, "call_e", {}, {})})});
    ASSERT_EQ(run(), std::nullopt);
    const QList<GenerationEvent> events = channel.events;
    ASSERT_EQ(events.size(), 9);
    const QString id = events[0].toolCallId;
    const QRegularExpression uuid(
        u"^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"_s);
    EXPECT_TRUE(uuid.match(id).hasMatch()) << id.toStdString();
    using E = GenerationEvent;
    EXPECT_EQ(events,
              QList<E>({E::toolCall(id, "searchChats", R"({"query")"),
                        E::toolCall(id, "searchChats", R"(:"x"})"),
                        E::toolCall("call_b", "searchLibrary", R"({"q)"),
                        E::toolCall("call_c", "searchChats", R"({"q)"), E::response(u"Looking."_s),
                        E::toolCall("call_c", "searchChats", R"(uery":"c"})"),
                        E::toolCall("call_b", "searchLibrary", R"(uery":"b"})"),
                        E::toolCall("call_d", "", ""), E::toolCall("call_e", "", "")}));
}

// Each piece of text is its own event, also when the network splits a character.
TEST_F(ExecutorTest, LinesThatAreNotDataOrNotChunksAreSkippedAndDoneEndsTheAnswer)
{
    const QByteArray split = Server::text(u"a😀"_s);
    const qsizetype cut = split.indexOf("\xF0\x9F\x98\x80") + 2;
    server.script(
        {Reply::stream()
             .line(":")
             .line("event: message")
             .send(split.first(cut))
             .pause(20ms)
             .send(split.sliced(cut) + "\r\n\r\n")
             .line("data:" +
                   QJsonDocument(
                       QJsonObject{{"choices", QJsonArray{QJsonObject{
                                                   {"delta", QJsonObject{{"content", "b"}}}}}}})
                       .toJson(QJsonDocument::Compact))
             .line("data: \t" + Server::text("c").mid(6) + " \t")
             .line("DATA: " + Server::text("upper-case prefix").mid(6))
             .line("[DONE]")
             .line("data: not json")
             .line(R"(data: {"choices": [], "usage": {"total_tokens": 9}})")
             .line(R"(data: {"choices": [1]})")
             .line(R"(data: {"choices": [{"message": {"content": "no delta"}}]})")
             .line(R"(data: {"choices": [{"delta": {"content": ""}}]})")
             .line(R"(data: {"choices": [{"delta": {"content": 7}}]})")
             .line(R"(data: {"choices": [{"delta": {"tool_calls": [1]}}]})")
             .line(
                 R"(data: {"choices": [{"delta": {"content": "d"}}, {"delta": {"content": "second choice"}}]})")
             .line(Server::chunk(QJsonObject{{"content", "e"}}, u"stop"_s))
             .line("data:  [DONE] \t")
             .line(Server::text("after done"))
             .neverEnd()});
    ASSERT_EQ(run(), std::nullopt) << "returns at [DONE] although the body never ends";
    using E = GenerationEvent;
    EXPECT_EQ(channel.events,
              QList<E>({E::response(u"a😀"_s), E::response(u"b"_s), E::response(u"c"_s),
                        E::response(u"d"_s), E::response(u"e"_s)}));
}

TEST_F(ExecutorTest, AnErrorStatusGivesTheHostTheCodeAndTheStartOfTheBody)
{
    // Pieces of five characters in six UTF-16 units: 300 characters are 360 units.
    QString body;
    for (int i = 0; body.size() < 720; ++i)
        body += u"é😀x%1 "_s.arg(i % 10);
    const QString start = body.left(360);
    server.script({Reply::text(401, body.toUtf8(), "application/json")});
    EXPECT_EQ(run(), u"127.0.0.1 returned 401: "_s + start);

    // Lines are joined without separators, and reading stops once 401 characters are held,
    // even when the body goes on for ever.
    const QString lineOne = body.left(150), lineTwo = body.mid(150, 210), rest = body.mid(360);
    server.script({Reply::stream(500, "text/plain")
                       .line(lineOne.toUtf8())
                       .line(lineTwo.toUtf8())
                       .line(rest.toUtf8())
                       .neverEnd()});
    EXPECT_EQ(run(), u"127.0.0.1 returned 500: "_s + start);

    // Any status but 200, a success among them.
    server.script({Reply::text(201, "{\"error\": \"no such model\"}")});
    EXPECT_EQ(run(), u"127.0.0.1 returned 201: {\"error\": \"no such model\"}"_s);
    EXPECT_TRUE(channel.events.isEmpty());
}

} // namespace
