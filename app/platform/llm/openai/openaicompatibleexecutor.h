#pragma once

#include "platform/llm/executor.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QUrl>

#include <stdexcept>

class OpenAICompatibleModel;

// A model server's refusal: an HTTP status other than 200, or a request that could not be
// encoded. Its text is one sentence for the user, e.g. "<host> returned 500: <body>".
class ModelServerError : public std::runtime_error {
public:
    explicit ModelServerError(const QString& description)
        : std::runtime_error(description.toStdString())
    {
    }
    QString localizedDescription() const { return QString::fromUtf8(what()); }
};

// Runs one model turn as one streaming POST to "<base>/chat/completions" and feeds the text
// and tool calls into the channel line by line as the server sends them (each event is taken
// in before the next line is read). Keeps nothing between calls.
//
// respond() blocks its worker thread; the channel's cancellation closes the connection.
// Throws: the HTTP client's error for transport failures (unchanged), ModelServerError
// "<host> returned <status>: <start of the body>" for any status but 200 (an answer that is
// not HTTP at all is the client's ConnectionLost), GenerationError::GuardrailViolation when the
// server stops with the finish reason "content_filter", std::bad_cast for a model that is not an
// OpenAICompatibleModel.
class OpenAICompatibleExecutor : public Executor {
public:
    struct Configuration {
        friend bool operator==(const Configuration&, const Configuration&) = default;
    };

    explicit OpenAICompatibleExecutor(const Configuration& = {}) {}

    void respond(const GenerationRequest& request, const LanguageModel& model,
                 GenerationChannel& channel) const override;

    // The chat messages for a transcript: one per entry of the five kinds, in order.
    static QJsonArray messages(const Transcript& transcript);
    // The whole request body.
    static QJsonObject body(const GenerationRequest& request, const OpenAICompatibleModel& model);
    // The base URL with the path component "chat/completions" appended.
    static QUrl endpoint(const QUrl& baseURL);

private:
    static QString text(const QList<Transcript::Segment>& segments);
};
