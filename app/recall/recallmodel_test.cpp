#include "backenderror.h"
#include "chatcompletionsserver.h"
#include "gloss.h"
#include "keychain.h"
#include "memorysecretstore.h"
#include "openaicompatiblemodel.h"
#include "pref.h"
#include "recallmodel.h"
#include "recallsettings.h"
#include "searcharguments.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Fresh preferences with the program's defaults, an in-memory keyring and no key variables;
// the variables' old values come back afterwards.
class RecallModelTest : public ::testing::Test {
protected:
    RecallModelTest()
    {
        Pref::registerDefaults(prefs);
        SecretStore::setStandard(&keyring);
        for (const char* name : kKeyVariables) {
            saved.append(qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name))
                                                         : std::nullopt);
            qunsetenv(name);
        }
    }
    ~RecallModelTest() override
    {
        SecretStore::setStandard(nullptr);
        for (qsizetype i = 0; i < saved.size(); ++i) {
            if (saved[i])
                qputenv(kKeyVariables[i], *saved[i]);
            else
                qunsetenv(kKeyVariables[i]);
        }
    }
    static constexpr const char* kKeyVariables[] = {"LOOKUP_OPENAI_KEY", "LOOKUP_ANTHROPIC_KEY",
                                                    "LOOKUP_CUSTOM_KEY"};

    // The text of the BackendError that session() throws, or none when it builds a session.
    std::optional<QString> sessionError(RecallModel model)
    {
        try {
            model.session({}, QStringLiteral("instructions"), prefs);
        } catch (const BackendError& error) {
            return error.localizedDescription();
        }
        return std::nullopt;
    }
    void pointLocalModelAt(const QString& base, const QString& name = QStringLiteral("llama3.2"))
    {
        prefs.setValue(QStringLiteral("localModel.baseURL"), base);
        prefs.setValue(QStringLiteral("localModel.name"), name);
    }

    QTemporaryDir dir;
    Preferences prefs{dir.path() + QStringLiteral("/peekwell.conf")};
    MemorySecretStore keyring;
    QList<std::optional<QByteArray>> saved;
};

// The raw values are what the preferences file stores; the names, key accounts and variables
// are checked through the status texts, the keyring and the environment below.
TEST_F(RecallModelTest, RawValuesRoundTripAndAnUnknownOneIsNothing)
{
    for (const RecallModel& model : RecallModel::allCases()) {
        EXPECT_EQ(RecallModel::fromRawValue(model.rawValue()), model);
        EXPECT_EQ(Pref::modelName(model),
                  QStringLiteral("recall.") + model.rawValue() + QStringLiteral(".modelName"));
    }
    EXPECT_EQ(RecallModel::allCases().size(), 5);
    EXPECT_EQ(RecallModel::fromRawValue(QStringLiteral("OpenAI")), std::nullopt);
    EXPECT_EQ(RecallModel(RecallModel::privateCloud).keyAccount(), std::nullopt);
}

TEST_F(RecallModelTest, TheChoiceNamesAndAddressesComeFromThePreferences)
{
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::onDevice);
    prefs.setValue(QStringLiteral("recall.model"), QStringLiteral("claude"));
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::claude);
    prefs.setValue(QStringLiteral("recall.model"), QStringLiteral("gemini"));
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::onDevice);

    const RecallModel claude = RecallModel::claude;
    EXPECT_EQ(claude.modelName(prefs), QStringLiteral("claude-haiku-5-5"));
    prefs.setValue(QStringLiteral("recall.claude.modelName"), QStringLiteral("claude-x"));
    EXPECT_EQ(claude.modelName(prefs), QStringLiteral("claude-x"));
    prefs.setValue(QStringLiteral("recall.claude.modelName"), QString());
    EXPECT_EQ(claude.modelName(prefs), QString()) << "a stored empty name is used as it is";

    EXPECT_EQ(RecallModel(RecallModel::openAI).baseURL(prefs), QUrl("https://api.openai.com/v1"));
    EXPECT_EQ(claude.baseURL(prefs), QUrl("https://api.anthropic.com/v1"));
    EXPECT_EQ(RecallModel(RecallModel::onDevice).baseURL(prefs), std::nullopt);
    const RecallModel custom = RecallModel::custom;
    EXPECT_EQ(custom.baseURL(prefs), std::nullopt);
    for (const char* bad : {"", "not a url", "localhost:11434/v1", "http://"}) {
        prefs.setValue(QStringLiteral("recall.custom.baseURL"), QString::fromUtf8(bad));
        EXPECT_EQ(custom.baseURL(prefs), std::nullopt) << bad;
    }
    prefs.setValue(QStringLiteral("recall.custom.baseURL"),
                   QStringLiteral("http://gpu-box:8000/v1"));
    EXPECT_EQ(custom.baseURL(prefs), QUrl("http://gpu-box:8000/v1"));
}

