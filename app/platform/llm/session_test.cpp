#include "platform/llm/executor.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/session.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSemaphore>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace {

using Kind = Transcript::Entry::Kind;

// A model that is its own executor: plays back scripted turns and keeps every request it was
// given. A turn past the end of the script repeats the last one.
class ScriptedModel : public LanguageModel,
                      public Executor,
                      public std::enable_shared_from_this<ScriptedModel> {
public:
    using Turn = std::function<void(GenerationChannel&)>;

    static Turn events(QList<GenerationEvent> events)
    {
        return [events](GenerationChannel& channel) {
            for (const GenerationEvent& event : events)
                channel.send(event);
        };
    }

    ScriptedModel(QList<Turn> turns, QList<Capability> capabilities)
        : m_turns(std::move(turns)), m_capabilities(std::move(capabilities))
    {
    }
    QList<Capability> capabilities() const override { return m_capabilities; }
    std::shared_ptr<const Executor> executor() const override { return shared_from_this(); }

    void respond(const GenerationRequest& request, const LanguageModel&,
                 GenerationChannel& channel) const override
    {
        Turn turn;
        {
            std::lock_guard lock(m_mutex);
            m_requests.append(request);
            turn = m_turns[std::min(m_requests.size(), m_turns.size()) - 1];
        }
        turn(channel);
    }

    QList<GenerationRequest> requests() const
    {
        std::lock_guard lock(m_mutex);
        return m_requests;
    }

private:
    QList<Turn> m_turns;
    QList<Capability> m_capabilities;
    mutable std::mutex m_mutex;
    mutable QList<GenerationRequest> m_requests;
};

// A search tool whose answer and behaviour the test decides; counts and keeps its calls.
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

struct Fixture {
    explicit Fixture(QList<ScriptedModel::Turn> turns,
                     QList<std::shared_ptr<const Tool>> tools = {},
                     QList<LanguageModel::Capability> capabilities =
                         {LanguageModel::Capability::ToolCalling,
                          LanguageModel::Capability::GuidedGeneration})
        : executor(std::make_shared<ScriptedModel>(std::move(turns), std::move(capabilities))),
          session(executor, std::move(tools), u"Be brief."_s)
    {
    }
    std::shared_ptr<ScriptedModel> executor;
    Session session;
};

GenerationEvent text(const char* piece)
{
    return GenerationEvent::response(QString::fromUtf8(piece));
}

GenerationEvent call(const char* id, const char* name, const char* piece)
{
    return GenerationEvent::toolCall(QString::fromUtf8(id), QString::fromUtf8(name),
                                     QString::fromUtf8(piece));
}

std::shared_ptr<ProbeTool> echoTool(const char* name = "searchChats")
{
    return std::make_shared<ProbeTool>(
        QString::fromUtf8(name), [](const GeneratedContent& arguments, const CancelCheck&) {
            return u"found "_s + arguments.string(u"query"_s).value_or("?");
        });
}

TEST(SessionTest, AModelThatCannotCallToolsIsOfferedNone)
{
    Fixture f({ScriptedModel::events({text("plain")})}, {echoTool()},
              {LanguageModel::Capability::GuidedGeneration});
    EXPECT_EQ(f.session.streamResponse(u"q"_s, {}, {}), u"plain"_s);
    EXPECT_TRUE(f.executor->requests().at(0).enabledToolDefinitions.isEmpty());
    EXPECT_EQ(f.session.transcript()[0].toolDefinitions.size(), 1)
        << "still listed with the instructions";
}

