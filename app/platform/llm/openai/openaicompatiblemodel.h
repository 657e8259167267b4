#pragma once

#include "platform/llm/languagemodel.h"
#include "platform/llm/openai/openaicompatibleexecutor.h"

#include <QString>
#include <QUrl>
#include <optional>

// A model behind a server that speaks the OpenAI chat-completions protocol (OpenAI,
// Anthropic's compatible endpoint, Ollama, llama.cpp's server, LM Studio, vLLM), driven by
// OpenAICompatibleExecutor. Immutable value; the key is never logged.
class OpenAICompatibleModel : public LanguageModel {
public:
    OpenAICompatibleModel(QUrl baseURL, QString model, std::optional<QString> apiKey)
        : baseURL(std::move(baseURL)), model(std::move(model)), apiKey(std::move(apiKey))
    {
    }

    QList<Capability> capabilities() const override
    {
        return {Capability::ToolCalling, Capability::GuidedGeneration};
    }
    std::shared_ptr<const Executor> executor() const override;
    OpenAICompatibleExecutor::Configuration executorConfiguration() const { return {}; }

    const QUrl baseURL;                  // the API base, e.g. ".../v1"
    const QString model;                 // sent as the body's "model"
    const std::optional<QString> apiKey; // a bearer token; none sends no Authorization header
};
