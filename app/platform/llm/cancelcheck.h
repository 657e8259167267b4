#pragma once

#include <functional>

// Polled by long work; true means the consumer has gone and the work should stop now.
// An empty function never cancels.
using CancelCheck = std::function<bool()>;

inline bool isCanceled(const CancelCheck& check)
{
    return check && check();
}