// A call of a tool the session lacks gets an error text as its output, and the loop goes on.
TEST(SessionTest, ToolCallsAreRunAndTheirOutputsSentBackUnderTheCallsIds)
{
    auto tool = echoTool();
    Fixture f({ScriptedModel::events({text("Let me look."), call("call_1", "searchChats", ""),
                                      call("call_1", "searchChats", R"({"que)"),
                                      call("call_1", "searchChats", R"(ry": "drift"})"),
                                      call("c2", "searchWeb", R"({"query":"x"})")}),
               ScriptedModel::events({text("You met "), text("drift twice.")})},
              {tool});
    QStringList snapshots;
    GenerationOptions options;
    options.temperature = 0.25;
    const QString answer = f.session.streamResponse(u"What is drift?"_s, options,
                                                    [&](const QString& s) { snapshots.append(s); });

    EXPECT_EQ(answer, u"You met drift twice."_s);
    EXPECT_EQ(snapshots.last(), answer);
    EXPECT_EQ(tool->calls, 1);
    const auto requests = f.executor->requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0].enabledToolDefinitions.size(), 1);
    EXPECT_EQ(requests[1].generationOptions, options);

    const Transcript& second = requests[1].transcript;
    ASSERT_EQ(second.size(), 6);
    EXPECT_EQ(second[2].kind, Kind::Response) << "text before the calls is kept";
    EXPECT_EQ(second[2].segments[0].text, u"Let me look."_s);
    ASSERT_EQ(second[3].calls.size(), 2);
    EXPECT_EQ(second[3].calls[0].arguments.jsonString(), uR"({"query": "drift"})"_s);
    EXPECT_EQ(second[4].kind, Kind::ToolOutput);
    EXPECT_EQ(second[4].id, u"call_1"_s);
    EXPECT_EQ(second[4].segments[0].text, u"found drift"_s);
    EXPECT_EQ(second[5].id, u"c2"_s);
    EXPECT_EQ(second[5].segments[0].text,
              QStringLiteral(
                  R"(Error: there is no tool named "searchWeb". The tools are: searchChats.)"));
}

TEST(SessionTest, CallsOfOneTurnRunAtOnceAndAnswerInCallOrder)
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
    Fixture f({ScriptedModel::events({call("a", "searchLibrary", R"({"query":"x"})"),
                                      call("b", "searchChats", R"({"query":"y"})")}),
               ScriptedModel::events({text("ok")})},
              {waiting("searchChats"), waiting("searchLibrary")});
    f.session.streamResponse(u"q"_s, {}, {});

    const Transcript& second = f.executor->requests().at(1).transcript;
    ASSERT_EQ(second.size(), 5);
    ASSERT_EQ(second[2].calls.size(), 2);
    EXPECT_EQ(second[3].id, u"a"_s);
    EXPECT_EQ(second[3].segments[0].text, u"searchLibrary done"_s);
    EXPECT_EQ(second[4].id, u"b"_s);
    EXPECT_EQ(second[4].segments[0].text, u"searchChats done"_s);
}

TEST(SessionTest, AModelThatNeverStopsCallingToolsIsStoppedAfterEightRounds)
{
    auto tool = echoTool();
    Fixture f({ScriptedModel::events({call("again", "searchChats", R"({"query":"x"})")})}, {tool});
    try {
        f.session.streamResponse(u"q"_s, {}, {});
        FAIL() << "the loop did not end";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::ExceededToolRounds);
        EXPECT_EQ(error.localizedDescription(),
                  u"The model kept calling tools; stopped after 8 rounds"_s);
    }
    EXPECT_EQ(tool->calls, 8);
    EXPECT_EQ(f.executor->requests().size(), 9);
}

