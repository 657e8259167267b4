#include "transcriptparser.h"

#include <gtest/gtest.h>
#include <string>

using TranscriptParser::Message;

namespace {

const QString kClaude = QStringLiteral("Claude Code");
const QString kCodex = QStringLiteral("Codex");
const QString kPi = QStringLiteral("Pi");
const QString kZenith = QStringLiteral("Zenith");

QList<Message> parse(const std::string& line, const QString& harness, FileMeta& meta)
{
    return TranscriptParser::messages(line, harness, meta);
}

QList<Message> parse(const std::string& line, const QString& harness)
{
    FileMeta meta;
    return parse(line, harness, meta);
}

std::string claudeUser(const std::string& contentJson, const std::string& extra = {})
{
    return R"({"type":"user","sessionId":"s-1","cwd":"/work/app",)" + extra +
           R"("timestamp":"2026-03-01T12:00:00.000Z","message":{"role":"user","content":)" +
           contentJson + "}}";
}

TEST(TranscriptParserTest, ClaudeCodeRecordsGiveTrimmedMessagesAndSessionFacts)
{
    FileMeta meta;
    QList<Message> got = parse(claudeUser(R"("  hello \n")"), kClaude, meta);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0], (Message{QStringLiteral("user"), QStringLiteral("hello"),
                               QStringLiteral("2026-03-01T12:00:00.000Z")}));
    EXPECT_EQ(meta.session, QStringLiteral("s-1"));
    EXPECT_EQ(meta.cwd, QStringLiteral("/work/app"));
    EXPECT_EQ(meta.title, QStringLiteral("hello"));
    EXPECT_FALSE(meta.titleLocked);
    EXPECT_EQ(meta.started, QStringLiteral("2026-03-01T12:00:00.000Z"));

    // The first session id and folder win; the timestamps move on.
    const std::string assistant =
        R"({"type":"assistant","sessionId":"other","cwd":"/elsewhere","timestamp":"2026-03-01T12:05:00Z",)"
        R"("message":{"role":"assistant","content":[{"type":"text","text":"one"},)"
        R"({"type":"tool_use","name":"Bash","input":{}},{"type":"thinking","thinking":"x"},)"
        R"({"type":"text","text":"two"}]}})";
    got = parse(assistant, kClaude, meta);
    ASSERT_EQ(got.size(), 2);
    EXPECT_EQ(got[0].text, QStringLiteral("one"));
    EXPECT_EQ(got[1].text, QStringLiteral("two"));
    EXPECT_EQ(got[1].role, QStringLiteral("assistant"));
    EXPECT_EQ(got[1].timestamp, QStringLiteral("2026-03-01T12:05:00Z"));
    EXPECT_EQ(meta.session, QStringLiteral("s-1"));
    EXPECT_EQ(meta.cwd, QStringLiteral("/work/app"));
    EXPECT_EQ(meta.started, QStringLiteral("2026-03-01T12:00:00.000Z"));
    EXPECT_EQ(meta.updated, QStringLiteral("2026-03-01T12:05:00Z"));

    // Tool results sit in user records but are not text.
    EXPECT_TRUE(
        parse(claudeUser(R"([{"type":"tool_result","content":"big output"}])"), kClaude).isEmpty());
    // Other record types give nothing, even with a role inside.
    EXPECT_TRUE(
        parse(R"({"type":"system","message":{"role":"user","content":"x"}})", kClaude).isEmpty());
}

TEST(TranscriptParserTest, TitlesFromUserTextSummaryAndCustomTitle)
{
    // User text first: it is the title until a summary replaces it; later summaries do not.
    FileMeta meta;
    parse(claudeUser(R"("<local-file>not a title</local-file>")"), kClaude, meta);
    EXPECT_FALSE(meta.title) << "text beginning with < is never the title";
    parse(claudeUser(R"("  Fix   the\tlogin\n\nbug  ")"), kClaude, meta);
    EXPECT_EQ(meta.title, QStringLiteral("Fix the login bug"));
    parse(claudeUser(R"("second question")"), kClaude, meta);
    EXPECT_EQ(meta.title, QStringLiteral("Fix the login bug"));
    parse(R"({"type":"summary","summary":"Login fix"})", kClaude, meta);
    EXPECT_EQ(meta.title, QStringLiteral("Login fix"));
    EXPECT_TRUE(meta.titleLocked);
    parse(R"({"type":"summary","summary":"Later summary"})", kClaude, meta);
    EXPECT_EQ(meta.title, QStringLiteral("Login fix"));
    // A custom title always wins, the latest one last.
    parse(R"({"type":"custom-title","customTitle":"Mine"})", kClaude, meta);
    parse(R"({"type":"custom-title","customTitle":"Mine 2"})", kClaude, meta);
    EXPECT_EQ(meta.title, QStringLiteral("Mine 2"));

    // Summary first: the user text does not replace it.
    FileMeta summaryFirst;
    parse(R"({"type":"summary","summary":"From summary"})", kClaude, summaryFirst);
    parse(claudeUser(R"("user words")"), kClaude, summaryFirst);
    EXPECT_EQ(summaryFirst.title, QStringLiteral("From summary"));

    // 90 user-perceived characters: "é" written as e + combining accent counts once.
    std::string longText;
    for (int i = 0; i < 100; ++i)
        longText += "e\xCC\x81";
    FileMeta capped;
    const QList<Message> got = parse(claudeUser("\"" + longText + "\""), kClaude, capped);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(capped.title->size(), 180);
    EXPECT_EQ(got[0].text.size(), 200) << "under the 20,000 cap the text is whole";
}