TEST_F(RecallModelTest, StatusOfTheRemoteAndPrivateCloudModels)
{
    const RecallModel openAI = RecallModel::openAI, claude = RecallModel::claude,
                      custom = RecallModel::custom;
    EXPECT_EQ(openAI.status(prefs), QStringLiteral("Add an API key"));
    EXPECT_EQ(claude.status(prefs), QStringLiteral("Add an API key"));
    EXPECT_EQ(custom.status(prefs), QStringLiteral("Set a base URL"));
    prefs.setValue(QStringLiteral("recall.custom.baseURL"), QString());
    EXPECT_EQ(custom.status(prefs), QStringLiteral("Set a base URL"));

    Keychain::set(QStringLiteral("openai"), QStringLiteral("sk-1"));
    EXPECT_EQ(openAI.status(prefs), QStringLiteral("gpt-5.4-mini"));
    qputenv("LOOKUP_ANTHROPIC_KEY", "");
    EXPECT_EQ(claude.status(prefs), QStringLiteral("Add an API key"))
        << "an empty variable is ignored";
    qputenv("LOOKUP_ANTHROPIC_KEY", "sk-ant");
    prefs.setValue(QStringLiteral("recall.claude.modelName"), QStringLiteral("claude-y"));
    EXPECT_EQ(claude.status(prefs), QStringLiteral("claude-y"));
    prefs.setValue(QStringLiteral("recall.custom.baseURL"),
                   QStringLiteral("http://127.0.0.1:8080/v1"));
    EXPECT_EQ(custom.status(prefs), QStringLiteral("qwen")) << "custom needs no key";

    EXPECT_FALSE(RecallModel::hasPrivateCloudEntitlement());
    EXPECT_EQ(RecallModel(RecallModel::privateCloud).status(prefs),
              QStringLiteral("Needs Apple's PCC entitlement (request form)"));
}

TEST_F(RecallModelTest, StatusOfTheOnDeviceModelSaysWhatToDo)
{
    const RecallModel onDevice = RecallModel::onDevice;
    const QString closed =
        QStringLiteral("http://127.0.0.1:%1/v1").arg(HttpTestServer::closedPort());
    pointLocalModelAt(closed);
    EXPECT_EQ(onDevice.status(prefs), QStringLiteral("Start a local model server at ") + closed);

    ChatCompletionsServer server;
    pointLocalModelAt(server.base());
    server.listModels({"qwen2.5:7b", "llama3.2-vision:latest", "llama3:latest"});
    EXPECT_EQ(onDevice.status(prefs),
              QStringLiteral("Pull the model llama3.2 into the local model server"));
    server.listModels({"qwen2.5:7b", "llama3.2:latest"});
    EXPECT_EQ(onDevice.status(prefs), QStringLiteral("On device")) << "the name plus a tag";
    pointLocalModelAt(server.base(), QStringLiteral("llama3.2:latest"));
    EXPECT_EQ(onDevice.status(prefs), QStringLiteral("On device")) << "the exact id";
    pointLocalModelAt(server.base(), QStringLiteral("qwen2.5"));
    EXPECT_EQ(onDevice.status(prefs), QStringLiteral("On device"));

    server.http().on("/v1/models", HttpTestServer::Reply::text(500, "oops"));
    EXPECT_EQ(onDevice.status(prefs),
              QStringLiteral("Pull the model qwen2.5 into the local model server"));
    server.http().on("/v1/models", HttpTestServer::Reply::text(200, "not json"));
    EXPECT_EQ(onDevice.status(prefs),
              QStringLiteral("Pull the model qwen2.5 into the local model server"));
    pointLocalModelAt(QStringLiteral("not a url"));
    EXPECT_EQ(onDevice.status(prefs), QStringLiteral("Start a local model server at not a url"));
}

