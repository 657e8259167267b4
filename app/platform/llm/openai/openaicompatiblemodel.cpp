#include "platform/llm/openai/openaicompatiblemodel.h"

std::shared_ptr<const Executor> OpenAICompatibleModel::executor() const
{
    return std::make_shared<OpenAICompatibleExecutor>(executorConfiguration());
}
