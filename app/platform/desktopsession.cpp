#include "platform/desktopsession.h"

#include <QByteArray>
#include <QtGlobal>

namespace DesktopSession {

Kind current()
{
    const QByteArray type = qgetenv("XDG_SESSION_TYPE").toLower();
    const bool wayland =
        type == "wayland" || (type != "x11" && !qgetenv("WAYLAND_DISPLAY").isEmpty());
    if (wayland) {
        const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP").toLower();
        return desktop.contains("gnome") ? Kind::GnomeWayland : Kind::OtherWayland;
    }
    if (!qgetenv("DISPLAY").isEmpty())
        return Kind::X11;
    return Kind::None;
}

} // namespace DesktopSession
