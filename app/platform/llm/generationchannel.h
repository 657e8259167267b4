#pragma once

#include <QString>

// One piece of a model turn, as an executor streams it.
struct GenerationEvent {
    enum class Kind {
        Response,  // appends `text` to the answer
        ToolCalls, // appends `text` to the arguments of the call `toolCallId` (`toolName`)
    };
    Kind kind = Kind::Response;
    QString text;
    QString toolCallId;
    QString toolName;
    int tokenCount = 1;

    static GenerationEvent response(QString text)
    {
        return {Kind::Response, std::move(text), {}, {}, 1};
    }
    static GenerationEvent toolCall(QString id, QString name, QString argumentsPiece)
    {
        return {Kind::ToolCalls, std::move(argumentsPiece), std::move(id), std::move(name), 1};
    }
    friend bool operator==(const GenerationEvent&, const GenerationEvent&) = default;
};

// Where an executor sends the pieces of one turn. send() returns once the session has taken
// the piece in (snapshots delivered), so pieces are handled strictly in order. Called on the
// executor's thread, which is the thread that asked for the response.
class GenerationChannel {
public:
    virtual ~GenerationChannel() = default;
    virtual void send(const GenerationEvent& event) = 0;
    // True once the consumer has let go; the executor stops reading and returns or throws.
    virtual bool isCanceled() const = 0;
};
