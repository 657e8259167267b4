#pragma once

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcTiming)

// Moments on the way from a force click to the panel on screen, for the benchmarks in bench/.
// Off by default; with QT_LOGGING_RULES="peekwell.timing.info=true" every mark logs one line
// "peekwell.timing: MOMENT at MS ms", MS being std::chrono::steady_clock (CLOCK_MONOTONIC)
// in milliseconds, so other processes on the machine can compare their own clock readings with
// it. Any thread.
namespace Timing {

// Whether marks are logged; lets a caller skip work that only serves them.
bool enabled();
void mark(const QString& moment);

} // namespace Timing
