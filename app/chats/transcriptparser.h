#pragma once

#include <QList>
#include <QString>
#include <optional>
#include <string_view>

// The facts about one session file that the index keeps beside its messages. The caller owns
// it and hands the same object to every line of the file, in order; the parser fills it in.
struct FileMeta {
    std::optional<QString> session;
    std::optional<QString> cwd;
    std::optional<QString> title;
    bool titleLocked = false;       // once true, a summary record no longer replaces the title
    std::optional<QString> started; // first non-empty timestamp seen
    std::optional<QString> updated; // last non-empty timestamp seen

    friend bool operator==(const FileMeta&, const FileMeta&) = default;
};

// Turns one line of a coding agent's transcript (JSON lines) into the conversation messages
// worth indexing. Pure and thread-safe: it reads no files, and each thread parses with its
// own parser.
namespace TranscriptParser {

struct Message {
    QString role;      // as the transcript names the speaker, normally "user" or "assistant"
    QString text;      // trimmed, at most 20,000 user-perceived characters
    QString timestamp; // the line's "timestamp" as written, or empty

    friend bool operator==(const Message&, const Message&) = default;
};

// Lines of this many bytes or more yield nothing.
constexpr qsizetype maxLineBytes = 4 * 1024 * 1024;
constexpr qsizetype maxTextCharacters = 20000;
constexpr qsizetype maxTitleCharacters = 90;

// The messages of one line (without its newline), in order; often none. `harness` is one of
// "Claude Code", "Codex", "Pi", "Zenith" (any name other than the first two reads the Pi
// record shape). Bad input of any kind (no marker, invalid JSON or UTF-8, a top level that is
// not an object, missing or mistyped fields) yields nothing; `meta` keeps what the line set
// before the fault was found.
QList<Message> messages(std::string_view line, const QString& harness, FileMeta& meta);

// The first `count` grapheme clusters of `text` (all of it when it has no more).
QString firstCharacters(const QString& text, qsizetype count);

} // namespace TranscriptParser
