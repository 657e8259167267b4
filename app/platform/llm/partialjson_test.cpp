#include "platform/llm/generatedcontent.h"
#include "platform/llm/partialjson.h"
#include "tests/support/commalocale.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

QJsonValue json(const char* text)
{
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray("[") + text + QByteArray("]"), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    return document.array().at(0);
}

std::optional<QJsonValue> partial(const QByteArray& text)
{
    return PartialJson::parse(text).value;
}

// True when `part` shows nothing that `whole` does not hold: strings are prefixes, arrays hold
// a prefix of the elements (all but the last whole), objects a subset of the members.
bool isReceivedPart(const QJsonValue& part, const QJsonValue& whole)
{
    if (part.isString() && whole.isString())
        return whole.toString().startsWith(part.toString());
    if (part.isArray() && whole.isArray()) {
        const QJsonArray a = part.toArray(), b = whole.toArray();
        for (qsizetype i = 0; i < a.size(); ++i) {
            const bool last = i == a.size() - 1;
            if (i >= b.size() || (last ? !isReceivedPart(a[i], b[i]) : a[i] != b[i]))
                return false;
        }
        return true;
    }
    if (part.isObject() && whole.isObject()) {
        const QJsonObject a = part.toObject(), b = whole.toObject();
        for (auto it = a.begin(); it != a.end(); ++it) {
            if (!b.contains(it.key()) || !isReceivedPart(it.value(), b.value(it.key())))
                return false;
        }
        return true;
    }
    return part == whole;
}

// Answers as a model writes them: escapes, \u sequences with a surrogate pair, raw multibyte
// text, nested arrays and objects, numbers of every form.
const QByteArray answers[] = {
    R"({"partOfSpeech": "noun", "meaning": "A \"quoted\" thing,\nsaid \u00e9t\u00e9 \ud83d\ude00 — ünïcode 中文 😀", "synonyms": ["item", "object", "thing"]})",
    R"({"scores":[[1,-2.5,3e2],[],[0.125,10E-1]],"ok":true,"none":null,"path":"a\\b\/c\t","deep":{"a":{"b":[{"c":"d"}]}},"last":-0})",
    R"([ {"id": 12345, "tags": ["a", "b"]}, "€ and 中文", -0.5e-3, false, [] ])",
};

TEST(PartialJsonTest, EveryCutOfARealAnswerShowsOnlyWhatWasReceived)
{
    for (const QByteArray& answer : answers) {
        const QJsonValue whole = json(answer.constData());
        std::optional<QJsonValue> previous;
        for (qsizetype cut = 0; cut <= answer.size(); ++cut) {
            const PartialJson::Result read = PartialJson::parse(answer.first(cut));
            SCOPED_TRACE(answer.first(cut).toStdString());
            if (read.value) {
                EXPECT_TRUE(isReceivedPart(*read.value, whole))
                    << QJsonDocument(QJsonArray{*read.value}).toJson().toStdString();
                // Growing text never takes back what was shown.
                if (previous) {
                    EXPECT_TRUE(isReceivedPart(*previous, *read.value));
                }
                previous = read.value;
            } else {
                EXPECT_FALSE(previous.has_value()) << "a value shown earlier vanished";
            }
            EXPECT_EQ(read.isComplete, cut == answer.size());
        }
        const PartialJson::Result last = PartialJson::parse(answer, true);
        EXPECT_TRUE(last.isComplete);
        EXPECT_EQ(last.value, whole);
    }
}

// Unfinished pieces are cut back and open containers closed; text that is not JSON stops the
// reading without failing; fenced and lenient answers are read.
TEST(PartialJsonTest, WhatIsShownOfAnUnfinishedOrFaultyAnswer)
{
    const QList<std::pair<QByteArray, const char*>> cases = {
        {R"({"a": "hel)", R"({"a": "hel"})"},
        {R"({"a": "x\)", R"({"a": "x"})"},
        {R"({"a": "x\u00)", R"({"a": "x"})"},
        {R"({"a": "x\ud83d)", R"({"a": "x"})"}, // half a surrogate pair
        {R"({"a": "x\ud83d\ude0)", R"({"a": "x"})"},
        {"{\"a\": \"caf\xC3", R"({"a": "caf"})"}, // half a UTF-8 sequence
        {R"({"n": 12)", "{}"},                    // the number may go on
        {R"({"n": 12, )", R"({"n": 12})"},
        {R"({"k)", "{}"}, // dangling key
        {R"({"k":)", "{}"},
        {R"({"k": tr)", "{}"},
        {R"([1, [2, ["x)", R"([1, [2, ["x"]]])"},
        {R"({"a": 1, "b": @, "c": 2})", R"({"a": 1})"},
        {R"({"a": "x\q", "b": 1})", R"({"a": "x"})"},
        {R"({"a": 1 "b": 2})", R"({"a": 1})"},
        {R"({"a": 01})", "{}"},
        {"```json\n{\"a\": \"b\"}\n```", R"({"a": "b"})"},
        {"{\"a\": \"two\nlines\"}", R"({"a": "two\nlines"})"}, // a raw line feed is kept
        {"", nullptr},
        {"42", nullptr},
        {"hello", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text.toStdString());
        if (expected)
            EXPECT_EQ(partial(text), json(expected));
        else
            EXPECT_FALSE(partial(text).has_value());
    }
    EXPECT_EQ(PartialJson::parse("42", true).value, QJsonValue(42));
    {
        const CommaLocale german;
        ASSERT_TRUE(german.ok()) << "the de_DE.UTF-8 locale is missing (scripts/install-deps.sh)";
        EXPECT_EQ(partial(R"({"p": 0.25})")->toObject().value(QStringLiteral("p")),
                  QJsonValue(0.25));
    }
    EXPECT_TRUE(PartialJson::parse("42", true).isComplete);
    EXPECT_FALSE(PartialJson::parse(R"({"a": 1 "b": 2})", true).isComplete);
    EXPECT_EQ(partial(QByteArray(100000, '[')).value_or(QJsonValue()).isArray(), true)
        << "deep nesting is cut, not a crash";
}

// Text read from the model is sent back as it came (session_test.cpp); content made from values
// is written compactly, a lone scalar without brackets.
TEST(GeneratedContentTest, WritesScalarsAloneAndReadsOnlyWhatIsThere)
{
    EXPECT_EQ(GeneratedContent(QJsonValue(QStringLiteral("a\"b"))).jsonString(),
              QStringLiteral(R"("a\"b")"));
    EXPECT_EQ(GeneratedContent(QJsonValue(2.5)).jsonString(), QStringLiteral("2.5"));
    EXPECT_EQ(GeneratedContent().jsonString(), QStringLiteral("null"));
    const GeneratedContent partial = GeneratedContent::fromJson(QStringLiteral(R"({"q": "x)"));
    EXPECT_FALSE(partial.isComplete());
    EXPECT_EQ(partial.string(QStringLiteral("q")), QStringLiteral("x"));
    EXPECT_FALSE(partial.strings(QStringLiteral("q")).has_value());
}

} // namespace
