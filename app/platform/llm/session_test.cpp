#include "platform/http.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "platform/llm/session.h"
#include "tests/support/chatcompletionsserver.h"

#include <QJsonDocument>
#include <QSemaphore>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

// Sessions driven through the OpenAI-compatible executor against a scripted server, so that
// what the loop sends back is checked as the server receives it.
namespace {

using Server = ChatCompletionsServer;
using Reply = HttpTestServer::Reply;

// A search tool whose answer and behaviour the test decides; counts its calls.
class ProbeTool : public Tool {
public:
    using Body = std::function<QString(const GeneratedContent&, const CancelCheck&)>;
    ProbeTool(QString name, Body body) : m_name(std::move(name)), m_body(std::move(body)) {}

    QString name() const override { return m_name; }
    QString description() const override { return u"Searches for "_s + m_name; }
    GenerationSchema parameters() const override
    {
        return GenerationSchema::object(u"Arguments"_s, std::nullopt, {});
    }
    QString call(const GeneratedContent& arguments, const CancelCheck& isCanceled) const override
    {
        ++calls;
        return m_body(arguments, isCanceled);
    }

    mutable std::atomic<int> calls = 0;

private:
    QString m_name;
    Body m_body;
};

std::shared_ptr<ProbeTool> echoTool(const char* name = "searchChats")
{
    return std::make_shared<ProbeTool>(
        QString::fromUtf8(name), [](const GeneratedContent& arguments, const CancelCheck&) {
            return u"found "_s + arguments.string(u"query"_s).value_or("?");
        });
}

class SessionTest : public ::testing::Test {
protected:
    Session session(QList<std::shared_ptr<const Tool>> tools = {})
    {
        return Session(
            std::make_shared<OpenAICompatibleModel>(server.baseURL(), u"m"_s, std::nullopt),
            std::move(tools), u"Be brief."_s);
    }
    QJsonArray messagesOf(qsizetype request) const
    {
        return server.chatRequests().value(request).value(u"messages"_s).toArray();
    }

    Server server;
};

// A call of a tool the session lacks gets an error text as its output, and the loop goes on.
TEST_F(SessionTest, ToolCallsAreRunAndTheirOutputsSentBackUnderTheCallsIds)
{
    server.script(
        {Server::stream({Server::text(u"Let me look."_s),
                         Server::calls({Server::call(0, "call_1", "searchChats", "")}),
                         Server::calls({Server::call(0, {}, {}, R"({"que)")}),
                         Server::calls({Server::call(0, {}, {}, R"(ry": "drift"})"),
                                        Server::call(1, "c2", "searchWeb", R"({"query":"x"})")})}),
         Server::answer({u"You met "_s, u"drift twice."_s})});
    QStringList snapshots;
    GenerationOptions options;
    options.temperature = 0.25;
    const QString answer =
        session({echoTool()}).streamResponse(u"What is drift?"_s, options, [&](const QString& s) {
            snapshots.append(s);
        });

    EXPECT_EQ(answer, u"You met drift twice."_s);
    EXPECT_EQ(snapshots.last(), answer);
    ASSERT_EQ(server.chatRequests().size(), 2);
    EXPECT_EQ(server.chatRequests()[1].value("temperature"), 0.25);
    const QJsonArray expected = QJsonDocument::fromJson(R"([
        {"role": "system", "content": "Be brief."},
        {"role": "user", "content": "What is drift?"},
        {"role": "assistant", "content": "Let me look."},
        {"role": "assistant", "content": null, "tool_calls": [
            {"id": "call_1", "type": "function",
             "function": {"name": "searchChats", "arguments": "{\"query\": \"drift\"}"}},
            {"id": "c2", "type": "function",
             "function": {"name": "searchWeb", "arguments": "{\"query\":\"x\"}"}}]},
        {"role": "tool", "tool_call_id": "call_1", "content": "found drift"},
        {"role": "tool", "tool_call_id": "c2",
         "content": "Error: there is no tool named \"searchWeb\". The tools are: searchChats."}
    ])")
                                    .array();
    EXPECT_EQ(messagesOf(1), expected) << QJsonDocument(messagesOf(1)).toJson().toStdString();
}

TEST_F(SessionTest, CallsOfOneTurnRunAtOnceAndAnswerInCallOrder)
{
    // Each call waits until the other has started: run one after the other, they would stall.
    QSemaphore started;
    auto waiting = [&](const char* name) {
        return std::make_shared<ProbeTool>(
            QString::fromUtf8(name), [&started, name](const GeneratedContent&, const CancelCheck&) {
                started.release();
                const bool both = started.tryAcquire(2, 20000);
                started.release(2);
                return both ? QString::fromUtf8(name) + u" done"_s : u"ran alone"_s;
            });
    };
    server.script(
        {Server::stream({Server::calls({Server::call(0, "a", "searchLibrary", R"({"query":"x"})"),
                                        Server::call(1, "b", "searchChats", R"({"query":"y"})")})}),
         Server::answer({u"ok"_s})});
    session({waiting("searchChats"), waiting("searchLibrary")}).streamResponse(u"q"_s, {}, {});

    const QJsonArray messages = messagesOf(1);
    ASSERT_EQ(messages.size(), 5);
    EXPECT_EQ(
        messages[3],
        (QJsonObject{{"role", "tool"}, {"tool_call_id", "a"}, {"content", "searchLibrary done"}}));
    EXPECT_EQ(
        messages[4],
        (QJsonObject{{"role", "tool"}, {"tool_call_id", "b"}, {"content", "searchChats done"}}));
}

TEST_F(SessionTest, AModelThatNeverStopsCallingToolsIsStoppedAfterEightRounds)
{
    auto tool = echoTool();
    server.script({Server::toolCall(u"again"_s, u"searchChats"_s, uR"({"query":"x"})"_s)});
    try {
        session({tool}).streamResponse(u"q"_s, {}, {});
        FAIL() << "the loop did not end";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::ExceededToolRounds);
        EXPECT_EQ(error.localizedDescription(),
                  u"The model kept calling tools; stopped after 8 rounds"_s);
    }
    EXPECT_EQ(tool->calls, 8);
    EXPECT_EQ(server.chatRequests().size(), 9);
}

