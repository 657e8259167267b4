#include "chats/transcriptparser.h"

#include <simdjson.h>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

namespace TranscriptParser {

namespace {

using namespace std::string_view_literals;

// Every line that can contribute holds one of these, written without blanks. Testing the
// raw bytes first skips tool output, token counts and snapshots without parsing them.
constexpr std::array<std::string_view, 6> kMarkers = {
    R"("role":"user")"sv,    R"("role":"assistant")"sv,    R"("type":"session_meta")"sv,
    R"("type":"session")"sv, R"("type":"custom-title")"sv, R"("type":"summary")"sv,
};

// Text the agents inject into the conversation; tested in this order.
const std::array<QString, 12>& noisePrefixes()
{
    static const std::array<QString, 12> prefixes = {
        QStringLiteral("<environment_context"),
        QStringLiteral("<user_instructions"),
        QStringLiteral("<system-reminder"),
        QStringLiteral("<command-"),
        QStringLiteral("<local-command"),
        QStringLiteral("# AGENTS.md"),
        QStringLiteral("<permissions"),
        QStringLiteral("<turn_aborted"),
        QStringLiteral("Caveat: The messages below"),
        QStringLiteral("[Request interrupted"),
        QStringLiteral("<task-notification"),
        QStringLiteral("<user_shell_command"),
    };
    return prefixes;
}

bool hasMarker(std::string_view line)
{
    for (std::string_view marker : kMarkers) {
        if (memmem(line.data(), line.size(), marker.data(), marker.size()))
            return true;
    }
    return false;
}

// One parser per thread, reused from line to line (its buffers grow to the longest line), and
// a padded copy of the line: simdjson reads a little past the end of its input.
struct ThreadParser {
    simdjson::dom::parser parser;
    std::vector<char> padded;

