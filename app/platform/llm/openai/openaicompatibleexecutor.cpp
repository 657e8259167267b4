#include "platform/llm/openai/openaicompatibleexecutor.h"

#include "platform/http.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/openai/openaicompatiblemodel.h"

#include <QHash>
#include <QJsonDocument>
#include <QTextBoundaryFinder>
#include <QUuid>
#include <cmath>

namespace {

using Entry = Transcript::Entry;

// User-perceived characters of a text.
qsizetype graphemeCount(const QString& text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

QString firstGraphemes(const QString& text, qsizetype count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype next = finder.toNextBoundary();
        if (next < 0)
            break;
        end = next;
    }
    return text.left(end);
}

// The part of one "data:" line that is not the prefix, trimmed of spaces and tabs.
QByteArray payloadOf(const QByteArray& line)
{
    qsizetype from = 5, to = line.size();
    while (from < to && (line[from] == ' ' || line[from] == '\t'))
        ++from;
    while (to > from && (line[to - 1] == ' ' || line[to - 1] == '\t'))
        --to;
    return line.sliced(from, to - from);
}

bool isArrayOfObjects(const QJsonValue& value)
{
    if (!value.isArray())
        return false;
    for (const QJsonValue& element : value.toArray()) {
        if (!element.isObject())
            return false;
    }
    return true;
}

std::optional<int> integer(const QJsonValue& value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (number != std::floor(number) || std::fabs(number) > 2147483647.0)
        return std::nullopt;
    return static_cast<int>(number);
}

struct CallHead {
    QString id;
    QString name;
};

// One line of the stream. Returns false at "[DONE]".
bool handleLine(const QByteArray& line, QHash<int, CallHead>& calls, GenerationChannel& channel)
{
    if (!line.startsWith("data:"))
        return true;
    const QByteArray payload = payloadOf(line);
    if (payload == "[DONE]")
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(payload);
    if (!document.isObject())
        return true;
    const QJsonValue choices = document.object().value(QStringLiteral("choices"));
    if (!isArrayOfObjects(choices) || choices.toArray().isEmpty())
        return true;
    const QJsonObject choice = choices.toArray().first().toObject();
    const QJsonValue delta = choice.value(QStringLiteral("delta"));
    if (!delta.isObject())
        return true;

    const QJsonValue content = delta.toObject().value(QStringLiteral("content"));
    if (content.isString() && !content.toString().isEmpty())
        channel.send(GenerationEvent::response(content.toString()));

    const QJsonValue toolCalls = delta.toObject().value(QStringLiteral("tool_calls"));
    if (isArrayOfObjects(toolCalls)) {
        for (const QJsonValue& element : toolCalls.toArray()) {
            const QJsonObject call = element.toObject();
            const int index = integer(call.value(QStringLiteral("index"))).value_or(0);
            const QJsonValue function = call.value(QStringLiteral("function"));
            const QJsonObject functionObject =
                function.isObject() ? function.toObject() : QJsonObject();
            auto head = calls.constFind(index);
            if (head == calls.constEnd()) {
                const QJsonValue id = call.value(QStringLiteral("id"));
                const QJsonValue name = functionObject.value(QStringLiteral("name"));
                head = calls.insert(
                    index,
                    {id.isString() ? id.toString()
                                   : QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(),
                     name.isString() ? name.toString() : QString()});
            }
            const QJsonValue arguments = functionObject.value(QStringLiteral("arguments"));
            channel.send(GenerationEvent::toolCall(
                head->id, head->name, arguments.isString() ? arguments.toString() : QString()));
        }
    }

    // The server's safety filter stopped the answer.
    if (choice.value(QStringLiteral("finish_reason")).toString() == QLatin1String("content_filter"))
        throw GenerationError(GenerationError::Kind::GuardrailViolation);
    return true;
}

QJsonObject schemaJson(const GenerationSchema& schema)
{
    // Encoded and read back, so that what is embedded is exactly what a server would parse.
    const QByteArray encoded = QJsonDocument(schema.json()).toJson(QJsonDocument::Compact);
    QJsonParseError error;
    const QJsonDocument decoded = QJsonDocument::fromJson(encoded, &error);
    if (error.error != QJsonParseError::NoError || !decoded.isObject())
        throw ModelServerError(QStringLiteral("Could not encode a schema: ") + error.errorString());
    return decoded.object();
}

} // namespace

