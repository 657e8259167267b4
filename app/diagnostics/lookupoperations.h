#pragma once

#include "diagnostics/diagnostics.h"
#include "lookup/lookupbackend.h"

#include <QRectF>
#include <functional>

class Arguments;
class Preferences;

// The operations that run a whole lookup from the command line: "--lookup" shows the real
// panel, "--snapshot" renders every tab of a lookup to PNG files without one. Main thread.
namespace LookupOperations {

// The sources a command-line lookup asks, in tab order, from the preferences.
BackendList enabledBackends(Preferences& preferences);

// Replaces the sources of enabledBackends(), for programs that drive these operations with
// sources of their own (test harnesses). An empty function restores the default.
void setBackendSource(std::function<BackendList(Preferences&)> source);

// "--lookup TERM" [--context S] [--at X Y] [--hold SECONDS]: opens the panel, waits up to
// 30 s for the sources, writes "lookup.json" (the model's report and "panelFrame"), then
// exits 0 after the hold or, without one, leaves the panel on screen.
Diagnostics::Outcome lookup(const Arguments& arguments);

// "--snapshot PATH TERM" [--context S]: runs the lookup without a panel, waits up to 30 s,
// writes one PNG per tab (940 × 680, dark) and "snapshot.json", exits 0.
Diagnostics::Outcome snapshot(const Arguments& arguments);

// "{{x, y}, {w, h}}".
QString rectText(const QRectF& rect);
// PATH with every ".png" replaced by "-" + tab id + ".png"; a path without one is kept.
QString snapshotFileName(QString path, const QString& tabId);

} // namespace LookupOperations
