#include "tests/support/chatcompletionsserver.h"

#include <QJsonDocument>

ChatCompletionsServer::ChatCompletionsServer()
{
    m_http.on("/v1/chat/completions", [this](const HttpTestServer::Request& request) {
        std::lock_guard lock(m_mutex);
        m_requests.append(request);
        if (m_turns.isEmpty())
            return Reply::text(500, "no turn scripted");
        const qsizetype turn = std::min<qsizetype>(m_served++, m_turns.size() - 1);
        return m_turns[turn];
    });
}

void ChatCompletionsServer::script(QList<Reply> turns)
{
    std::lock_guard lock(m_mutex);
    m_turns = std::move(turns);
    m_served = 0;
}

void ChatCompletionsServer::listModels(const QStringList& ids)
{
    QJsonArray data;
    for (const QString& id : ids)
        data.append(QJsonObject{{"id", id}, {"object", "model"}, {"owned_by", "library"}});
    m_http.on("/v1/models", Reply::json(QJsonObject{{"object", "list"}, {"data", data}}));
}

QList<HttpTestServer::Request> ChatCompletionsServer::rawChatRequests() const
{
    std::lock_guard lock(m_mutex); // the copy is made before the lock goes
    return m_requests;
}

QList<QJsonObject> ChatCompletionsServer::chatRequests() const
{
    QList<QJsonObject> bodies;
    for (const HttpTestServer::Request& request : rawChatRequests())
        bodies.append(request.json());
    return bodies;
}

QByteArray ChatCompletionsServer::chunk(const QJsonObject& delta,
                                        const std::optional<QString>& finishReason)
{
    QJsonObject choice{{"index", 0}, {"delta", delta}};
    choice.insert("finish_reason", finishReason ? QJsonValue(*finishReason) : QJsonValue());
    const QJsonObject object{{"id", "chatcmpl-1"},
                             {"object", "chat.completion.chunk"},
                             {"model", "test"},
                             {"choices", QJsonArray{choice}}};
    return "data: " + QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray ChatCompletionsServer::text(const QString& content)
{
    return chunk(QJsonObject{{"role", "assistant"}, {"content", content}});
}

QJsonObject ChatCompletionsServer::call(std::optional<int> index, std::optional<QString> id,
                                        std::optional<QString> name,
                                        std::optional<QString> arguments)
{
    QJsonObject call;
    if (index)
        call.insert("index", *index);
    if (id) {
        call.insert("id", *id);
        call.insert("type", "function");
    }
    QJsonObject function;
    if (name)
        function.insert("name", *name);
    if (arguments)
        function.insert("arguments", *arguments);
    call.insert("function", function);
    return call;
}

QByteArray ChatCompletionsServer::calls(const QJsonArray& calls)
{
    return chunk(QJsonObject{{"tool_calls", calls}});
}

ChatCompletionsServer::Reply ChatCompletionsServer::stream(const QList<QByteArray>& lines)
{
    Reply reply = Reply::stream();
    for (const QByteArray& line : lines)
        reply.line(line).line("");
    reply.line("data: [DONE]");
    return reply;
}

ChatCompletionsServer::Reply ChatCompletionsServer::answer(const QStringList& pieces)
{
    QList<QByteArray> lines;
    for (const QString& piece : pieces)
        lines.append(text(piece));
    lines.append(chunk(QJsonObject{}, QStringLiteral("stop")));
    return stream(lines);
}

ChatCompletionsServer::Reply ChatCompletionsServer::toolCall(const QString& id, const QString& name,
                                                             const QString& arguments)
{
    return stream({calls({call(0, id, name, QString())}), calls({call(0, {}, {}, arguments)}),
                   chunk(QJsonObject{}, QStringLiteral("tool_calls"))});
}
