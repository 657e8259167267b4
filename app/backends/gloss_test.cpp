#include "backends/gloss.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The schema asks for the fields, and of the types, that the reader takes.
TEST(GlossTest, TheSchemaNamesWhatAPartialAnswerIsReadFrom)
{
    const QJsonObject gloss = Gloss::generationSchema().json();
    EXPECT_EQ(gloss.value("required"), QJsonArray({"partOfSpeech", "meaning", "synonyms"}));
    EXPECT_FALSE(gloss.contains("description"));
    EXPECT_EQ(gloss["properties"]["synonyms"]["items"], QJsonObject({{"type", "string"}}));
    const auto partial = Gloss::PartiallyGenerated::from(
        GeneratedContent::fromJson(uR"({"partOfSpeech": "noun", "synonyms": ["a", "b)"_s, false));
    EXPECT_EQ(partial.partOfSpeech, u"noun"_s);
    EXPECT_EQ(partial.meaning, std::nullopt);
    EXPECT_EQ(partial.synonyms, QStringList({"a", "b"}));
}

} // namespace
