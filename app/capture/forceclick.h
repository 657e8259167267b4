#pragma once

#include "capture/capturedtext.h"
#include "platform/inputevents.h"

#include <QPointF>
#include <QString>
#include <functional>
#include <optional>

class Preferences;

// Hears force clicks (a left press held still until it turns into a deep press) in the
// session's input stream, reads the text under the pointer at that moment and hands it to
// the registered lookup handler, at most once per press.
//
// A namespace with static state; main thread only. The preferences "enabled" and
// "replaceLookUp" are read at every force click.
namespace ForceClick {

using LookupHandler = std::function<void(const CapturedText&, const QPointF&)>;
using CaptureFunction = std::function<std::optional<CapturedText>(const PointerTarget&)>;

// Starts listening to the session's input stream if it does not already. True when
// listening (now or before); false when the session has no stream or it refused. When the
// stream stops (the X connection went away), isInstalled() turns false and the next
// install() starts it again.
bool install();
bool isInstalled();
// How force clicks are heard ("X11", "the GNOME Shell extension"), empty when they are not.
QString sourceName();

// The verdict on one event: true when the rest of the press should be swallowed.
bool handle(const InputEvent& event);

// Called once per captured force click, after the event's handling has returned.
void setLookupHandler(LookupHandler handler);

// The latest capture: "WORD via METHOD in APP" ("?" for an unknown application), or
// "no text at pointer"; empty before the first force click.
QString lastCapture();
double lastCaptureMs();
int pressureEvents();
int forceClicks();

// For tests: what reads the text (TextCapture::capture unless replaced), the preferences
// read at each force click (the standard ones unless replaced; must outlive their use), and
// a fresh start: every counter and per-press flag cleared, the stream forgotten (for a test
// that gives InputEvents a new session).
void setCapture(CaptureFunction capture);
void setPreferences(const Preferences* preferences);
void reset();

} // namespace ForceClick
