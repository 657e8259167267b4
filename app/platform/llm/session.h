#pragma once

#include "platform/llm/cancelcheck.h"
#include "platform/llm/generatedcontent.h"
#include "platform/llm/generationoptions.h"
#include "platform/llm/generationrequest.h"
#include "platform/llm/generationschema.h"
#include "platform/llm/languagemodel.h"
#include "platform/llm/tool.h"
#include "platform/llm/transcript.h"

#include <QList>
#include <QString>
#include <functional>
#include <memory>

// A conversation with a language model: instructions, tools and the transcript so far.
//
// A response runs the tool loop: every model turn goes to the model's executor with the whole
// transcript; a turn that asked for tools has them run (all calls of a turn at once, each on
// its own thread), their outputs appended, and the model asked again; the first turn without
// tool calls is the answer. A call of a tool the session does not have gets an error text as
// its output. After maximumToolRounds rounds of tools, a turn that asks for more ends the
// response with GenerationError::ExceededToolRounds.
//
// Responses block the calling (worker) thread and deliver snapshots on it, in order, each
// the whole answer so far. When `isCanceled` turns true the HTTP read, the running tools and
// the loop stop and the call throws (GenerationError::Cancelled, or the transport's
// cancellation error). Failures of the executor and of tools are thrown as they come.
// One response at a time per session; a session is not shared between threads.
class Session {
public:
    static constexpr int maximumToolRounds = 8;

    using TextSnapshot = std::function<void(const QString& textSoFar)>;
    using ContentSnapshot = std::function<void(const GeneratedContent& partial)>;

    Session(std::shared_ptr<const LanguageModel> model, QList<std::shared_ptr<const Tool>> tools,
            const QString& instructions);

    const Transcript& transcript() const { return m_transcript; }
    const LanguageModel& model() const { return *m_model; }

    // A plain-text answer to `prompt`; returns the final text.
    QString streamResponse(const QString& prompt, const GenerationOptions& options,
                           const TextSnapshot& onSnapshot, const CancelCheck& isCanceled = {});

    // A structured answer in the shape of `schema`. Snapshots carry the content read so far
    // from the JSON received (see PartialJson); the final content is whole, or the call
    // throws GenerationError::DecodingFailure. With `includeSchemaInPrompt` the schema is
    // also spelled out in the prompt, for servers that do not enforce it.
    GeneratedContent streamResponse(const QString& prompt, const GenerationSchema& schema,
                                    bool includeSchemaInPrompt, const GenerationOptions& options,
                                    const ContentSnapshot& onSnapshot,
                                    const CancelCheck& isCanceled = {});

    // Lets the model load ahead of the first response.
    void prewarm();

private:
    struct Turn {
        QString text;
        QList<Transcript::ToolCall> calls;
    };

    // The loop; `onText` gets the turn's text so far after every piece of it.
    QString respond(Transcript::Entry prompt, const std::optional<GenerationSchema>& schema,
                    const GenerationOptions& options,
                    const std::function<void(const QString&)>& onText,
                    const CancelCheck& isCanceled);
    Turn runTurn(const GenerationRequest& request,
                 const std::function<void(const QString&)>& onText,
                 const CancelCheck& isCanceled) const;
    QList<Transcript::Entry> runTools(const QList<Transcript::ToolCall>& calls,
                                      const CancelCheck& isCanceled) const;
    QList<Transcript::ToolDefinition> toolDefinitions() const;

    std::shared_ptr<const LanguageModel> m_model;
    QList<std::shared_ptr<const Tool>> m_tools;
    Transcript m_transcript;
};