TEST_F(SessionTest, FailuresOfToolsAndConnectionsEndTheResponseWithTheirOwnError)
{
    auto failing = std::make_shared<ProbeTool>(
        u"searchChats"_s, [](const GeneratedContent&, const CancelCheck&) -> QString {
            throw std::runtime_error("index gone");
        });
    auto other = echoTool("searchLibrary");
    server.script({Server::stream({Server::calls({Server::call(0, "1", "searchChats", "{}"),
                                                  Server::call(1, "2", "searchLibrary", "{}")})})});
    EXPECT_THROW(session({failing, other}).streamResponse(u"q"_s, {}, {}), std::runtime_error);
    EXPECT_EQ(other->calls, 1) << "the other call of the turn still ran to its end";
    EXPECT_EQ(server.chatRequests().size(), 1);

    // The connection drops halfway through the second line.
    const QByteArray lines = Server::text(u"par"_s) + "\n\n" + Server::text(u"tial"_s) + "\n\n";
    server.script({Reply::text(200, lines, "text/event-stream").closeEarly()});
    QStringList snapshots;
    EXPECT_THROW(
        session().streamResponse(u"q"_s, {}, [&](const QString& s) { snapshots.append(s); }),
        HttpError);
    EXPECT_EQ(snapshots, QStringList{"par"});
}

// How a cancelled lookup hangs up on the model and on a tool's server is seen end to end in
// the Answer and Recall source tests.
TEST_F(SessionTest, CancellingStopsRunningToolsAndTheLoop)
{
    std::atomic<bool> canceled = false;
    auto tool = std::make_shared<ProbeTool>(
        u"searchChats"_s, [&](const GeneratedContent&, const CancelCheck& isCanceled) {
            canceled = true; // the consumer lets go while the tool runs
            while (!isCanceled())
                QThread::msleep(1);
            return u"stopped"_s;
        });
    server.script(
        {Server::toolCall(u"1"_s, u"searchChats"_s, u"{}"_s), Server::answer({u"never asked"_s})});
    EXPECT_THROW(session({tool}).streamResponse(u"q"_s, {}, {}, [&] { return canceled.load(); }),
                 GenerationError);
    EXPECT_EQ(server.chatRequests().size(), 1);
}

TEST_F(SessionTest, AStructuredAnswerMustEndWholeAndTheSchemaGoesWithTheRequest)
{
    const GenerationSchema schema = GenerationSchema::object(
        u"Gloss"_s, std::nullopt,
        {{u"partOfSpeech"_s, std::nullopt, GenerationSchema::stringType()}});
    server.script({Server::answer({uR"({"partOfSpeech": "no)"_s})});
    try {
        session().streamResponse(u"WORD: x"_s, schema, false, {}, {});
        FAIL() << "an unfinished answer was taken as whole";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::DecodingFailure);
    }
    EXPECT_EQ(server.chatRequests().value(0).value("response_format"),
              QJsonObject(
                  {{"type", "json_schema"},
                   {"json_schema", QJsonObject{{"name", "response"}, {"schema", schema.json()}}}}));
    EXPECT_EQ(messagesOf(0)[1][u"content"_s], u"WORD: x"_s) << "not spelled out unless asked";
}

} // namespace