TEST(SessionTest, FailuresOfToolsAndExecutorsEndTheResponseWithTheirOwnError)
{
    auto failing = std::make_shared<ProbeTool>(
        u"searchChats"_s, [](const GeneratedContent&, const CancelCheck&) -> QString {
            throw std::runtime_error("index gone");
        });
    auto slow = echoTool("searchLibrary");
    Fixture f(
        {ScriptedModel::events({call("1", "searchChats", "{}"), call("2", "searchLibrary", "{}")})},
        {failing, slow});
    EXPECT_THROW(f.session.streamResponse(u"q"_s, {}, {}), std::runtime_error);
    EXPECT_EQ(slow->calls, 1) << "the other call of the turn still ran to its end";
    EXPECT_EQ(f.executor->requests().size(), 1);

    Fixture g({[](GenerationChannel& channel) {
        channel.send(text("par"));
        throw std::runtime_error("connection lost");
    }});
    QStringList snapshots;
    EXPECT_THROW(
        g.session.streamResponse(u"q"_s, {}, [&](const QString& s) { snapshots.append(s); }),
        std::runtime_error);
    EXPECT_EQ(snapshots, QStringList{"par"});
}

TEST(SessionTest, CancellingStopsRunningToolsAndTheLoop)
{
    std::atomic<bool> canceled = false;
    auto tool = std::make_shared<ProbeTool>(
        u"searchChats"_s, [&](const GeneratedContent&, const CancelCheck& isCanceled) {
            canceled = true; // the consumer lets go while the tool runs
            while (!isCanceled())
                QThread::msleep(1);
            return u"stopped"_s;
        });
    Fixture f({ScriptedModel::events({call("1", "searchChats", "{}")}),
               ScriptedModel::events({text("never asked")})},
              {tool});
    try {
        f.session.streamResponse(u"q"_s, {}, {}, [&] { return canceled.load(); });
        FAIL() << "a cancelled response returned normally";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::Cancelled);
    }
    EXPECT_EQ(f.executor->requests().size(), 1);

    // An executor sees the cancellation through its channel.
    std::atomic<bool> stop = false;
    Fixture g({[&](GenerationChannel& channel) {
        channel.send(text("a"));
        stop = true;
        if (channel.isCanceled())
            return;
        channel.send(text("b"));
    }});
    QStringList snapshots;
    EXPECT_THROW(g.session.streamResponse(
                     u"q"_s, {}, [&](const QString& s) { snapshots.append(s); },
                     [&] { return stop.load(); }),
                 GenerationError);
    EXPECT_EQ(snapshots, QStringList{"a"});
}

GenerationSchema glossSchema()
{
    return GenerationSchema::object(
        u"Gloss"_s, std::nullopt,
        {{u"partOfSpeech"_s, u"Part of speech"_s, GenerationSchema::stringType()},
         {u"synonyms"_s, u"Synonyms"_s,
          GenerationSchema::arrayOf(GenerationSchema::stringType())}});
}

// Snapshots of text and of partial content, and the schema in the prompt, are seen end to end
// in the Answer and Recall source tests; here what the session decides itself.
TEST(SessionTest, AStructuredAnswerMustEndWholeAndTheSchemaGoesWithTheRequest)
{
    Fixture f({ScriptedModel::events({text(R"({"partOfSpeech": "no)")})});
    try {
        f.session.streamResponse(u"WORD: x"_s, glossSchema(), false, {}, {});
        FAIL() << "an unfinished answer was taken as whole";
    } catch (const GenerationError& error) {
        EXPECT_EQ(error.kind(), GenerationError::Kind::DecodingFailure);
    }
    const GenerationRequest request = f.executor->requests().at(0);
    EXPECT_EQ(request.schema, glossSchema());
    EXPECT_EQ(request.transcript[1].segments.size(), 1) << "not spelled out unless asked";
}

TEST(GenerationSchemaTest, AnObjectSchemaListsItsPropertiesAsRequired)
{
    const QJsonObject json = glossSchema().json();
    EXPECT_FALSE(json.contains("description"));
    EXPECT_EQ(json.value("required"), QJsonArray({"partOfSpeech", "synonyms"}));
    EXPECT_EQ(json.value("properties").toObject().value("synonyms"),
              QJsonObject({{"type", "array"},
                           {"items", QJsonObject{{"type", "string"}}},
                           {"description", "Synonyms"}}));
}

} // namespace
