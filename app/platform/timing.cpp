#include "platform/timing.h"

#include <chrono>

Q_LOGGING_CATEGORY(lcTiming, "peekwell.timing", QtWarningMsg)

namespace Timing {

bool enabled()
{
    return lcTiming().isInfoEnabled();
}

void mark(const QString& moment)
{
    if (!enabled())
        return;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const double ms = std::chrono::duration<double, std::milli>(now).count();
    qCInfo(lcTiming).noquote() << moment << "at" << QString::number(ms, 'f', 3) << "ms";
}

} // namespace Timing
