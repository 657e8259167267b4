#include "backends/appleintelligencebackend.h"
#include "lookup/backenderror.h"
#include "platform/llm/generationerror.h"
#include "platform/preferences.h"
#include "tests/support/chatcompletionsserver.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <mutex>

namespace {

using Server = ChatCompletionsServer;

const QString kNote =
    QStringLiteral("Defined without its sentence: the local model declined the sentence.");

LookupItem gloss(const QString& term, std::optional<QString> detail, const QString& body)
{
    return LookupItem{QStringLiteral("gloss"), term, std::move(detail), body, std::nullopt};
}

// The user message of a chat request: the prompt, then the schema the answer must follow.
QString promptOf(const QJsonObject& request)
{
    const QJsonArray messages = request.value(QStringLiteral("messages")).toArray();
    for (const QJsonValue& message : messages) {
        if (message[QStringLiteral("role")] == QStringLiteral("user")) {
            const QString content = message[QStringLiteral("content")].toString();
            return content.left(content.indexOf(QStringLiteral("\nAnswer with one JSON object")));
        }
    }
    return {};
}

class AppleIntelligenceBackendTest : public ::testing::Test {
protected:
    AppleIntelligenceBackendTest()
    {
        preferences.setValue(QStringLiteral("localModel.baseURL"), server.base());
        preferences.setValue(QStringLiteral("localModel.name"), QStringLiteral("llama3.2"));
        server.listModels({QStringLiteral("qwen3:8b"), QStringLiteral("llama3.2:latest")});
    }

    LookupStream lookup(const QString& term, std::optional<QString> context = std::nullopt) const
    {
        return backend.lookup(LookupQuery{term, std::move(context), std::nullopt});
    }

    // The failure's text, or nothing when the lookup ended normally.
    static std::optional<QString> failure(const LookupStream& stream)
    {
        try {
            stream.waitForAll();
        } catch (const BackendError& error) {
            return error.localizedDescription();
        } catch (const GenerationError& error) {
            return error.localizedDescription();
        }
        return std::nullopt;
    }