    simdjson::error_code parse(std::string_view line, simdjson::dom::element& root)
    {
        const size_t needed = line.size() + simdjson::SIMDJSON_PADDING;
        if (padded.size() < needed)
            padded.resize(needed);
        std::memcpy(padded.data(), line.data(), line.size());
        std::memset(padded.data() + line.size(), 0, simdjson::SIMDJSON_PADDING);
        return parser.parse(padded.data(), line.size(), false).get(root);
    }
};

ThreadParser& threadParser()
{
    thread_local ThreadParser parser;
    return parser;
}

QString qstring(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::optional<QString> stringField(simdjson::dom::object object, std::string_view key)
{
    std::string_view value;
    if (object[key].get_string().get(value))
        return std::nullopt;
    return qstring(value);
}

bool isWhiteSpace(char32_t c)
{
    return u_isUWhiteSpace(static_cast<UChar32>(c));
}

QString trimmed(const QString& text)
{
    if (text.isEmpty())
        return text;
    const QChar first = text.front();
    const QChar last = text.back();
    if (!first.isSurrogate() && !last.isSurrogate() && !isWhiteSpace(first.unicode()) &&
        !isWhiteSpace(last.unicode()))
        return text;
    const QList<uint> codePoints = text.toUcs4();
    qsizetype begin = 0;
    qsizetype end = codePoints.size();
    while (begin < end && isWhiteSpace(codePoints[begin]))
        ++begin;
    while (end > begin && isWhiteSpace(codePoints[end - 1]))
        --end;
    if (begin == 0 && end == codePoints.size())
        return text;
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(codePoints.constData()) + begin,
                             end - begin);
}

// The pieces between white-space characters, empty ones dropped, joined by single blanks.
QString collapsedWhiteSpace(const QString& text)
{
    QString result;
    result.reserve(text.size());
    bool pendingBlank = false;
    for (char32_t c : text.toUcs4()) {
        if (isWhiteSpace(c)) {
            pendingBlank = !result.isEmpty();
            continue;
        }
        if (pendingBlank)
            result += QLatin1Char(' ');
        pendingBlank = false;
        const char32_t one[1] = {c};
        result += QString::fromUcs4(one, 1);
    }
    return result;
}

// texts(content): a string is one text; an array of objects gives the text of its text
// elements; anything else gives nothing.
QList<QString> texts(simdjson::simdjson_result<simdjson::dom::element> content)
{
    QList<QString> result;
    simdjson::dom::element element;
    if (content.get(element))
        return result;
    if (element.is_string()) {
        result.append(qstring(element.get_string().value_unsafe()));
        return result;
    }
    simdjson::dom::array array;
    if (element.get_array().get(array))
        return result;
    for (simdjson::dom::element item : array) {
        if (!item.is_object())
            return {};
    }
    for (simdjson::dom::element item : array) {
        const simdjson::dom::object object = item.get_object().value_unsafe();
        std::string_view type;
        if (object["type"].get_string().get(type))
            continue;
        if (type != "text"sv && type != "input_text"sv && type != "output_text"sv)
            continue;
        std::string_view text;
        if (!object["text"].get_string().get(text))
            result.append(qstring(text));
    }
    return result;
}

struct Record {
    QString role;
    QList<QString> texts;
};

std::optional<Record> claudeCode(simdjson::dom::object root, FileMeta& meta)
{
    std::string_view type;
    if (root["type"].get_string().get(type))
        return std::nullopt;
    if (type == "custom-title"sv) {
        if (std::optional<QString> title = stringField(root, "customTitle")) {
            meta.title = std::move(title);
            meta.titleLocked = true;
        }
        return std::nullopt;
    }
    if (type == "summary"sv) {
        if (meta.titleLocked)
            return std::nullopt;
        if (std::optional<QString> summary = stringField(root, "summary")) {
            meta.title = std::move(summary);
            meta.titleLocked = true;
        }
        return std::nullopt;
    }
    if (type != "user"sv && type != "assistant"sv)
        return std::nullopt;
    if (!meta.session)
        meta.session = stringField(root, "sessionId");
    if (!meta.cwd)
        meta.cwd = stringField(root, "cwd");
    simdjson::dom::object message;
    std::string_view role;
    if (root["message"].get_object().get(message) || message["role"].get_string().get(role))
        return std::nullopt;
    return Record{qstring(role), texts(message["content"])};
}

std::optional<Record> codex(simdjson::dom::object root, FileMeta& meta)
{
    simdjson::dom::object payload;
    const bool hasPayload = !root["payload"].get_object().get(payload);
    std::string_view type;
    if (root["type"].get_string().get(type))
        return std::nullopt;
    if (type == "session_meta"sv) {
        if (!hasPayload)
            return std::nullopt;
        if (std::optional<QString> id = stringField(payload, "id"))
            meta.session = std::move(id);
        if (std::optional<QString> cwd = stringField(payload, "cwd"))
            meta.cwd = std::move(cwd);
        return std::nullopt;
    }
    if (type != "response_item"sv || !hasPayload)
        return std::nullopt;
    std::string_view payloadType;
    std::string_view role;
    if (payload["type"].get_string().get(payloadType) || payloadType != "message"sv)
        return std::nullopt;
    if (payload["role"].get_string().get(role) || (role != "user"sv && role != "assistant"sv))
        return std::nullopt;
    return Record{qstring(role), texts(payload["content"])};
}

std::optional<Record> piShape(simdjson::dom::object root, FileMeta& meta)
{
    std::string_view type;
    if (!root["type"].get_string().get(type) && type == "session"sv) {
        if (std::optional<QString> id = stringField(root, "id"))
            meta.session = std::move(id);
        if (std::optional<QString> cwd = stringField(root, "cwd"))
            meta.cwd = std::move(cwd);
        return std::nullopt;
    }
    simdjson::dom::object message;
    std::string_view role;
    if (root["message"].get_object().get(message) || message["role"].get_string().get(role))
        return std::nullopt;
    if (role != "user"sv && role != "assistant"sv)
        return std::nullopt;
    return Record{qstring(role), texts(message["content"])};
}

} // namespace

QString firstCharacters(const QString& text, qsizetype count)
{
    // A grapheme cluster holds at least one UTF-16 unit.
    if (text.size() <= count)
        return text;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status))
        return text.left(count);
    const icu::UnicodeString alias(false, reinterpret_cast<const UChar*>(text.utf16()),
                                   static_cast<int32_t>(text.size()));
    breaks->setText(alias);
    int32_t end = breaks->first();
    for (qsizetype n = 0; n < count; ++n) {
        const int32_t next = breaks->next();
        if (next == icu::BreakIterator::DONE)
            return text;
        end = next;
    }
    return text.left(end);
}

QList<Message> messages(std::string_view line, const QString& harness, FileMeta& meta)
{
    if (static_cast<qsizetype>(line.size()) >= maxLineBytes || !hasMarker(line))
        return {};
    simdjson::dom::element root;
    if (threadParser().parse(line, root))
        return {};
    simdjson::dom::object object;
    if (root.get_object().get(object))
        return {};

    QString timestamp;
    std::string_view ts;
    if (!object["timestamp"].get_string().get(ts) && !ts.empty()) {
        timestamp = qstring(ts);
        if (!meta.started)
            meta.started = timestamp;
        meta.updated = timestamp;
    }

    std::optional<Record> record;
    if (harness == QLatin1String("Claude Code"))
        record = claudeCode(object, meta);
    else if (harness == QLatin1String("Codex"))
        record = codex(object, meta);
    else
        record = piShape(object, meta);
    if (!record)
        return {};

    QList<Message> result;
    for (const QString& raw : record->texts) {
        QString text = trimmed(raw);
        if (text.isEmpty())
            continue;
        bool noise = false;
        for (const QString& prefix : noisePrefixes()) {
            if (text.startsWith(prefix)) {
                noise = true;
                break;
            }
        }
        if (noise)
            continue;
        if (record->role == QLatin1String("user") && !meta.title &&
            !text.startsWith(QLatin1Char('<')))
            meta.title = firstCharacters(collapsedWhiteSpace(text), maxTitleCharacters);
        result.append(Message{record->role, firstCharacters(text, maxTextCharacters), timestamp});
    }
    return result;
}

} // namespace TranscriptParser
