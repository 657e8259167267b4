#include "backends/appleintelligencebackend.h"
#include "platform/llm/generationerror.h"
#include "platform/preferences.h"
#include "tests/support/chatcompletionsserver.h"
#include "tests/support/eventwait.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <mutex>

using namespace Qt::Literals::StringLiterals;

namespace {

using Server = ChatCompletionsServer;

const QString kNote = u"Defined without its sentence: the local model declined the sentence."_s;

LookupItem gloss(const QString& term, std::optional<QString> detail, const QString& body)
{
    return LookupItem{u"gloss"_s, term, std::move(detail), body, std::nullopt};
}

// The user message of a chat request (after the instructions) up to the schema that follows.
QString promptOf(const QJsonObject& request)
{
    const QString content = request[u"messages"_s][1][u"content"_s].toString();
    return content.left(content.indexOf(u"\nAnswer with one JSON object"_s));
}

class AppleIntelligenceBackendTest : public ::testing::Test {
protected:
    AppleIntelligenceBackendTest()
    {
        preferences.setValue(u"localModel.baseURL"_s, server.base());
        preferences.setValue(u"localModel.name"_s, u"llama3.2"_s);
        server.listModels({u"qwen3:8b"_s, u"llama3.2:latest"_s});
    }

    LookupStream lookup(const QString& term, std::optional<QString> context = std::nullopt) const
    {
        return backend.lookup(LookupQuery{term, std::move(context), std::nullopt});
    }

