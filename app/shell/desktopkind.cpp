#include "desktopkind.h"

#include "session.h"

DesktopKind currentDesktopKind()
{
    switch (Session::current()) {
    case Session::Kind::X11:
        return DesktopKind::X11;
    case Session::Kind::GnomeWayland:
        return DesktopKind::GnomeWayland;
    case Session::Kind::OtherWayland:
        return DesktopKind::OtherWayland;
    case Session::Kind::None:
        break;
    }
    return DesktopKind::None;
}