TEST(TranscriptParserTest, NoisePrefixesAreDroppedButOtherAngleTextIsKept)
{
    const char* noise[] = {"<environment_context>x",
                           "<user_instructions>",
                           "<system-reminder>",
                           "<command-name>/clear",
                           "<local-command-stdout>",
                           "# AGENTS.md rules",
                           "<permissions>",
                           "<turn_aborted>",
                           "Caveat: The messages below were",
                           "[Request interrupted by user]",
                           "<task-notification>",
                           "<user_shell_command>"};
    for (const char* text : noise) {
        EXPECT_TRUE(parse(claudeUser(std::string("\"  ") + text + "\""), kClaude).isEmpty())
            << text;
    }
    EXPECT_EQ(parse(claudeUser(R"("<b>bold</b>")"), kClaude).size(), 1);
    EXPECT_EQ(parse(claudeUser(R"("# agents.md lower case")"), kClaude).size(), 1);
}

TEST(TranscriptParserTest, LongTextIsCutAtTwentyThousandCharacters)
{
    const std::string text(25000, 'a');
    const QList<Message> got = parse(claudeUser("\"" + text + "\""), kClaude);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0].text.size(), 20000);

    // A surrogate pair is one character: 20,000 of them are 40,000 UTF-16 units.
    std::string emoji;
    for (int i = 0; i < 20005; ++i)
        emoji += "\xF0\x9F\x98\x80";
    const QList<Message> wide = parse(claudeUser("\"" + emoji + "\""), kClaude);
    ASSERT_EQ(wide.size(), 1);
    EXPECT_EQ(wide[0].text.size(), 40000);
}

TEST(TranscriptParserTest, CodexRecords)
{
    FileMeta meta;
    parse(R"({"timestamp":"t1","type":"session_meta","payload":{"id":"c-1","cwd":"/a"}})", kCodex,
          meta);
    parse(R"({"type":"session_meta","payload":{"id":"c-2","cwd":"/b"}})", kCodex, meta);
    EXPECT_EQ(meta.session, QStringLiteral("c-2")) << "a later session_meta overwrites";
    EXPECT_EQ(meta.cwd, QStringLiteral("/b"));
    EXPECT_EQ(meta.started, QStringLiteral("t1"));

    QList<Message> got = parse(
        R"({"timestamp":"t2","type":"response_item","payload":{"type":"message","role":"user",)"
        R"("content":[{"type":"input_text","text":"<environment_context>cwd</environment_context>"},)"
        R"({"type":"input_text","text":"rename the widget"}]}})",
        kCodex, meta);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0], (Message{QStringLiteral("user"), QStringLiteral("rename the widget"),
                               QStringLiteral("t2")}));
    EXPECT_EQ(meta.title, QStringLiteral("rename the widget"));

    got = parse(R"({"type":"response_item","payload":{"type":"message","role":"assistant",)"
                R"("content":[{"type":"output_text","text":"done"}]}})",
                kCodex, meta);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0].timestamp, QString());

    // Earlier messages embedded in a compacted record are not indexed again.
    EXPECT_TRUE(
        parse(
            R"({"type":"compacted","payload":{"message":"summary","replacement_history":)"
            R"([{"type":"message","role":"user","content":[{"type":"input_text","text":"old"}]}]}})",
            kCodex)
            .isEmpty());
    // Roles other than user and assistant, other payloads and the repeated event messages.
    EXPECT_TRUE(parse(R"({"type":"response_item","payload":{"type":"message","role":"developer",)"
                      R"("content":"x"}})",
                      kCodex)
                    .isEmpty());
    EXPECT_TRUE(
        parse(R"({"type":"response_item","payload":{"type":"reasoning","role":"user"}})", kCodex)
            .isEmpty());
    EXPECT_TRUE(
        parse(
            R"({"type":"event_msg","payload":{"type":"user_message","message":"hi"},"role":"user"})",
            kCodex)
            .isEmpty());
}

