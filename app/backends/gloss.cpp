#include "backends/gloss.h"

GenerationSchema Gloss::generationSchema()
{
    return GenerationSchema::object(
        QStringLiteral("Gloss"), std::nullopt,
        {
            {QStringLiteral("partOfSpeech"),
             QStringLiteral(
                 "Part of speech of the word in this sentence, e.g. noun, verb, adjective"),
             GenerationSchema::stringType()},
            {QStringLiteral("meaning"),
             QStringLiteral("What the word means in this sentence, one short plain sentence. Do "
                            "not answer the sentence itself. If it looks like a name or term you "
                            "don't know, say that instead of guessing."),
             GenerationSchema::stringType()},
            {QStringLiteral("synonyms"),
             QStringLiteral("Two or three synonyms that fit this sentence"),
             GenerationSchema::arrayOf(GenerationSchema::stringType())},
        });
}

Gloss::PartiallyGenerated Gloss::PartiallyGenerated::from(const GeneratedContent& content)
{
    return {content.string(QStringLiteral("partOfSpeech")),
            content.string(QStringLiteral("meaning")), content.strings(QStringLiteral("synonyms"))};
}
