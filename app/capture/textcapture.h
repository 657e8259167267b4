#pragma once

#include "capture/capturedtext.h"
#include "platform/pointertarget.h"
#include "platform/runningapplication.h"

#include <QString>
#include <optional>

// Reads the word under a point, and its sentence, from whatever application shows it, through
// the accessibility interface (Accessibility::standard()). Four ways are tried in order:
// "range" (the character range under the point), "textmarker" (the toolkit's own word and
// sentence around the point, on the element and up to five of its ancestors), "bounds" (the
// measured words of a label) and "selection" (the focused element's selected text, or the
// desktop's). Main thread only; every request to another program is bounded by 0.25 s, so a
// capture that meets a hanging program still returns within about a second.
namespace TextCapture {

// The word at the target and its sentence, with the application's name and the strategy that
// found it; nothing when no strategy finds text there (or the target is one of our windows).
std::optional<CapturedText> capture(const PointerTarget& target);

// Switches on the page accessibility of a Chromium browser or an Electron application, once
// per process; every other program is remembered and not examined again. Browsers are known
// by their executable's name (chromium, chrome, brave, msedge, vivaldi-bin, …), Electron
// applications by the resources/app.asar (or resources/app) beside their executable.
void enableWebAccessibility(const RunningApplication& application);

// The accessibility bus answers and says accessibility is on.
bool trusted();
// Turns accessibility on for this session (the bus's status and the desktop's toolkit
// setting), so programs started from now on expose their text. False when it cannot.
bool requestAccess();

} // namespace TextCapture
