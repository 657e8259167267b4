#include "chats/transcriptparser.h"

#include <gtest/gtest.h>
#include <string>

using namespace Qt::Literals::StringLiterals;

using TranscriptParser::Message;

namespace {

const QString kClaude = u"Claude Code"_s;
const QString kCodex = u"Codex"_s;
const QString kPi = u"Pi"_s;

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
    const QString first = u"2026-03-01T12:00:00.000Z"_s;
    QList<Message> got = parse(claudeUser(R"("  hello \n")"), kClaude, meta);
    EXPECT_EQ(got, (QList<Message>{{u"user"_s, u"hello"_s, first}}));
    EXPECT_EQ(meta, (FileMeta{.session = u"s-1"_s,
                              .cwd = u"/work/app"_s,
                              .title = u"hello"_s,
                              .started = first,
                              .updated = first}));

    // The first session id and folder win; the timestamps move on.
    const std::string assistant =
        R"({"type":"assistant","sessionId":"other","cwd":"/elsewhere","timestamp":"2026-03-01T12:05:00Z",)"
        R"("message":{"role":"assistant","content":[{"type":"text","text":"one"},)"
        R"({"type":"tool_use","name":"Bash","input":{}},{"type":"thinking","thinking":"x"},)"
        R"({"type":"text","text":"two"}]}})";
    const QString later = u"2026-03-01T12:05:00Z"_s;
    got = parse(assistant, kClaude, meta);
    EXPECT_EQ(got, (QList<Message>{{u"assistant"_s, u"one"_s, later},
                                   {u"assistant"_s, u"two"_s, later}}));
    EXPECT_EQ(meta, (FileMeta{.session = u"s-1"_s,
                              .cwd = u"/work/app"_s,
                              .title = u"hello"_s,
                              .started = first,
                              .updated = later}));

    // Tool results sit in user records but are not text.
    EXPECT_TRUE(
        parse(claudeUser(R"([{"type":"tool_result","content":"big output"}])"), kClaude).isEmpty());
    // Other record types give nothing, even with a role inside.
    EXPECT_TRUE(
        parse(R"({"type":"system","message":{"role":"user","content":"x"}})", kClaude).isEmpty());
}

TEST(TranscriptParserTest, TitlesFromUserTextSummaryAndCustomTitleAndTextCutByCharacters)
{
    // User text first: it is the title until a summary replaces it; later summaries do not.
    FileMeta meta;
    parse(claudeUser(R"("<local-file>not a title</local-file>")"), kClaude, meta);
    EXPECT_FALSE(meta.title) << "text beginning with < is never the title";
    parse(claudeUser(R"("  Fix   the\tlogin\n\nbug  ")"), kClaude, meta);
    EXPECT_EQ(meta.title, u"Fix the login bug"_s);
    parse(claudeUser(R"("second question")"), kClaude, meta);
    EXPECT_EQ(meta.title, u"Fix the login bug"_s);
    parse(R"({"type":"summary","summary":"Login fix"})", kClaude, meta);
    EXPECT_EQ(meta.title, u"Login fix"_s);
    EXPECT_TRUE(meta.titleLocked);
    parse(R"({"type":"summary","summary":"Later summary"})", kClaude, meta);
    EXPECT_EQ(meta.title, u"Login fix"_s);
    // A custom title always wins, the latest one last.
    parse(R"({"type":"custom-title","customTitle":"Mine"})", kClaude, meta);
    parse(R"({"type":"custom-title","customTitle":"Mine 2"})", kClaude, meta);
    EXPECT_EQ(meta.title, u"Mine 2"_s);

    // 90 user-perceived characters: "é" written as e + combining accent counts once.
    std::string longText;
    for (int i = 0; i < 100; ++i)
        longText += "e\xCC\x81";
    FileMeta capped;
    const QList<Message> got = parse(claudeUser("\"" + longText + "\""), kClaude, capped);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(capped.title->size(), 180);
    EXPECT_EQ(got[0].text.size(), 200) << "under the 20,000 cap the text is whole";

    // Longer text is cut at 20,000 characters.
    const QList<Message> cut = parse(claudeUser("\"" + std::string(25000, 'a') + "\""), kClaude);
    ASSERT_EQ(cut.size(), 1);
    EXPECT_EQ(cut[0].text.size(), 20000);
}

