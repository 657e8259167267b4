#pragma once

#include "platform/llm/generationchannel.h"
#include "platform/llm/generationrequest.h"

class LanguageModel;

// Runs one model turn. A session calls respond() once per turn with the whole transcript;
// an executor keeps nothing between calls. respond() blocks its (worker) thread until the
// turn has been streamed into the channel, and throws on failure (a transport error, a
// refusal by the server); pieces already sent stay sent.
class Executor {
public:
    virtual ~Executor() = default;
    virtual void respond(const GenerationRequest& request, const LanguageModel& model,
                         GenerationChannel& channel) const = 0;
    // Gets the model ready ahead of a first request; by default nothing.
    virtual void prewarm(const LanguageModel& model, const Transcript& transcript) const {}
};
