#pragma once

#include "platform/llm/generatedcontent.h"
#include "platform/llm/generationschema.h"

#include <QString>
#include <QStringList>
#include <optional>

// The structured gloss of a word in its sentence, as the local model writes it.
struct Gloss {
    QString partOfSpeech;
    QString meaning;
    QStringList synonyms;

    // The schema handed to the model: the three properties with their descriptions.
    static GenerationSchema generationSchema();

    // The gloss while it is being written: each property once it has begun.
    struct PartiallyGenerated {
        std::optional<QString> partOfSpeech;
        std::optional<QString> meaning;
        std::optional<QStringList> synonyms;

        static PartiallyGenerated from(const GeneratedContent& content);
        friend bool operator==(const PartiallyGenerated&, const PartiallyGenerated&) = default;
    };
};