TEST_F(RecallModelTest, SessionsFailWithTheSentenceThatSaysWhatToDo)
{
    EXPECT_EQ(sessionError(RecallModel::privateCloud),
              QStringLiteral("Private Cloud Compute needs Apple's managed entitlement: "
                             "https://developer.apple.com/contact/request/private-cloud-compute/"));
    EXPECT_EQ(sessionError(RecallModel::custom),
              QStringLiteral("Set a base URL for Custom (OpenAI-compatible) in the menu"));
    prefs.setValue(QStringLiteral("recall.custom.baseURL"), QString());
    EXPECT_EQ(sessionError(RecallModel::custom),
              QStringLiteral("Set a base URL for Custom (OpenAI-compatible) in the menu"));
    EXPECT_EQ(sessionError(RecallModel::openAI),
              QStringLiteral("Add a OpenAI API key in the menu"));
    EXPECT_EQ(sessionError(RecallModel::claude),
              QStringLiteral("Add a Claude API key in the menu"));
    EXPECT_EQ(sessionError(RecallModel::onDevice), std::nullopt)
        << "availability is not tested here";

    qputenv("LOOKUP_ANTHROPIC_KEY", "sk-env");
    prefs.setValue(QStringLiteral("recall.claude.modelName"), QString());
    const Session claude = RecallModel(RecallModel::claude).session({}, QStringLiteral("i"), prefs);
    const auto& model = dynamic_cast<const OpenAICompatibleModel&>(claude.model());
    EXPECT_EQ(model.baseURL, QUrl("https://api.anthropic.com/v1"));
    EXPECT_EQ(model.model, QString()) << "the cleared name is sent empty";
    EXPECT_EQ(model.apiKey, QStringLiteral("sk-env"));
    EXPECT_EQ(claude.transcript()[0].segments[0].text, QStringLiteral("i"));
}

TEST_F(RecallModelTest, ACustomServerWithoutAKeyIsAskedWithoutAuthorization)
{
    ChatCompletionsServer server;
    server.script({ChatCompletionsServer::answer({QStringLiteral("fine")})});
    prefs.setValue(QStringLiteral("recall.custom.baseURL"), server.base());
    Session session = RecallModel(RecallModel::custom).session({}, QStringLiteral("i"), prefs);
    EXPECT_EQ(session.streamResponse(QStringLiteral("q"), {}, {}), QStringLiteral("fine"));
    const auto requests = server.rawChatRequests();
    ASSERT_EQ(requests.size(), 1);
    EXPECT_TRUE(requests[0].header("authorization").isEmpty());
    EXPECT_EQ(requests[0].json().value("model"), QStringLiteral("qwen"));

    // The on-device model goes to the local server, by the same protocol.
    pointLocalModelAt(server.base(), QStringLiteral("llama3.2"));
    server.script({ChatCompletionsServer::answer({QStringLiteral("local")})});
    Session local = RecallModel(RecallModel::onDevice).session({}, QStringLiteral("i"), prefs);
    EXPECT_EQ(local.streamResponse(QStringLiteral("q"), {}, {}), QStringLiteral("local"));
    EXPECT_EQ(server.chatRequests().last().value("model"), QStringLiteral("llama3.2"));
}

TEST_F(RecallModelTest, KeychainPrefersANonEmptyVariableAndReplacesOrDeletesStoredKeys)
{
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), std::nullopt);
    Keychain::set(QStringLiteral("openai"), QStringLiteral("sk-1"));
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), QStringLiteral("sk-1"));
    Keychain::set(QStringLiteral("openai"), QStringLiteral("sk-2"));
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), QStringLiteral("sk-2"));

    qputenv("LOOKUP_OPENAI_KEY", "sk-env");
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), QStringLiteral("sk-env"));
    qputenv("LOOKUP_OPENAI_KEY", "");
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), QStringLiteral("sk-2"));

    Keychain::set(QStringLiteral("openai"), QString());
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), std::nullopt);
    Keychain::set(QStringLiteral("openai"), QStringLiteral("sk-3"));
    Keychain::set(QStringLiteral("openai"), std::nullopt);
    EXPECT_EQ(keyring.get(QStringLiteral("openai")), std::nullopt);
    EXPECT_EQ(Keychain::environmentVariable(QStringLiteral("my-server")),
              QStringLiteral("LOOKUP_MY-SERVER_KEY"));

    // Without a keyring nothing is kept and nothing is found.
    MemorySecretStore absent(false);
    SecretStore::setStandard(&absent);
    Keychain::set(QStringLiteral("openai"), QStringLiteral("sk-4"));
    EXPECT_EQ(Keychain::get(QStringLiteral("openai")), std::nullopt);
}

