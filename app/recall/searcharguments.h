#pragma once

#include "platform/llm/generatedcontent.h"
#include "platform/llm/generationschema.h"

#include <QString>
#include <optional>

// The arguments of the search tools: one word or short phrase.
struct SearchArguments {
    QString query;

    // {"query": string, "The word or short phrase to search for"}, named "Arguments".
    static GenerationSchema generationSchema();
    // None when the model's arguments are not an object with a string "query".
    static std::optional<SearchArguments> from(const GeneratedContent& content);
};
