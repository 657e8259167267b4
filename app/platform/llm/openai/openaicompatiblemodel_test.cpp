#include "platform/llm/generationerror.h"
#include "platform/llm/openai/openaicompatiblemodel.h"
#include "platform/llm/session.h"
#include "tests/support/chatcompletionsserver.h"

#include <QJsonArray>
#include <QMutex>
#include <QScopeGuard>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using Server = ChatCompletionsServer;

namespace {

// A search tool over a fixed answer; keeps the queries it was asked.
class SearchTool : public Tool {
public:
    explicit SearchTool(QString name) : m_name(std::move(name)) {}
    QString name() const override { return m_name; }
    QString description() const override { return QStringLiteral("Search ") + m_name; }
    GenerationSchema parameters() const override
    {
        return GenerationSchema::object(
            QStringLiteral("Arguments"), std::nullopt,
            {{QStringLiteral("query"), QStringLiteral("What to search for"),
              GenerationSchema::stringType()}});
    }
    QString call(const GeneratedContent& arguments, const CancelCheck&) const override
    {
        const std::optional<QString> query = arguments.string(QStringLiteral("query"));
        QMutexLocker lock(&m_mutex);
        m_queries.append(query.value_or(QStringLiteral("?")));
        return m_name + QStringLiteral(" found “") + query.value_or(QString()) +
               QStringLiteral("”");
    }
    QStringList queries() const
    {
        QMutexLocker lock(&m_mutex);
        return m_queries;
    }

private:
    QString m_name;
    mutable QMutex m_mutex;
    mutable QStringList m_queries;
};

class ToolLoopTest : public ::testing::Test {
protected:
    Session session()
    {
        return Session(std::make_shared<OpenAICompatibleModel>(
                           server.baseURL(), QStringLiteral("m"), QStringLiteral("k")),
                       {chats, library}, QStringLiteral("Use the tools."));
    }
    Server server;
    std::shared_ptr<SearchTool> chats = std::make_shared<SearchTool>(QStringLiteral("searchChats"));
    std::shared_ptr<SearchTool> library =
        std::make_shared<SearchTool>(QStringLiteral("searchLibrary"));
};

TEST_F(ToolLoopTest, AToolsOutputGoesBackUnderItsCallIdAndTheAnswerStreamsAsSnapshots)
{
    server.script({Server::toolCall(QStringLiteral("call_7"), QStringLiteral("searchChats"),
                                    QStringLiteral(R"({"query": "drift"})")),
                   Server::answer({QStringLiteral("You "), QStringLiteral("met drift.")})});
    Session s = session();
    QStringList snapshots;
    const QString answer = s.streamResponse(QStringLiteral("What is drift?"), {},
                                            [&](const QString& text) { snapshots.append(text); });
    EXPECT_EQ(answer, QStringLiteral("You met drift."));
    EXPECT_EQ(snapshots, QStringList({"You ", "You met drift."}));
    EXPECT_EQ(chats->queries(), QStringList{"drift"});

    const auto requests = server.chatRequests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0].value("tools").toArray().size(), 2);
    const QJsonArray second = requests[1].value("messages").toArray();
    ASSERT_EQ(second.size(), 4);
    EXPECT_EQ(
        second[2].toObject(),
        QJsonObject({{"role", "assistant"},
                     {"content", QJsonValue::Null},
                     {"tool_calls",
                      QJsonArray{QJsonObject{
                          {"id", "call_7"},
                          {"type", "function"},
                          {"function", QJsonObject{{"name", "searchChats"},
                                                   {"arguments", R"({"query": "drift"})"}}}}}}}));
    EXPECT_EQ(second[3].toObject(), QJsonObject({{"role", "tool"},
                                                 {"tool_call_id", "call_7"},
                                                 {"content", "searchChats found “drift”"}}));
}

} // namespace
