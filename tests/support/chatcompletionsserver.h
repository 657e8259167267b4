#pragma once

#include "tests/support/httptestserver.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QStringList>
#include <mutex>
#include <optional>

// A scripted OpenAI-compatible model server on 127.0.0.1 for tests, on HttpTestServer.
//
// base() is the API base ("http://127.0.0.1:<port>/v1"). Each POST to "/v1/chat/completions"
// is answered with the next scripted turn (the last one repeats), so a test plays a whole tool
// loop; every request stays recorded. "GET /v1/models" lists the models given to
// listModels(). The chunk makers write the stream lines a server sends ("data: " + JSON).
class ChatCompletionsServer {
public:
    using Reply = HttpTestServer::Reply;

    ChatCompletionsServer();

    QString base() const { return m_http.base() + QStringLiteral("/v1"); }
    QUrl baseURL() const { return QUrl(base()); }
    HttpTestServer& http() { return m_http; }

    // The replies to successive chat requests.
    void script(QList<Reply> turns);
    // Answers "/v1/models" with these ids (as OpenAI's list object).
    void listModels(const QStringList& ids);

    // The bodies of the chat requests received so far, in order.
    QList<QJsonObject> chatRequests() const;
    QList<HttpTestServer::Request> rawChatRequests() const;

    // One stream line carrying a delta in the first choice.
    static QByteArray chunk(const QJsonObject& delta,
                            const std::optional<QString>& finishReason = std::nullopt);
    static QByteArray text(const QString& content);
    // A tool-call delta; absent parts are left out of the JSON.
    static QJsonObject call(std::optional<int> index, std::optional<QString> id,
                            std::optional<QString> name, std::optional<QString> arguments);
    static QByteArray calls(const QJsonArray& calls);

    // A whole streamed turn: the lines, then "[DONE]".
    static Reply stream(const QList<QByteArray>& lines);
    // A turn that answers with text in the given pieces.
    static Reply answer(const QStringList& pieces);
    // A turn that calls one tool with these arguments.
    static Reply toolCall(const QString& id, const QString& name, const QString& arguments);

private:
    // Declared before the server, so they outlive its thread's handler.
    mutable std::mutex m_mutex;
    QList<Reply> m_turns;
    int m_served = 0;
    QList<HttpTestServer::Request> m_requests; // chat requests, in order of arrival
    HttpTestServer m_http;
};
