#pragma once

#include "openaicompatiblemodel.h"
#include "preferences.h"

#include <memory>

// The on-device model: a model server on this machine that speaks the OpenAI protocol
// (Ollama, llama.cpp's server, LM Studio, vLLM), at "localModel.baseURL" with the model
// "localModel.name". No key is sent.
class SystemLanguageModel : public OpenAICompatibleModel {
public:
    // The model as the preferences name it now.
    static std::shared_ptr<const SystemLanguageModel>
    defaultModel(const Preferences& preferences = Preferences::standard());

    SystemLanguageModel(QUrl baseURL, QString model, QString baseURLText);

    // Asks GET <base>/models: available when it answers 200 and lists the model, by its exact
    // id or as the name plus a ":tag". Blocks for up to a few seconds; never on the main
    // thread of a running panel.
    Availability availability() const override;

private:
    QString m_baseURLText; // as the user wrote it, for the message
};
