#pragma once

#include "platform/desktopsession.h"

#include <QDBusConnection>
#include <QString>

// Whether Peekwell's GNOME Shell extension can report force clicks in this session, and what
// the user can do when it cannot. GNOME Shell is asked over the session bus
// (org.gnome.Shell.Extensions); the extension's files are looked for in the XDG data folders.
// Blocks for at most a second or two on the bus. Main thread or any thread with its own
// connection.
class GnomeShellExtension {
public:
    enum class State {
        Active,            // enabled and running: force clicks are heard
        Disabled,          // known to the Shell but not enabled
        NotLoaded,         // installed after the Shell started: a new login loads it
        NotInstalled,      // no extension files anywhere
        Failed,            // the Shell tried and failed, or does not support it
        UserExtensionsOff, // the Shell runs no user extensions at all
        ShellMissing,      // a GNOME Wayland session without GNOME Shell on the bus
        OtherDesktop,      // another Wayland desktop: nobody reports the pointer there
        NotNeeded,         // X11 or no graphical session: the extension plays no part
    };

    struct Status {
        State state = State::NotNeeded;
        // One sentence for the menu and the status report; empty when nothing is wrong.
        QString message;
        // The command that fixes it, where one does ("gnome-extensions enable …").
        QString command;
    };

    static QString uuid();
    static Status status(DesktopSession::Kind kind = DesktopSession::current(),
                         const QDBusConnection& bus = QDBusConnection::sessionBus());
};
