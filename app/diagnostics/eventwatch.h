#pragma once

#include "diagnostics/diagnostics.h"

class Arguments;

// Records the session's input for a while, to show what a press really produces on this
// machine: every raw event of the input stream and every event the stream makes of them go
// into "watch.txt" and "watch-counts.txt" in the log folder (see WatchLog). The force-click
// logic is not involved: the stream is only listened to.
//
// Main thread only; it ends the process itself.
namespace EventWatch {

// The longest recording: its milliseconds must fit a timer.
constexpr double kMaxSeconds = 2147483;

// "--watch SECONDS": refuses a number of seconds that is not finite or lies outside 0 to
// kMaxSeconds with a one-line message and status 2; otherwise runs.
Diagnostics::Outcome operation(const Arguments& arguments);

// Starts recording and returns at once. The process ends with status 0 after `seconds`, or
// on SIGINT or SIGTERM, with both files written and the path of watch.txt printed. Where the
// session's input cannot be heard (no display) it prints why and ends with status 1.
void run(double seconds);

} // namespace EventWatch