    QTemporaryDir dir;
    Preferences preferences{dir.filePath(u"peekwell.conf"_s)};
    Server server;
    AppleIntelligenceBackend backend{BackendInfo{u"apple"_s, u"Answer"_s, u"sparkles"_s, 20},
                                     preferences};
};

TEST_F(AppleIntelligenceBackendTest, GlossGrowsFieldByFieldIntoOneItem)
{
    server.script({Server::answer({R"({"partOfSpeech":"verb")", R"(,"meaning":"Cut with)",
                                   R"( a blade.")", R"(,"synonyms":["cut")", R"(,"sever"]})"})});
    const QList<LookupItems> lists = lookup(u"saw"_s, u"She saw the plank in half."_s).waitForAll();

    const QString saw = u"saw"_s;
    const QString verb = u"verb"_s;
    const QList<LookupItems> expected{
        {gloss(saw, verb, QString())},
        {gloss(saw, verb, u"Cut with"_s)},
        {gloss(saw, verb, u"Cut with a blade."_s)},
        {gloss(saw, verb, u"Cut with a blade.\n\nSimilar: cut"_s)},
        {gloss(saw, verb, u"Cut with a blade.\n\nSimilar: cut, sever"_s)},
    };
    EXPECT_EQ(lists, expected);

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_EQ(promptOf(requests[0]), u"WORD: saw\nSENTENCE: She saw the plank in half."_s);
    EXPECT_FALSE(requests[0].contains(u"tools"_s));
    // The schema travels in the prompt, with its descriptions.
    const QString content = requests[0][u"messages"_s][1][u"content"_s].toString();
    EXPECT_TRUE(content.contains(u"Two or three synonyms that fit this sentence"_s));

    // No synonyms: no "Similar" line.
    server.script(
        {Server::answer({R"({"partOfSpeech":"noun","meaning":"A tool.","synonyms":[]})"})});
    const QList<LookupItems> bare = lookup(saw).waitForAll();
    ASSERT_FALSE(bare.isEmpty());
    EXPECT_EQ(bare.last(), LookupItems{gloss(saw, u"noun"_s, u"A tool."_s)});
}

TEST_F(AppleIntelligenceBackendTest, DeclinedSentenceIsGlossedAgainWithoutItAndADeclinedWordFails)
{
    server.script({Server::stream({Server::text(R"({"partOfSpeech":"noun")"),
                                   Server::chunk(QJsonObject{}, u"content_filter"_s)}),
                   Server::answer({R"({"partOfSpeech":"noun","meaning":"A weapon.")",
                                   R"(,"synonyms":["arm"]})"})});
    const QString term = u"gun"_s;
    const QList<LookupItems> lists = lookup(term, u"He drew a gun on the clerk."_s).waitForAll();

    ASSERT_GE(lists.size(), 2);
    EXPECT_EQ(lists.first(), LookupItems{gloss(term, u"noun"_s, QString())})
        << "the first run's items are shown until the second run replaces them";
    for (const LookupItems& list : lists.mid(1))
        EXPECT_TRUE(list.value(0).body.value_or("").endsWith(u"\n\n"_s + kNote));
    EXPECT_EQ(lists.last(),
              LookupItems{gloss(term, u"noun"_s, u"A weapon.\n\nSimilar: arm\n\n"_s + kNote)});

    const QList<QJsonObject> requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(promptOf(requests[0]), u"WORD: gun\nSENTENCE: He drew a gun on the clerk."_s);
    EXPECT_EQ(promptOf(requests[1]), u"WORD: gun"_s);

    // A word declined alone is not asked again, and a retry declined again fails the tab.
    const auto refusal =
        GenerationError(GenerationError::Kind::GuardrailViolation).localizedDescription();
    server.script({Server::stream({Server::chunk(QJsonObject{}, "content_filter")})});
    EXPECT_EQ(failureOf(lookup(term)), refusal);
    EXPECT_EQ(server.chatRequests().size(), 3);
    EXPECT_EQ(failureOf(lookup(term, u"A gun."_s)), refusal);
    EXPECT_EQ(server.chatRequests().size(), 5);
}

// The warnings logged, from any thread, while logWarning is installed.
std::mutex warningsMutex;
QStringList warnings;
void logWarning(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    std::lock_guard lock(warningsMutex);
    if (type == QtWarningMsg)
        warnings.append(message);
}

TEST_F(AppleIntelligenceBackendTest,
       WithoutTheModelTheDictionaryAnswersAtOnceAndDamagedFilesAreNamedInTheLog)
{
    // No server at all: the sense the sentence means, and where to get the model's answer.
    const QString closed = u"http://127.0.0.1:%1/v1"_s.arg(HttpTestServer::closedPort());
    preferences.setValue(u"localModel.baseURL"_s, closed);
    const QString start = u"Start a local model server at "_s + closed;
    EXPECT_EQ(lookup(u"Spring"_s,
                     QStringLiteral("We filled our bottles at a spring in the hills where cold "
                                    "water comes out of the ground."))
                  .waitForAll(),
              QList<LookupItems>{{gloss(
                  u"Spring"_s, u"noun"_s,
                  QStringLiteral("A natural flow of ground water.\n\nSimilar: fountain, outflow, "
                                 "outpouring, natural spring\n\nFrom the WordNet dictionary. ") +
                      start + u" for an answer written for this sentence."_s)}});
    // A word WordNet lacks fails as before.
    EXPECT_EQ(failureOf(lookup(u"Straße"_s, u"Die Straße ist lang."_s)), start);
    // The menu says both what to do and who answers meanwhile.
    EXPECT_EQ(AppleIntelligenceBackend::status(preferences),
              start + u" · WordNet answers meanwhile"_s);

    // Damaged dictionary files fail as a missing word does and are named in the log.
    const QDir installed(u"/usr/share/wordnet"_s);
    const QStringList files = installed.entryList({"index.*", "data.*", "*.exc", "cntlist.rev"});
    ASSERT_EQ(files.size(), 13);

    // A copy of the dictionary with one file missing, and one with data.noun cut at a line
    // break halfway (its lines are whole, but the index points past its end).
    QFile noun(installed.filePath(u"data.noun"_s));
    ASSERT_TRUE(noun.open(QIODevice::ReadOnly));
    QByteArray half = noun.read(noun.size() / 2);
    half.truncate(half.lastIndexOf('\n') + 1);
    for (const auto& [damaged, contents] :
         {std::pair{u"index.verb"_s, QByteArray()}, std::pair{u"data.noun"_s, half}}) {
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
        const QtMessageHandler previous = qInstallMessageHandler(logWarning);
        // The first sense of "bank" lies in the second half of data.noun.
        const QString failed = failureOf(lookup(u"bank"_s));
        const QString status = AppleIntelligenceBackend::status(preferences);
        qInstallMessageHandler(previous);
        qunsetenv("PEEKWELL_WORDNET_DIR");
        if (damaged == u"index.verb"_s) {
            EXPECT_EQ(status, start) << "a dictionary that does not open answers nothing";
        }
        EXPECT_EQ(failed, start);
        EXPECT_EQ(warnings.filter(copy.filePath(damaged)).size(), 1)
            << warnings.join('\n').toStdString();
    }

    // A running server without the model: its own advice, and no chat.
    preferences.setValue(u"localModel.baseURL"_s, server.base());
    server.listModels({u"qwen3:8b"_s});
    const QList<LookupItems> lists = lookup(u"spring"_s).waitForAll();
    ASSERT_EQ(lists.size(), 1);
    EXPECT_EQ(lists[0].value(0).detail, u"noun"_s);
    EXPECT_TRUE(lists[0].value(0).body.value_or("").endsWith(
        QStringLiteral("\n\nFrom the WordNet dictionary. Pull the model llama3.2 into the local "
                       "model server for an answer written by a language model.")));
    EXPECT_TRUE(server.chatRequests().isEmpty());
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
    EXPECT_EQ(paths(), (QStringList{u"GET /v1/models"_s, u"GET /api/version"_s}));

    http.on("/api/version", HttpTestServer::Reply::json(QJsonObject{{"version", "0.5.7"}}));
    http.on("/api/generate", HttpTestServer::Reply::json(QJsonObject{{"done", true}}));
    AppleIntelligenceBackend::prewarm(preferences).waitForFinished();
    ASSERT_EQ(paths().size(), 5);
    EXPECT_EQ(paths().last(), u"POST /api/generate"_s);
    EXPECT_EQ(http.requests().last().json(), (QJsonObject{{"model", "llama3.2"}}));

    // Nothing is loaded while the model is not there.
    server.listModels({u"qwen3:8b"_s});
    AppleIntelligenceBackend::prewarm(preferences).waitForFinished();
    EXPECT_EQ(paths().size(), 6);
    EXPECT_EQ(paths().last(), u"GET /v1/models"_s);
    EXPECT_TRUE(server.chatRequests().isEmpty());
}

TEST_F(AppleIntelligenceBackendTest, CancellingTheLookupHangsUpOnTheModel)
{
    server.script({Server::Reply::stream()
                       .line(Server::text(R"({"partOfSpeech":"noun")"))
                       .line("")
                       .neverEnd()});
    LookupStream stream = lookup(u"saw"_s, u"A saw."_s);
    ASSERT_TRUE(server.http().waitForRequests(2)); // the model list, then the chat
    stream.cancel();
    // Before the request's own time-out would close it.
    EXPECT_TRUE(server.http().waitForClientClose(2));
    EXPECT_EQ(failureOf(stream), u"The request was cancelled."_s);
    EXPECT_EQ(server.chatRequests().size(), 1);
}

} // namespace