QString OpenAICompatibleExecutor::text(const QList<Transcript::Segment>& segments)
{
    QStringList pieces;
    for (const Transcript::Segment& segment : segments) {
        switch (segment.kind) {
        case Transcript::Segment::Kind::Text:
            pieces.append(segment.text);
            break;
        case Transcript::Segment::Kind::Structure:
            pieces.append(segment.structure.jsonString());
            break;
        case Transcript::Segment::Kind::Other:
            break;
        }
    }
    return pieces.join(QLatin1Char('\n'));
}

QJsonArray OpenAICompatibleExecutor::messages(const Transcript& transcript)
{
    QJsonArray messages;
    for (const Entry& entry : transcript) {
        switch (entry.kind) {
        case Entry::Kind::Instructions:
            messages.append(QJsonObject{{"role", "system"}, {"content", text(entry.segments)}});
            break;
        case Entry::Kind::Prompt:
            messages.append(QJsonObject{{"role", "user"}, {"content", text(entry.segments)}});
            break;
        case Entry::Kind::ToolCalls: {
            QJsonArray calls;
            for (const Transcript::ToolCall& call : entry.calls) {
                calls.append(QJsonObject{
                    {"id", call.id},
                    {"type", "function"},
                    {"function", QJsonObject{{"name", call.toolName},
                                             {"arguments", call.arguments.jsonString()}}}});
            }
            messages.append(QJsonObject{
                {"role", "assistant"}, {"content", QJsonValue::Null}, {"tool_calls", calls}});
            break;
        }
        case Entry::Kind::ToolOutput:
            messages.append(QJsonObject{
                {"role", "tool"}, {"tool_call_id", entry.id}, {"content", text(entry.segments)}});
            break;
        case Entry::Kind::Response:
            messages.append(QJsonObject{{"role", "assistant"}, {"content", text(entry.segments)}});
            break;
        case Entry::Kind::Other:
            break;
        }
    }
    return messages;
}

QJsonObject OpenAICompatibleExecutor::body(const GenerationRequest& request,
                                           const OpenAICompatibleModel& model)
{
    QJsonObject body{
        {"model", model.model}, {"stream", true}, {"messages", messages(request.transcript)}};
    if (!request.enabledToolDefinitions.isEmpty()) {
        QJsonArray tools;
        for (const Transcript::ToolDefinition& tool : request.enabledToolDefinitions) {
            tools.append(QJsonObject{
                {"type", "function"},
                {"function", QJsonObject{{"name", tool.name},
                                         {"description", tool.description},
                                         {"parameters", schemaJson(tool.parameters)}}}});
        }
        body.insert("tools", tools);
    }
    if (request.schema) {
        body.insert(
            "response_format",
            QJsonObject{{"type", "json_schema"},
                        {"json_schema", QJsonObject{{"name", "response"},
                                                    {"schema", schemaJson(*request.schema)}}}});
    }
    if (request.generationOptions.temperature)
        body.insert("temperature", *request.generationOptions.temperature);
    if (request.generationOptions.maximumResponseTokens)
        body.insert("max_tokens", *request.generationOptions.maximumResponseTokens);
    return body;
}

QUrl OpenAICompatibleExecutor::endpoint(const QUrl& baseURL)
{
    QUrl url = baseURL;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("chat/completions"));
    return url;
}

void OpenAICompatibleExecutor::respond(const GenerationRequest& request,
                                       const LanguageModel& languageModel,
                                       GenerationChannel& channel) const
{
    const auto& model = dynamic_cast<const OpenAICompatibleModel&>(languageModel);

    HttpRequest http;
    http.url = endpoint(model.baseURL);
    http.method = "POST";
    http.timeout = 60;
    http.headers.append({QByteArray("Content-Type"), QByteArray("application/json")});
    if (model.apiKey)
        http.headers.append({QByteArray("Authorization"), "Bearer " + model.apiKey->toUtf8()});
    http.body = QJsonDocument(body(request, model)).toJson(QJsonDocument::Compact);

    QHash<int, CallHead> calls;
    QString errorBody;
    const auto onLine = [&](const HttpResponse& head, const QByteArray& line) {
        if (head.status != 200) {
            errorBody += QString::fromUtf8(line);
            return graphemeCount(errorBody) < 401;
        }
        return handleLine(line, calls, channel);
    };
    const int status =
        Http::shared().lines(http, onLine, [&] { return channel.isCanceled(); }).status;
    if (status == 200)
        return;
    const QString host =
        model.baseURL.host().isEmpty() ? QStringLiteral("model") : model.baseURL.host();
    throw ModelServerError(host + QStringLiteral(" returned ") + QString::number(status) +
                           QStringLiteral(": ") + firstGraphemes(errorBody, 300));
}