TEST_F(RecallModelTest, SettingsLoadFromStorageAndSaveBack)
{
    RecallSettings claude(RecallModel::claude, prefs);
    claude.load();
    EXPECT_EQ(claude.name, QStringLiteral("claude-haiku-5-5"));
    EXPECT_EQ(claude.baseURL, QString());
    EXPECT_FALSE(claude.hasKey);
    EXPECT_EQ(claude.keyPlaceholder(), QStringLiteral("API key"));
    EXPECT_TRUE(claude.showsModelFields());
    EXPECT_FALSE(claude.showsBaseURLField());

    claude.name.clear();
    claude.key = QStringLiteral("sk-typed");
    claude.save();
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.claude.modelName")), QString());
    EXPECT_EQ(keyring.get(QStringLiteral("anthropic")), QStringLiteral("sk-typed"));
    EXPECT_EQ(claude.key, QString());
    EXPECT_TRUE(claude.hasKey);
    EXPECT_EQ(claude.keyPlaceholder(), QStringLiteral("API key saved (type to replace)"));
    claude.save(); // an empty key field leaves the stored key alone
    EXPECT_EQ(keyring.get(QStringLiteral("anthropic")), QStringLiteral("sk-typed"));
    EXPECT_FALSE(prefs.isStored(QStringLiteral("recall.custom.baseURL")))
        << "only custom stores it";

    RecallSettings custom(RecallModel::custom, prefs);
    prefs.setValue(QStringLiteral("recall.custom.baseURL"), QStringLiteral("http://box/v1"));
    custom.key = QStringLiteral("typed, not saved");
    custom.load();
    EXPECT_EQ(custom.key, QString()) << "a reload drops uncommitted text";
    EXPECT_EQ(custom.baseURL, QStringLiteral("http://box/v1"));
    EXPECT_FALSE(custom.hasKey);
    qputenv("LOOKUP_CUSTOM_KEY", "from-env");
    custom.load();
    EXPECT_TRUE(custom.hasKey) << "the variable counts";
    EXPECT_TRUE(custom.showsBaseURLField());
    custom.baseURL.clear();
    custom.save();
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.custom.baseURL")), QString());
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.custom.modelName")), QStringLiteral("qwen"));
    EXPECT_EQ(keyring.get(QStringLiteral("custom")), std::nullopt);

    RecallSettings onDevice(RecallModel::onDevice, prefs);
    onDevice.load();
    EXPECT_FALSE(onDevice.showsModelFields());
    EXPECT_FALSE(onDevice.hasKey);
    EXPECT_EQ(onDevice.baseURL, QString()) << "the custom address is read for every model";
    onDevice.key = QStringLiteral("ignored");
    onDevice.save();
    EXPECT_EQ(prefs.stringValue(QStringLiteral("recall.onDevice.modelName")), QString());
    EXPECT_EQ(keyring.get(QStringLiteral("onDevice")), std::nullopt);
    EXPECT_EQ(RecallSettings::baseURLPlaceholder(),
              QStringLiteral("Base URL, e.g. http://localhost:11434/v1"));
}

TEST(GenerableTest, TheGlossAndTheSearchArgumentsReadWhatTheModelWrote)
{
    const QJsonObject gloss = Gloss::generationSchema().json();
    EXPECT_EQ(gloss.value("required"), QJsonArray({"partOfSpeech", "meaning", "synonyms"}));
    EXPECT_EQ(gloss["properties"]["synonyms"]["items"]["type"], QStringLiteral("string"));
    const auto partial = Gloss::PartiallyGenerated::from(GeneratedContent::fromJson(
        QStringLiteral(R"({"partOfSpeech": "noun", "synonyms": ["a", "b)"), false));
    EXPECT_EQ(partial.partOfSpeech, QStringLiteral("noun"));
    EXPECT_EQ(partial.meaning, std::nullopt);
    EXPECT_EQ(partial.synonyms, QStringList({"a", "b"}));

    EXPECT_EQ(SearchArguments::generationSchema().json().value("additionalProperties"), false);
    EXPECT_EQ(SearchArguments::from(GeneratedContent::fromJson(QStringLiteral(R"({"query":"x"})")))
                  ->query,
              QStringLiteral("x"));
    EXPECT_FALSE(SearchArguments::from(GeneratedContent::fromJson(QStringLiteral(R"({"q":"x"})"))));
}

} // namespace
