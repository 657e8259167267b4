#pragma once

#include "platform/llm/openai/openaicompatiblemodel.h"

#include <memory>

// The on-device model: a model server on this machine that speaks the OpenAI protocol
// (Ollama, llama.cpp's server, LM Studio, vLLM). No key is sent.
class SystemLanguageModel : public OpenAICompatibleModel {
public:
    SystemLanguageModel(QUrl baseURL, QString model, QString baseURLText);

    // Asks GET <base>/models: available when it answers 200 and lists the model, by its exact
    // id or as the name plus a ":tag". Blocks for up to a few seconds; never on the main
    // thread of a running panel.
    Availability availability() const override;

private:
    QString m_baseURLText; // as the user wrote it, for the message
};
