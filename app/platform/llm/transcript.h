#pragma once

#include "platform/llm/generatedcontent.h"
#include "platform/llm/generationschema.h"

#include <QList>
#include <QString>
#include <optional>

// The conversation of a session so far, in order: the instructions, then per request the
// prompt, any rounds of tool calls with their outputs, and the response. Executors get it
// whole on every turn and keep nothing between turns. Plain value type.
class Transcript {
public:
    // One piece of an entry's content.
    struct Segment {
        enum class Kind {
            Text,      // `text`
            Structure, // `structure`: generated content, sent as its JSON text
            Other,     // a kind this program does not send to servers (contributes nothing)
        };
        Kind kind = Kind::Text;
        QString text;
        GeneratedContent structure;

        static Segment fromText(QString text) { return {Kind::Text, std::move(text), {}}; }
        static Segment fromStructure(GeneratedContent content)
        {
            return {Kind::Structure, {}, std::move(content)};
        }
        friend bool operator==(const Segment&, const Segment&) = default;
    };

    // A tool the model may call, as offered to it.
    struct ToolDefinition {
        QString name;
        QString description;
        GenerationSchema parameters;
        friend bool operator==(const ToolDefinition&, const ToolDefinition&) = default;
    };

    // One call the model asked for. `arguments` holds the JSON text exactly as streamed.
    struct ToolCall {
        QString id;
        QString toolName;
        GeneratedContent arguments;
        friend bool operator==(const ToolCall&, const ToolCall&) = default;
    };

    struct Entry {
        enum class Kind {
            Instructions, // segments; toolDefinitions offered with them
            Prompt,       // segments; responseFormat when a schema was asked for
            ToolCalls,    // calls
            ToolOutput,   // id (the call's id), toolName, segments
            Response,     // segments
            Other,        // a kind servers are not told about
        };
        Kind kind = Kind::Prompt;
        QList<Segment> segments;
        QList<ToolCall> calls;
        QString id;
        QString toolName;
        QList<ToolDefinition> toolDefinitions;
        std::optional<GenerationSchema> responseFormat;

        static Entry instructions(const QString& text, QList<ToolDefinition> tools = {});
        static Entry prompt(QList<Segment> segments,
                            std::optional<GenerationSchema> responseFormat = std::nullopt);
        static Entry toolCalls(QList<ToolCall> calls);
        static Entry toolOutput(const QString& id, const QString& toolName, const QString& text);
        static Entry response(QList<Segment> segments);
        friend bool operator==(const Entry&, const Entry&) = default;
    };

    Transcript() = default;
    explicit Transcript(QList<Entry> entries) : m_entries(std::move(entries)) {}

    const QList<Entry>& entries() const { return m_entries; }
    void append(Entry entry) { m_entries.append(std::move(entry)); }
    qsizetype size() const { return m_entries.size(); }
    const Entry& operator[](qsizetype i) const { return m_entries[i]; }
    QList<Entry>::const_iterator begin() const { return m_entries.begin(); }
    QList<Entry>::const_iterator end() const { return m_entries.end(); }

    friend bool operator==(const Transcript&, const Transcript&) = default;

private:
    QList<Entry> m_entries;
};
