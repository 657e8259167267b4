#include "lookup/backenderror.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "recall/freshrecall_test.h"
#include "recall/keychain.h"
#include "recall/recallmodel.h"
#include "tests/support/chatcompletionsserver.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

class RecallModelTest : public FreshRecall {
protected:
    // The text of the BackendError that session() throws, or none when it builds a session.
    std::optional<QString> sessionError(RecallModel model)
    {
        try {
            model.session({}, u"instructions"_s, prefs);
        } catch (const BackendError& error) {
            return error.localizedDescription();
        }
        return std::nullopt;
    }
    void pointLocalModelAt(const QString& base, const QString& name = u"llama3.2"_s)
    {
        prefs.setValue(u"localModel.baseURL"_s, base);
        prefs.setValue(u"localModel.name"_s, name);
    }
};

// The raw values are what the preferences file stores; the model names, key accounts and
// variables are checked through the status texts and the sessions below.
TEST_F(RecallModelTest, TheChoiceNamesAndAddressesComeFromThePreferences)
{
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::onDevice);
    prefs.setValue(u"recall.model"_s, u"claude"_s);
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::claude);
    prefs.setValue(u"recall.model"_s, u"OpenAI"_s);
    EXPECT_EQ(RecallModel::current(prefs), RecallModel::onDevice);

    const RecallModel custom = RecallModel::custom;
    for (const char* bad : {"", "not a url", "localhost:11434/v1", "http://"}) {
        prefs.setValue(u"recall.custom.baseURL"_s, QString::fromUtf8(bad));
        EXPECT_EQ(custom.baseURL(prefs), std::nullopt) << bad;
    }
    prefs.setValue(u"recall.custom.baseURL"_s, u"http://gpu-box:8000/v1"_s);
    EXPECT_EQ(custom.baseURL(prefs), QUrl("http://gpu-box:8000/v1"));
}

// The statuses before a key or an address is typed are followed through the menu in
// menuview_test.cpp.
TEST_F(RecallModelTest, StatusOfTheRemoteAndPrivateCloudModels)
{
    const RecallModel openAI = RecallModel::openAI, claude = RecallModel::claude;
    EXPECT_EQ(openAI.status(prefs), u"Add an API key"_s);
    Keychain::set(u"openai"_s, u"sk-1"_s);
    EXPECT_EQ(openAI.status(prefs), u"gpt-5.4-mini"_s);
    environment.set("LOOKUP_ANTHROPIC_KEY", "sk-ant");
    prefs.setValue(u"recall.claude.modelName"_s, u"claude-y"_s);
    EXPECT_EQ(claude.status(prefs), u"claude-y"_s);
    prefs.setValue(u"recall.custom.baseURL"_s, u"http://127.0.0.1:8080/v1"_s);
    EXPECT_EQ(RecallModel(RecallModel::custom).status(prefs), u"qwen"_s) << "custom needs no key";
    EXPECT_EQ(RecallModel(RecallModel::privateCloud).status(prefs), u"Not available on Linux"_s);
}

TEST_F(RecallModelTest, StatusOfTheOnDeviceModelSaysWhatToDo)
{
    // A server that is not running is named in appleintelligencebackend_test.cpp.
    const RecallModel onDevice = RecallModel::onDevice;
    ChatCompletionsServer server;
    pointLocalModelAt(server.base());
    server.listModels({"qwen2.5:7b", "llama3.2-vision:latest", "llama3:latest"});
    EXPECT_EQ(onDevice.status(prefs), u"Pull the model llama3.2 into the local model server"_s);
    server.listModels({"qwen2.5:7b", "llama3.2:latest"});
    EXPECT_EQ(onDevice.status(prefs), u"On device"_s) << "the name plus a tag";
    pointLocalModelAt(server.base(), u"llama3.2:latest"_s);
    EXPECT_EQ(onDevice.status(prefs), u"On device"_s) << "the exact id";

    server.http().on("/v1/models", HttpTestServer::Reply::text(500, "oops"));
    EXPECT_EQ(onDevice.status(prefs),
              u"Pull the model llama3.2:latest into the local model server"_s);
    server.http().on("/v1/models", HttpTestServer::Reply::text(200, "not json"));
    EXPECT_EQ(onDevice.status(prefs),
              u"Pull the model llama3.2:latest into the local model server"_s);
    pointLocalModelAt(u"not a url"_s);
    EXPECT_EQ(onDevice.status(prefs), u"Start a local model server at not a url"_s);
}

TEST_F(RecallModelTest, SessionsFailWithTheSentenceThatSaysWhatToDo)
{
    EXPECT_EQ(sessionError(RecallModel::privateCloud),
              u"Private Cloud Compute is not available on Linux: pick another model for Recall in "
              u"the menu"_s);
    EXPECT_EQ(sessionError(RecallModel::openAI), u"Add a OpenAI API key in the menu"_s);
    EXPECT_EQ(sessionError(RecallModel::claude), u"Add a Claude API key in the menu"_s);
    EXPECT_EQ(sessionError(RecallModel::onDevice), std::nullopt)
        << "availability is not tested here";

    environment.set("LOOKUP_ANTHROPIC_KEY", "sk-env");
    prefs.setValue(u"recall.claude.modelName"_s, QString());
    const Session claude = RecallModel(RecallModel::claude).session({}, u"i"_s, prefs);
    const auto& model = dynamic_cast<const OpenAICompatibleModel&>(claude.model());
    EXPECT_EQ(model.baseURL, QUrl("https://api.anthropic.com/v1"));
    EXPECT_EQ(model.model, QString()) << "the cleared name is sent empty";
    EXPECT_EQ(model.apiKey, u"sk-env"_s);
}

} // namespace
