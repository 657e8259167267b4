#pragma once

#include <optional>

// The session's accessibility switch: the "IsEnabled" property of org.a11y.Status on the
// session bus (the accessibility bus launcher's), which toolkits read at start to decide
// whether to put their programs on the accessibility bus, and the GNOME setting it follows.
// Blocking calls, each bounded by 250 ms; main thread only.
namespace AccessibilityStatus {

// Whether a session bus can be reached without starting one (a set
// DBUS_SESSION_BUS_ADDRESS, or the per-user bus in $XDG_RUNTIME_DIR).
bool sessionBusReachable();

// IsEnabled; nothing when the bus or the launcher does not answer.
std::optional<bool> isEnabled();

// Sets IsEnabled, and GNOME's toolkit-accessibility setting where gsettings knows it. True
// when IsEnabled reads true afterwards.
bool enable();

} // namespace AccessibilityStatus
