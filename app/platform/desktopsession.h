#pragma once

#include <QString>

// Which kind of desktop session this process runs in, from the environment it was started
// with (XDG_SESSION_TYPE, WAYLAND_DISPLAY, DISPLAY, XDG_CURRENT_DESKTOP).
namespace DesktopSession {

enum class Kind {
    X11,          // an X11 session: XInput 2 hears the pointer
    GnomeWayland, // GNOME on Wayland: the Shell extension reports the pointer
    OtherWayland, // another Wayland desktop: nobody may watch the pointer
    None,         // no graphical session (SSH, a service)
};

Kind current();

} // namespace DesktopSession