TEST(TranscriptParserTest, NoisePrefixesAreDroppedButOtherAngleTextIsKept)
{
    // A few of the list's prefixes: a tag, a heading and a plain sentence.
    const char* noise[] = {"<environment_context>x", "# AGENTS.md rules",
                           "[Request interrupted by user]"};
    for (const char* text : noise) {
        EXPECT_TRUE(parse(claudeUser(std::string("\"  ") + text + "\""), kClaude).isEmpty())
            << text;
    }
    EXPECT_EQ(parse(claudeUser(R"("<b>bold</b>")"), kClaude).size(), 1);
    EXPECT_EQ(parse(claudeUser(R"("# agents.md lower case")"), kClaude).size(), 1);
}

TEST(TranscriptParserTest, CodexRecords)
{
    FileMeta meta;
    parse(R"({"timestamp":"t1","type":"session_meta","payload":{"id":"c-1","cwd":"/a"}})", kCodex,
          meta);
    parse(R"({"type":"session_meta","payload":{"id":"c-2","cwd":"/b"}})", kCodex, meta);
    EXPECT_EQ(meta, (FileMeta{.session = u"c-2"_s,
                              .cwd = u"/b"_s,
                              .title = {},
                              .titleLocked = false,
                              .started = u"t1"_s,
                              .updated = u"t1"_s}))
        << "a later session_meta overwrites";

    QList<Message> got = parse(
        R"({"timestamp":"t2","type":"response_item","payload":{"type":"message","role":"user",)"
        R"("content":[{"type":"input_text","text":"<environment_context>cwd</environment_context>"},)"
        R"({"type":"input_text","text":"rename the widget"}]}})",
        kCodex, meta);
    EXPECT_EQ(got, (QList<Message>{{u"user"_s, u"rename the widget"_s, u"t2"_s}}));
    EXPECT_EQ(meta.title, u"rename the widget"_s);

    got = parse(R"({"type":"response_item","payload":{"type":"message","role":"assistant",)"
                R"("content":[{"type":"output_text","text":"done"}]}})",
                kCodex, meta);
    EXPECT_EQ(got, (QList<Message>{{u"assistant"_s, u"done"_s, QString()}}));

    // Earlier messages embedded in a compacted record are not indexed again; roles other than
    // user and assistant, other payloads and the repeated event messages give nothing.
    for (
        const char* line : {
            R"({"type":"compacted","payload":{"message":"summary","replacement_history":[{"type":"message","role":"user","content":[{"type":"input_text","text":"old"}]}]}})",
            R"({"type":"response_item","payload":{"type":"message","role":"developer","content":"x"}})",
            R"({"type":"response_item","payload":{"type":"reasoning","role":"user"}})",
            R"({"type":"event_msg","payload":{"type":"user_message","message":"hi"},"role":"user"})",
        })
        EXPECT_TRUE(parse(line, kCodex).isEmpty()) << line;
}

// Zenith's transcripts have Pi's shape and go through the same reading.
TEST(TranscriptParserTest, PiRecords)
{
    FileMeta meta;
    parse(R"({"type":"session","id":"p-1","cwd":"/p","timestamp":"t0"})", kPi, meta);
    EXPECT_EQ(meta.session, u"p-1"_s);
    EXPECT_EQ(meta.cwd, u"/p"_s);
    const QList<Message> got = parse(
        R"({"type":"message","message":{"role":"assistant","content":[{"type":"thinking",)"
        R"("thinking":"hmm"},{"type":"text","text":"answer"},{"type":"toolCall","id":"1"}]}})",
        kPi, meta);
    ASSERT_EQ(got.size(), 1);
    EXPECT_EQ(got[0].text, u"answer"_s);
    // Roles other than user and assistant give nothing (the marker is elsewhere in the line).
    EXPECT_TRUE(
        parse(R"({"message":{"role":"toolResult","content":"x"},"m":"\"role\":\"user\""})", kPi)
            .isEmpty());
}

TEST(TranscriptParserTest, BadLinesAndOddContentYieldNothingAndLeaveMetaAlone)
{
    // An array holding anything that is not an object, content of the wrong type, blanks.
    for (const char* content :
         {R"([{"type":"text","text":"a"},"b"])", "null", "42", R"({"text":"x"})",
          R"([{"type":"text","text":7}])", R"("   \n\t ")"})
        EXPECT_TRUE(parse(claudeUser(content), kClaude).isEmpty()) << content;
    // These leave the file's facts alone too.
    const std::string nothing[] = {
        // A role written with a blank after the colon is no marker: the line is never parsed.
        R"({"type":"user","timestamp":"t","message":{"role": "user","content":"x"}})",
        // Invalid JSON, a top level that is not an object, invalid UTF-8.
        R"({"role":"user", oops)",
        R"(["role":"user"])",
        R"(["\"role\":\"user\""])",
        claudeUser("\"bad \xC3\x28 byte\""),
        // Missing or mistyped fields.
        R"({"type":"user","role":"user"})",
        R"({"type":"user","message":{"role":7},"role":"user"})",
        R"({"type":5,"message":{"role":"user","content":"x"}})",
        // A line at the size cap is skipped before anything else.
        claudeUser("\"" + std::string(TranscriptParser::maxLineBytes, 'x') + "\""),
    };
    for (const std::string& line : nothing) {
        FileMeta meta;
        EXPECT_TRUE(parse(line, kClaude, meta).isEmpty()) << line.substr(0, 80);
        EXPECT_EQ(meta, FileMeta{}) << line.substr(0, 80);
    }
    // The timestamp step runs before the shape is examined.
    FileMeta meta;
    EXPECT_TRUE(
        parse(R"({"type":"user","timestamp":"t9","role":"user"})", kClaude, meta).isEmpty());
    EXPECT_EQ(meta.started, u"t9"_s);
}

} // namespace
