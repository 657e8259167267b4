#include "appleintelligencebackend.h"
#include "backenderror.h"
#include "chatcompletionsserver.h"
#include "generationerror.h"
#include "preferences.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using Server = ChatCompletionsServer;

const QString kNote =
    QStringLiteral("Defined without its sentence: Apple's safety filter declined the sentence.");

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

TEST_F(AppleIntelligenceBackendTest, UnavailableLocalModelSaysWhatToDo)
{
    server.listModels({QStringLiteral("qwen3:8b")});
    EXPECT_EQ(failure(lookup(QStringLiteral("saw"), QStringLiteral("I saw."))),
              QStringLiteral("Pull the model llama3.2 into the local model server"));
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
