#include "platform/llm/transcript.h"

using Entry = Transcript::Entry;

Entry Entry::instructions(const QString& text, QList<ToolDefinition> tools)
{
    Entry entry;
    entry.kind = Kind::Instructions;
    entry.segments = {Segment::fromText(text)};
    entry.toolDefinitions = std::move(tools);
    return entry;
}

Entry Entry::prompt(QList<Segment> segments, std::optional<GenerationSchema> responseFormat)
{
    Entry entry;
    entry.kind = Kind::Prompt;
    entry.segments = std::move(segments);
    entry.responseFormat = std::move(responseFormat);
    return entry;
}

Entry Entry::toolCalls(QList<ToolCall> calls)
{
    Entry entry;
    entry.kind = Kind::ToolCalls;
    entry.calls = std::move(calls);
    return entry;
}

Entry Entry::toolOutput(const QString& id, const QString& toolName, const QString& text)
{
    Entry entry;
    entry.kind = Kind::ToolOutput;
    entry.id = id;
    entry.toolName = toolName;
    entry.segments = {Segment::fromText(text)};
    return entry;
}

Entry Entry::response(QList<Segment> segments)
{
    Entry entry;
    entry.kind = Kind::Response;
    entry.segments = std::move(segments);
    return entry;
}
