#include "platform/llm/session.h"

#include "platform/llm/executor.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/partialjson.h"

#include <QHash>
#include <QJsonDocument>
#include <future>
#include <vector>

namespace {

// Collects one turn: the answer text and the tool calls, in the order their first piece came.
class TurnChannel : public GenerationChannel {
public:
    TurnChannel(const std::function<void(const QString&)>& onText, const CancelCheck& isCanceled)
        : m_onText(onText), m_isCanceled(isCanceled)
    {
    }

    void send(const GenerationEvent& event) override
    {
        if (event.kind == GenerationEvent::Kind::Response) {
            m_text += event.text;
            if (m_onText)
                m_onText(m_text);
            return;
        }
        auto found = m_callIndex.constFind(event.toolCallId);
        if (found == m_callIndex.constEnd()) {
            found = m_callIndex.insert(event.toolCallId, m_calls.size());
            m_calls.append({event.toolCallId, event.toolName, {}});
        }
        m_calls[*found].arguments += event.text;
    }

    bool isCanceled() const override { return ::isCanceled(m_isCanceled); }

    struct Call {
        QString id;
        QString name;
        QString arguments;
    };
    QString m_text;
    QList<Call> m_calls;

private:
    const std::function<void(const QString&)>& m_onText;
    const CancelCheck& m_isCanceled;
    QHash<QString, qsizetype> m_callIndex;
};

QString unknownToolText(const QString& name, const QList<std::shared_ptr<const Tool>>& tools)
{
    QStringList names;
    for (const auto& tool : tools)
        names.append(tool->name());
    QString text = QStringLiteral("Error: there is no tool named \"%1\".").arg(name);
    text += names.isEmpty() ? QStringLiteral(" No tools are available.")
                            : QStringLiteral(" The tools are: %1.").arg(names.join(", "));
    return text;
}

} // namespace

Session::Session(std::shared_ptr<const LanguageModel> model,
                 QList<std::shared_ptr<const Tool>> tools, const QString& instructions)
    : m_model(std::move(model)), m_tools(std::move(tools))
{
    if (!instructions.isEmpty() || !m_tools.isEmpty())
        m_transcript.append(Transcript::Entry::instructions(instructions, toolDefinitions()));
}

QList<Transcript::ToolDefinition> Session::toolDefinitions() const
{
    QList<Transcript::ToolDefinition> definitions;
    for (const auto& tool : m_tools)
        definitions.append({tool->name(), tool->description(), tool->parameters()});
    return definitions;
}

QString Session::streamResponse(const QString& prompt, const GenerationOptions& options,
                                const TextSnapshot& onSnapshot, const CancelCheck& isCanceled)
{
    const QString text = respond(Transcript::Entry::prompt({Transcript::Segment::fromText(prompt)}),
                                 std::nullopt, options, onSnapshot, isCanceled);
    m_transcript.append(Transcript::Entry::response({Transcript::Segment::fromText(text)}));
    return text;
}

GeneratedContent Session::streamResponse(const QString& prompt, const GenerationSchema& schema,
                                         bool includeSchemaInPrompt,
                                         const GenerationOptions& options,
                                         const ContentSnapshot& onSnapshot,
                                         const CancelCheck& isCanceled)
{
    QList<Transcript::Segment> segments{Transcript::Segment::fromText(prompt)};
    if (includeSchemaInPrompt) {
        segments.append(Transcript::Segment::fromText(
            QStringLiteral("Answer with one JSON object that follows this JSON schema:\n") +
            QString::fromUtf8(QJsonDocument(schema.json()).toJson(QJsonDocument::Compact))));
    }
    std::optional<QJsonValue> shown;
    auto onText = [&](const QString& json) {
        const PartialJson::Result read = PartialJson::parse(json.toUtf8());
        if (!read.value || read.value == shown)
            return;
        shown = read.value;
        if (onSnapshot)
            onSnapshot(GeneratedContent(*read.value, false));
    };
    const QString json =
        respond(Transcript::Entry::prompt(segments, schema), schema, options, onText, isCanceled);
    const PartialJson::Result whole = PartialJson::parse(json.toUtf8(), true);
    if (!whole.isComplete)
        throw GenerationError(GenerationError::Kind::DecodingFailure);
    const GeneratedContent content(*whole.value, true);
    if (whole.value != shown && onSnapshot)
        onSnapshot(content);
    m_transcript.append(Transcript::Entry::response({Transcript::Segment::fromStructure(content)}));
    return content;
}

void Session::prewarm()
{
    m_model->executor()->prewarm(*m_model, m_transcript);
}

QString Session::respond(Transcript::Entry prompt, const std::optional<GenerationSchema>& schema,
                         const GenerationOptions& options,
                         const std::function<void(const QString&)>& onText,
                         const CancelCheck& isCanceled)
{
    m_transcript.append(std::move(prompt));
    const bool toolCalling =
        m_model->capabilities().contains(LanguageModel::Capability::ToolCalling);
    for (int round = 0;; ++round) {
        GenerationRequest request{
            m_transcript, toolCalling ? toolDefinitions() : QList<Transcript::ToolDefinition>{},
            schema, options};
        Turn turn = runTurn(request, onText, isCanceled);
        if (::isCanceled(isCanceled))
            throw GenerationError(GenerationError::Kind::Cancelled);
        if (turn.calls.isEmpty())
            return turn.text;
        if (round == maximumToolRounds)
            throw GenerationError(GenerationError::Kind::ExceededToolRounds);
        // Text the model wrote before asking for tools stays in the conversation.
        if (!turn.text.isEmpty())
            m_transcript.append(
                Transcript::Entry::response({Transcript::Segment::fromText(turn.text)}));
        m_transcript.append(Transcript::Entry::toolCalls(turn.calls));
        for (Transcript::Entry& output : runTools(turn.calls, isCanceled))
            m_transcript.append(std::move(output));
        if (::isCanceled(isCanceled))
            throw GenerationError(GenerationError::Kind::Cancelled);
    }
}

Session::Turn Session::runTurn(const GenerationRequest& request,
                               const std::function<void(const QString&)>& onText,
                               const CancelCheck& isCanceled) const
{
    TurnChannel channel(onText, isCanceled);
    m_model->executor()->respond(request, *m_model, channel);
    Turn turn{channel.m_text, {}};
    for (const TurnChannel::Call& call : channel.m_calls)
        turn.calls.append({call.id, call.name, GeneratedContent::fromJson(call.arguments)});
    return turn;
}

QList<Transcript::Entry> Session::runTools(const QList<Transcript::ToolCall>& calls,
                                           const CancelCheck& isCanceled) const
{
    std::vector<std::future<QString>> running;
    for (const Transcript::ToolCall& call : calls) {
        std::shared_ptr<const Tool> tool;
        for (const auto& candidate : m_tools) {
            if (candidate->name() == call.toolName)
                tool = candidate;
        }
        if (!tool) {
            std::promise<QString> answer;
            answer.set_value(unknownToolText(call.toolName, m_tools));
            running.push_back(answer.get_future());
            continue;
        }
        running.push_back(
            std::async(std::launch::async, [tool, arguments = call.arguments, &isCanceled] {
                return tool->call(arguments, isCanceled);
            }));
    }
    // Every call ends before any failure is thrown: none may outlive the session's response.
    QList<Transcript::Entry> outputs;
    std::exception_ptr failure;
    for (qsizetype i = 0; i < calls.size(); ++i) {
        try {
            outputs.append(
                Transcript::Entry::toolOutput(calls[i].id, calls[i].toolName, running[i].get()));
        } catch (...) {
            if (!failure)
                failure = std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
    return outputs;
}