    QTemporaryDir dir;
    Preferences preferences{dir.filePath(QStringLiteral("peekwell.conf"))};
    Server server;
    AppleIntelligenceBackend backend{BackendInfo{QStringLiteral("apple"), QStringLiteral("Answer"),
                                                 QStringLiteral("sparkles"), 20},
                                     preferences};
};

TEST_F(AppleIntelligenceBackendTest, GlossGrowsFieldByFieldIntoOneItem)
{
    server.script({Server::answer({R"({"partOfSpeech":"verb")", R"(,"meaning":"Cut with)",
                                   R"( a blade.")", R"(,"synonyms":["cut")", R"(,"sever"]})"})});
    const QList<LookupItems> lists =
        lookup(QStringLiteral("saw"), QStringLiteral("She saw the plank in half.")).waitForAll();

    const QString saw = QStringLiteral("saw");
    const QString verb = QStringLiteral("verb");
    const QList<LookupItems> expected{
        {gloss(saw, verb, QString())},
        {gloss(saw, verb, QStringLiteral("Cut with"))},
        {gloss(saw, verb, QStringLiteral("Cut with a blade."))},
        {gloss(saw, verb, QStringLiteral("Cut with a blade.\n\nSimilar: cut"))},
        {gloss(saw, verb, QStringLiteral("Cut with a blade.\n\nSimilar: cut, sever"))},
    };
    EXPECT_EQ(lists, expected);

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(promptOf(requests[0]),
              QStringLiteral("WORD: saw\nSENTENCE: She saw the plank in half."));
    EXPECT_FALSE(requests[0].contains(QStringLiteral("tools")));
    // The schema travels in the prompt, with its descriptions.
    const QString content =
        requests[0][QStringLiteral("messages")][1][QStringLiteral("content")].toString();
    EXPECT_TRUE(content.contains(QStringLiteral("Two or three synonyms that fit this sentence")));

    // No synonyms: no "Similar" line.
    server.script(
        {Server::answer({R"({"partOfSpeech":"noun","meaning":"A tool.","synonyms":[]})"})});
    const QList<LookupItems> bare = lookup(saw).waitForAll();
    ASSERT_FALSE(bare.isEmpty());
    EXPECT_EQ(bare.last(),
              LookupItems{gloss(saw, QStringLiteral("noun"), QStringLiteral("A tool."))});
}

TEST_F(AppleIntelligenceBackendTest, DeclinedSentenceIsGlossedAgainWithoutIt)
{
    server.script({Server::stream({Server::text(R"({"partOfSpeech":"noun")"),
                                   Server::chunk(QJsonObject{}, QStringLiteral("content_filter"))}),
                   Server::answer({R"({"partOfSpeech":"noun","meaning":"A weapon.")",
                                   R"(,"synonyms":["arm"]})"})});
    const QString term = QStringLiteral("gun");
    const QList<LookupItems> lists =
        lookup(term, QStringLiteral("He drew a gun on the clerk.")).waitForAll();

    ASSERT_GE(lists.size(), 2);
    EXPECT_EQ(lists.first(), LookupItems{gloss(term, QStringLiteral("noun"), QString())})
        << "the first run's items are shown until the second run replaces them";
    for (const LookupItems& list : lists.mid(1))
        EXPECT_TRUE(list.value(0).body.value_or("").endsWith(QStringLiteral("\n\n") + kNote));
    EXPECT_EQ(lists.last(),
              LookupItems{gloss(term, QStringLiteral("noun"),
                                QStringLiteral("A weapon.\n\nSimilar: arm\n\n") + kNote)});

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(promptOf(requests[0]),
              QStringLiteral("WORD: gun\nSENTENCE: He drew a gun on the clerk."));
    EXPECT_EQ(promptOf(requests[1]), QStringLiteral("WORD: gun"));
}

TEST_F(AppleIntelligenceBackendTest, DeclinedWordAloneFailsWithoutRetry)
{
    const auto declined = Server::stream({Server::chunk(QJsonObject{}, "content_filter")});
    const auto refusal =
        GenerationError(GenerationError::Kind::GuardrailViolation).localizedDescription();
    server.script({declined, Server::answer({R"({"partOfSpeech":"noun","meaning":"x"})"})});
    EXPECT_EQ(failure(lookup(QStringLiteral("gun"))), refusal);
    EXPECT_EQ(server.chatRequests().size(), 1);
    // A retry that is declined again fails the tab as well.
    server.script({declined});
    EXPECT_EQ(failure(lookup(QStringLiteral("gun"), QStringLiteral("A gun."))), refusal);
    EXPECT_EQ(server.chatRequests().size(), 3);
}

TEST_F(AppleIntelligenceBackendTest, WithoutTheModelTheDictionaryAnswersAtOnce)
{
    // No server at all: the sense the sentence means, and where to get the model's answer.
    const QString closed =
        QStringLiteral("http://127.0.0.1:%1/v1").arg(HttpTestServer::closedPort());
    preferences.setValue(QStringLiteral("localModel.baseURL"), closed);
    const QString start = QStringLiteral("Start a local model server at ") + closed;
    EXPECT_EQ(lookup(QStringLiteral("Spring"),
                     QStringLiteral("We filled our bottles at a spring in the hills where cold "
                                    "water comes out of the ground."))
                  .waitForAll(),
              QList<LookupItems>{{gloss(
                  QStringLiteral("Spring"), QStringLiteral("noun"),
                  QStringLiteral("A natural flow of ground water.\n\nSimilar: fountain, outflow, "
                                 "outpouring, natural spring\n\nFrom the WordNet dictionary. ") +
                      start + QStringLiteral(" for an answer written for this sentence."))}});
    // A word WordNet lacks fails as before.
    EXPECT_EQ(failure(lookup(QStringLiteral("Straße"), QStringLiteral("Die Straße ist lang."))),
              start);
    // The menu says both what to do and who answers meanwhile.
    EXPECT_EQ(AppleIntelligenceBackend::status(preferences),
              start + QStringLiteral(" · WordNet answers meanwhile"));

    // A running server without the model: its own advice, and no chat.
    preferences.setValue(QStringLiteral("localModel.baseURL"), server.base());
    server.listModels({QStringLiteral("qwen3:8b")});
    const QList<LookupItems> lists = lookup(QStringLiteral("spring")).waitForAll();
    ASSERT_EQ(lists.size(), 1);
    EXPECT_EQ(lists[0].value(0).detail, QStringLiteral("noun"));
    EXPECT_TRUE(lists[0].value(0).body.value_or("").endsWith(
        QStringLiteral("\n\nFrom the WordNet dictionary. Pull the model llama3.2 into the local "
                       "model server for an answer written by a language model.")));
    EXPECT_TRUE(server.chatRequests().isEmpty());
}

// Collects the warnings logged while it lives, from any thread.
class WarningLog {
public:
    WarningLog() { s_previous = qInstallMessageHandler(&WarningLog::handle); }
    ~WarningLog() { qInstallMessageHandler(s_previous); }
    QStringList lines() const
    {
        std::lock_guard lock(s_mutex);
        return s_lines;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext&, const QString& message)
    {
        std::lock_guard lock(s_mutex);
        if (type == QtWarningMsg)
            s_lines.append(message);
    }
    static inline std::mutex s_mutex;
    static inline QStringList s_lines;
    static inline QtMessageHandler s_previous = nullptr;
};

TEST_F(AppleIntelligenceBackendTest, DamagedDictionaryFilesFailAsBeforeAndAreNamedInTheLog)
{
    const QString closed =
        QStringLiteral("http://127.0.0.1:%1/v1").arg(HttpTestServer::closedPort());
    preferences.setValue(QStringLiteral("localModel.baseURL"), closed);
    const QDir installed(QStringLiteral("/usr/share/wordnet"));
    const QStringList files = installed.entryList({"index.*", "data.*", "*.exc", "cntlist.rev"});
    ASSERT_EQ(files.size(), 13);

    // A copy of the dictionary with one file missing, and one with data.noun cut at a line
    // break halfway (its lines are whole, but the index points past its end).
    QFile noun(installed.filePath(QStringLiteral("data.noun")));
    ASSERT_TRUE(noun.open(QIODevice::ReadOnly));
    QByteArray half = noun.read(noun.size() / 2);
    half.truncate(half.lastIndexOf('\n') + 1);
    for (const auto& [damaged, contents] : {std::pair{QStringLiteral("index.verb"), QByteArray()},
                                            std::pair{QStringLiteral("data.noun"), half}}) {
        QTemporaryDir copy;
        for (const QString& file : files) {
            if (file != damaged) {
                ASSERT_TRUE(QFile::link(installed.filePath(file), copy.filePath(file)));
            }
        }
        if (!contents.isEmpty()) {
            QFile cut(copy.filePath(damaged));
            ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
            cut.write(contents);
        }
        qputenv("PEEKWELL_WORDNET_DIR", copy.path().toUtf8());
        WarningLog log;
        // The first sense of "bank" lies in the second half of data.noun.
        const std::optional<QString> failed = failure(lookup(QStringLiteral("bank")));
        const QString status = AppleIntelligenceBackend::status(preferences);
        qunsetenv("PEEKWELL_WORDNET_DIR");
        if (damaged == QStringLiteral("index.verb"))
            EXPECT_EQ(status, QStringLiteral("Start a local model server at ") + closed)
                << "a dictionary that does not open answers nothing";
        EXPECT_EQ(failed, QStringLiteral("Start a local model server at ") + closed);
        const QStringList warnings = log.lines();
        EXPECT_EQ(warnings.filter(copy.filePath(damaged)).size(), 1)
            << warnings.join('\n').toStdString();
    }
}

TEST_F(AppleIntelligenceBackendTest, PrewarmAsksOllamaToLoadTheModel)
{
    HttpTestServer& http = server.http();
    // A server without Ollama's interface is left alone.
    AppleIntelligenceBackend::prewarm(preferences).waitForFinished();
    auto paths = [&] {
        QStringList list;
        for (const HttpTestServer::Request& request : http.requests())
            list.append(QString::fromUtf8(request.method + ' ' + request.path()));
        return list;
    };
    EXPECT_EQ(paths(),
              (QStringList{QStringLiteral("GET /v1/models"), QStringLiteral("GET /api/version")}));

    http.on("/api/version", HttpTestServer::Reply::json(QJsonObject{{"version", "0.5.7"}}));
    http.on("/api/generate", HttpTestServer::Reply::json(QJsonObject{{"done", true}}));
    AppleIntelligenceBackend::prewarm(preferences).waitForFinished();
    ASSERT_EQ(paths().size(), 5);
    EXPECT_EQ(paths().last(), QStringLiteral("POST /api/generate"));
    EXPECT_EQ(http.requests().last().json(), (QJsonObject{{"model", "llama3.2"}}));

    // Nothing is loaded while the model is not there.
    server.listModels({QStringLiteral("qwen3:8b")});
    AppleIntelligenceBackend::prewarm(preferences).waitForFinished();
    EXPECT_EQ(paths().size(), 6);
    EXPECT_EQ(paths().last(), QStringLiteral("GET /v1/models"));
    EXPECT_TRUE(server.chatRequests().isEmpty());
}

TEST_F(AppleIntelligenceBackendTest, CancellingTheLookupHangsUpOnTheModel)
{
    server.script({Server::Reply::stream()
                       .line(Server::text(R"({"partOfSpeech":"noun")"))
                       .line("")
                       .neverEnd()});
    LookupStream stream = lookup(QStringLiteral("saw"), QStringLiteral("A saw."));
    ASSERT_TRUE(server.http().waitForRequests(2)); // the model list, then the chat
    stream.cancel();
    QFuture<LookupItems> future = stream.future();
    future.waitForFinished();
    EXPECT_TRUE(stream.error());
    EXPECT_TRUE(server.http().waitForClientClose(2));
    EXPECT_EQ(server.chatRequests().size(), 1);
}

} // namespace
