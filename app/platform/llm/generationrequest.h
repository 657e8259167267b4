#pragma once

#include "platform/llm/generationoptions.h"
#include "platform/llm/generationschema.h"
#include "platform/llm/transcript.h"

#include <QList>
#include <optional>

// One turn asked of an executor: the whole transcript so far, the tools the model may call
// now, the shape of a structured answer (none for plain text) and the sampling options.
struct GenerationRequest {
    Transcript transcript;
    QList<Transcript::ToolDefinition> enabledToolDefinitions;
    std::optional<GenerationSchema> schema;
    GenerationOptions generationOptions;
};
