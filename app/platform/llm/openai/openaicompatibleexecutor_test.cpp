#include "platform/http.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/openai/openaicompatibleexecutor.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "tests/support/chatcompletionsserver.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTextBoundaryFinder>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using Server = ChatCompletionsServer;
using Reply = HttpTestServer::Reply;
using Entry = Transcript::Entry;

namespace {

// Keeps every event; the test may let go of the turn at any moment.
class RecordingChannel : public GenerationChannel {
public:
    void send(const GenerationEvent& event) override
    {
        std::lock_guard lock(m_mutex);
        m_events.append(event);
    }
    bool isCanceled() const override { return canceled; }
    QList<GenerationEvent> events() const
    {
        std::lock_guard lock(m_mutex);
        return m_events;
    }
    QString text() const
    {
        QString all;
        for (const GenerationEvent& event : events()) {
            if (event.kind == GenerationEvent::Kind::Response)
                all += event.text;
        }
        return all;
    }
    std::atomic<bool> canceled = false;

private:
    mutable std::mutex m_mutex;
    QList<GenerationEvent> m_events;
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

TEST_F(ExecutorTest, TheRequestCarriesModelMessagesToolsSchemaAndOptions)
{
    GenerationRequest request;
    request.transcript.append(Entry::instructions(u"Be brief."_s));
    request.transcript.append(
        Entry::prompt({Transcript::Segment::fromText(u"WORD: x"_s),
                       Transcript::Segment::fromStructure(GeneratedContent(QJsonObject{{"a", 1}})),
                       Transcript::Segment{Transcript::Segment::Kind::Other, u"unseen"_s, {}},
                       Transcript::Segment::fromText(u"end"_s)}));
    request.transcript.append(Entry::toolCalls(
        {{u"call_1"_s, u"searchChats"_s, GeneratedContent::fromJson(uR"({"query": "x"})"_s)},
         {u"call_2"_s, u"searchLibrary"_s, GeneratedContent::fromJson(uR"({"query":"y"})"_s)}}));
    request.transcript.append(Entry::toolOutput(u"call_1"_s, u"searchChats"_s, u"found"_s));
    Entry other;
    other.kind = Entry::Kind::Other;
    other.segments = {Transcript::Segment::fromText(u"never sent"_s)};
    request.transcript.append(other);
    const GenerationSchema parameters =
        GenerationSchema::object(u"Arguments"_s, std::nullopt,
                                 {{u"query"_s, u"The word"_s, GenerationSchema::stringType()}});
    request.enabledToolDefinitions = {{u"searchChats"_s, u"Search chats"_s, parameters}};
    request.schema = GenerationSchema::object(u"Gloss"_s, std::nullopt, {});
    request.generationOptions.temperature = 0.5;
    request.generationOptions.maximumResponseTokens = 200;
    server.script({Server::answer({u"ok"_s})});
    ASSERT_EQ(run(request), std::nullopt);

    const auto raw = server.rawChatRequests();
    ASSERT_EQ(raw.size(), 1);
    EXPECT_EQ(raw[0].method, "POST");
    EXPECT_EQ(raw[0].path(), "/v1/chat/completions");
    EXPECT_EQ(raw[0].header("content-type"), "application/json");
    EXPECT_TRUE(raw[0].header("authorization").isEmpty()) << "no key, no Authorization";

    const QJsonObject body = raw[0].json();
    EXPECT_EQ(body.value("model"), u"test-model"_s);
    EXPECT_EQ(body.value("stream"), true);
    EXPECT_EQ(body.value("temperature"), 0.5);
    EXPECT_EQ(body.value("max_tokens"), 200);
    const QJsonArray expectedMessages = QJsonDocument::fromJson(R"([
        {"role": "system", "content": "Be brief."},
        {"role": "user", "content": "WORD: x\n{\"a\":1}\nend"},
        {"role": "assistant", "content": null, "tool_calls": [
            {"id": "call_1", "type": "function",
             "function": {"name": "searchChats", "arguments": "{\"query\": \"x\"}"}},
            {"id": "call_2", "type": "function",
             "function": {"name": "searchLibrary", "arguments": "{\"query\":\"y\"}"}}]},
        {"role": "tool", "tool_call_id": "call_1", "content": "found"}
    ])")
                                            .array();
    EXPECT_EQ(body.value("messages").toArray(), expectedMessages)
        << QJsonDocument(body.value("messages").toArray()).toJson().toStdString();
    EXPECT_EQ(
        body.value("tools"),
        QJsonArray({QJsonObject{{"type", "function"},
                                {"function", QJsonObject{{"name", "searchChats"},
                                                         {"description", "Search chats"},
                                                         {"parameters", parameters.json()}}}}}));
    EXPECT_EQ(body.value("response_format"),
              QJsonObject({{"type", "json_schema"},
                           {"json_schema", QJsonObject{{"name", "response"},
                                                       {"schema", request.schema->json()}}}}));
}

TEST_F(ExecutorTest, OptionalPartsAreLeftOutAndAKeyIsSentAsItIs)
{
    server.script({Server::answer({u"ok"_s})});
    ASSERT_EQ(run(simpleRequest(), u" sk-test"_s), std::nullopt);
    const auto raw = server.rawChatRequests();
    ASSERT_EQ(raw.size(), 1);
    EXPECT_EQ(raw[0].header("authorization"), "Bearer  sk-test");
    const QJsonObject body = raw[0].json();
    for (const char* key : {"tools", "response_format", "temperature", "max_tokens"})
        EXPECT_FALSE(body.contains(key)) << key;

    EXPECT_EQ(OpenAICompatibleExecutor::endpoint(QUrl("http://h:1/v1/")),
              QUrl("http://h:1/v1/chat/completions"));
}

// The stream ends without [DONE]: what came is the whole answer.
TEST_F(ExecutorTest, TextArrivesPieceByPieceEvenWhenACharacterIsSplitBetweenChunks)
{
    const QByteArray line = Server::text(u"héllo 😀 wörld"_s);
    const qsizetype cutInE = line.indexOf("\xC3\xA9") + 1;
    const qsizetype cutInEmoji = line.indexOf("\xF0\x9F\x98\x80") + 2;
    server.script({Reply::stream()
                       .send(line.first(cutInE))
                       .pause(20ms)
                       .send(line.sliced(cutInE, cutInEmoji - cutInE))
                       .pause(20ms)
                       .send(line.sliced(cutInEmoji) + "\n\n")
                       .line(Server::text(u" – 中文"_s))});
    ASSERT_EQ(run(), std::nullopt);
    const auto events = channel.events();
    ASSERT_EQ(events.size(), 2);
    EXPECT_EQ(events[0], GenerationEvent::response(u"héllo 😀 wörld"_s));
    EXPECT_EQ(events[1], GenerationEvent::response(u" – 中文"_s));
}

TEST_F(ExecutorTest, ToolCallsAreAssembledByIndexWithTheFirstChunksIdAndName)
{
    play({Server::calls({Server::call(0, "call_a", "searchChats", "")}),
          Server::calls({Server::call(0, {}, {}, R"({"query":)")}),
          Server::calls({Server::call(0, "ignored", "ignored", R"( "drift"})")}),
          // Two calls streamed side by side.
          Server::calls({Server::call(1, "call_b", "searchLibrary", R"({"q)"),
                         Server::call(2, "call_c", "searchChats", R"({"q)")}),
          Server::calls({Server::call(2, {}, {}, R"(uery":"c"})"),
                         Server::call(1, {}, {}, R"(uery":"b"})")})});
    ASSERT_EQ(run(), std::nullopt);
    using E = GenerationEvent;
    EXPECT_EQ(channel.events(),
              QList<E>({E::toolCall("call_a", "searchChats", ""),
                        E::toolCall("call_a", "searchChats", R"({"query":)"),
                        E::toolCall("call_a", "searchChats", R"( "drift"})"),
                        E::toolCall("call_b", "searchLibrary", R"({"q)"),
                        E::toolCall("call_c", "searchChats", R"({"q)"),
                        E::toolCall("call_c", "searchChats", R"(uery":"c"})"),
                        E::toolCall("call_b", "searchLibrary", R"(uery":"b"})")}));
}

TEST_F(ExecutorTest, ACallWithoutIdGetsAGeneratedOneAndACallWithoutIndexCountsAsIndexZero)
{
    play({Server::calls({Server::call({}, {}, "searchChats", R"({"query")")}),
          Server::calls({Server::call(0, "late-id", "late-name", R"(:"x"})")}),
          // Text and a call in one chunk: the text goes first.
          Server::chunk(QJsonObject{
              {"content", "Looking."},
              {"tool_calls", QJsonArray{Server::call(1, "call_b", "searchLibrary", "{}")}}}),
          // A call without a function object and with a non-string name.
          Server::calls({QJsonObject{{"index", 3}, {"id", "call_d"}}}),
          Server::calls({Server::call(4, "call_e", {}, {})})});
    ASSERT_EQ(run(), std::nullopt);
    const auto events = channel.events();
    ASSERT_EQ(events.size(), 6);
    const QRegularExpression uuid(
        u"^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"_s);
    EXPECT_TRUE(uuid.match(events[0].toolCallId).hasMatch()) << events[0].toolCallId.toStdString();
    EXPECT_EQ(events[1].toolCallId, events[0].toolCallId) << "later chunks reuse the generated id";
    EXPECT_EQ(events[1].toolName, u"searchChats"_s);
    EXPECT_EQ(events[1].text, uR"(:"x"})"_s);
    EXPECT_EQ(events[2], GenerationEvent::response(u"Looking."_s));
    EXPECT_EQ(events[3], GenerationEvent::toolCall("call_b", "searchLibrary", "{}"));
    EXPECT_EQ(events[4], GenerationEvent::toolCall("call_d", "", ""));
    EXPECT_EQ(events[5], GenerationEvent::toolCall("call_e", "", ""));
}

TEST_F(ExecutorTest, LinesThatAreNotDataOrNotChunksAreSkippedAndDoneEndsTheAnswer)
{
    server.script(
        {Reply::stream()
             .line(":")
             .line(": PROCESSING")
             .line("event: message")
             .send(Server::text("a") + "\r\n\r\n")
             .line("data:" +
                   QJsonDocument(
                       QJsonObject{{"choices", QJsonArray{QJsonObject{
                                                   {"delta", QJsonObject{{"content", "b"}}}}}}})
                       .toJson(QJsonDocument::Compact))
             .line("data: \t" + Server::text("c").mid(6) + " \t")
             .line("DATA: " + Server::text("upper-case prefix").mid(6))
             .line("[DONE]")
             .line("data: not json")
             .line("data: [1, 2]")
             .line(R"(data: {"choices": []})")
             .line(R"(data: {"choices": [], "usage": {"total_tokens": 9}})")
             .line(R"(data: {"choices": [1]})")
             .line(R"(data: {"choices": [{"delta": "text"}]})")
             .line(R"(data: {"choices": [{"message": {"content": "no delta"}}]})")
             .line(R"(data: {"choices": [{"delta": {"content": ""}}]})")
             .line(R"(data: {"choices": [{"delta": {"content": null}}]})")
             .line(R"(data: {"choices": [{"delta": {"content": 7}}]})")
             .line(R"(data: {"choices": [{"delta": {"tool_calls": [1]}}]})")
             .line(
                 R"(data: {"choices": [{"delta": {"content": "d"}}, {"delta": {"content": "second choice"}}]})")
             .line(Server::chunk(QJsonObject{{"content", "e"}}, u"stop"_s))
             .line("data:  [DONE] \t")
             .line(Server::text("after done"))
             .neverEnd()});
    ASSERT_EQ(run(), std::nullopt) << "returns at [DONE] although the body never ends";
    EXPECT_EQ(channel.text(), u"abcde"_s);
    EXPECT_EQ(channel.events().size(), 5);
}

QString firstCharacters(const QString& text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int i = 0; i < count; ++i)
        finder.toNextBoundary();
    return text.left(finder.position());
}

TEST_F(ExecutorTest, AnErrorStatusGivesTheHostTheCodeAndTheStartOfTheBody)
{
    // Over 500 characters, some of them two UTF-16 units long.
    QString body;
    for (int i = 0; body.size() < 720; ++i)
        body += u"é😀x%1 "_s.arg(i % 10);
    server.script({Reply::text(401, body.toUtf8(), "application/json")});
    EXPECT_EQ(run(), u"127.0.0.1 returned 401: "_s + firstCharacters(body, 300));

    // Lines are joined without separators, and reading stops once 401 characters are held,
    // even when the body goes on for ever.
    const QString lineOne = body.left(150), lineTwo = body.mid(150, 210), rest = body.mid(360);
    server.script({Reply::stream(500, "text/plain")
                       .line(lineOne.toUtf8())
                       .line(lineTwo.toUtf8())
                       .line(rest.toUtf8())
                       .neverEnd()});
    EXPECT_EQ(run(), u"127.0.0.1 returned 500: "_s + firstCharacters(body, 300));

    // Any status but 200, a success among them.
    server.script({Reply::text(201, "{\"error\": \"no such model\"}")});
    EXPECT_EQ(run(), u"127.0.0.1 returned 201: {\"error\": \"no such model\"}"_s);
    server.script({Reply::text(503, "")});
    EXPECT_EQ(run(), u"127.0.0.1 returned 503: "_s);
    EXPECT_TRUE(channel.events().isEmpty());
}

TEST_F(ExecutorTest, CancellingAStalledStreamClosesTheConnection)
{
    server.script({Reply::stream().line(Server::text("first")).neverEnd()});
    const OpenAICompatibleModel model(server.baseURL(), u"m"_s, std::nullopt);
    std::exception_ptr failure;
    std::atomic<bool> finished = false;
    std::jthread worker([&] {
        try {
            OpenAICompatibleExecutor().respond(simpleRequest(), model, channel);
        } catch (...) {
            failure = std::current_exception();
        }
        finished = true;
    });
    const auto letGo = qScopeGuard([&] { channel.canceled = true; }); // before the join
    ASSERT_TRUE(server.http().waitForRequests(1));
    while (channel.events().isEmpty() && !finished)
        QThread::msleep(5);
    ASSERT_FALSE(finished) << "the stream should stall, not end";
    const int closedBefore = server.http().connectionsClosedByClient();
    channel.canceled = true;
    EXPECT_TRUE(server.http().waitForClientClose(closedBefore + 1));
    worker.join();
    ASSERT_TRUE(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const HttpError& error) {
        EXPECT_EQ(error.kind(), HttpError::Cancelled);
    }
    EXPECT_EQ(channel.text(), u"first"_s);
}

TEST_F(ExecutorTest, AContentFilterFinishIsAGuardrailViolation)
{
    play({Server::text("Part"), Server::chunk(QJsonObject{}, u"content_filter"_s)});
    const OpenAICompatibleModel model(server.baseURL(), u"m"_s, std::nullopt);
    try {
        OpenAICompatibleExecutor().respond(simpleRequest(), model, channel);
        FAIL() << "the refusal was not reported";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::GuardrailViolation);
    }
    EXPECT_EQ(channel.text(), u"Part"_s);
}

} // namespace