TEST(TranscriptParserTest, PiAndZenithRecords)
{
    for (const QString& harness : {kPi, kZenith}) {
        FileMeta meta;
        parse(R"({"type":"session","id":"p-1","cwd":"/p","timestamp":"t0"})", harness, meta);
        EXPECT_EQ(meta.session, QStringLiteral("p-1"));
        EXPECT_EQ(meta.cwd, QStringLiteral("/p"));
        const QList<Message> got = parse(
            R"({"type":"message","message":{"role":"assistant","content":[{"type":"thinking",)"
            R"("thinking":"hmm"},{"type":"text","text":"answer"},{"type":"toolCall","id":"1"}]}})",
            harness, meta);
        ASSERT_EQ(got.size(), 1);
        EXPECT_EQ(got[0].text, QStringLiteral("answer"));
        EXPECT_TRUE(parse(R"({"type":"message","message":{"role":"toolResult","content":"x"},)"
                          R"("x":"role":"user"})",
                          harness)
                        .isEmpty());
        EXPECT_TRUE(
            parse(R"({"message":{"role":"toolResult","content":"x"},"m":"\"role\":\"user\""})",
                  harness)
                .isEmpty());
    }
}

TEST(TranscriptParserTest, ContentShapes)
{
    // An array holding anything that is not an object yields nothing at all.
    EXPECT_TRUE(parse(claudeUser(R"([{"type":"text","text":"a"},"b"])"), kClaude).isEmpty());
    EXPECT_TRUE(parse(claudeUser("null"), kClaude).isEmpty());
    EXPECT_TRUE(parse(claudeUser("42"), kClaude).isEmpty());
    EXPECT_TRUE(parse(claudeUser(R"({"text":"x"})"), kClaude).isEmpty());
    EXPECT_TRUE(parse(claudeUser(R"([{"type":"text","text":7}])"), kClaude).isEmpty());
    EXPECT_TRUE(parse(claudeUser(R"("   \n\t ")"), kClaude).isEmpty());
    EXPECT_EQ(parse(claudeUser(R"([{"type":"text","text":"a"},{"type":"image"},)"
                               R"({"type":"text","text":"b"}])"),
                    kClaude)
                  .size(),
              2);
}

TEST(TranscriptParserTest, BadLinesYieldNothingAndLeaveMetaAlone)
{
    FileMeta meta;
    const FileMeta untouched = meta;
    // A role written with a blank after the colon is no marker: the line is never parsed.
    EXPECT_TRUE(parse(R"({"type":"user","timestamp":"t","message":{"role": "user","content":"x"}})",
                      kClaude, meta)
                    .isEmpty());
    EXPECT_EQ(meta, untouched);
    // Invalid JSON, a top level that is not an object, invalid UTF-8.
    EXPECT_TRUE(parse(R"({"role":"user", oops)", kClaude, meta).isEmpty());
    EXPECT_TRUE(parse(R"(["role":"user"])", kClaude, meta).isEmpty());
    EXPECT_TRUE(parse(R"(["\"role\":\"user\""])", kClaude, meta).isEmpty());
    EXPECT_TRUE(parse(claudeUser("\"bad \xC3\x28 byte\""), kClaude, meta).isEmpty());
    EXPECT_EQ(meta, untouched);
    // Missing or mistyped fields.
    EXPECT_TRUE(parse(R"({"type":"user","role":"user"})", kClaude, meta).isEmpty());
    EXPECT_TRUE(
        parse(R"({"type":"user","message":{"role":7},"role":"user"})", kClaude, meta).isEmpty());
    EXPECT_TRUE(
        parse(R"({"type":5,"message":{"role":"user","content":"x"}})", kClaude, meta).isEmpty());
    EXPECT_EQ(meta, untouched);
    // A line at the size cap is skipped before anything else.
    std::string huge = claudeUser("\"" + std::string(TranscriptParser::maxLineBytes, 'x') + "\"");
    EXPECT_TRUE(parse(huge, kClaude, meta).isEmpty());
    EXPECT_EQ(meta, untouched);
    // A carriage return before the newline is white space to the JSON parser.
    EXPECT_EQ(parse(claudeUser(R"("crlf")") + "\r", kClaude).size(), 1);
    // The timestamp step runs before the shape is examined.
    EXPECT_TRUE(
        parse(R"({"type":"user","timestamp":"t9","role":"user"})", kClaude, meta).isEmpty());
    EXPECT_EQ(meta.started, QStringLiteral("t9"));
}

TEST(TranscriptParserTest, FirstCharactersCountsGraphemeClusters)
{
    EXPECT_EQ(TranscriptParser::firstCharacters(QStringLiteral("abc"), 5), QStringLiteral("abc"));
    EXPECT_EQ(TranscriptParser::firstCharacters(QStringLiteral("abcdef"), 3),
              QStringLiteral("abc"));
    // A flag is two code points (four UTF-16 units) and one character.
    const QString flags = QStringLiteral("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7x");
    EXPECT_EQ(TranscriptParser::firstCharacters(flags, 1), flags.left(4));
    EXPECT_EQ(TranscriptParser::firstCharacters(flags, 2), flags.left(8));
}

} // namespace
