#pragma once

// The kind of desktop session this process runs in (Session::current()), under a name of its
// own: the desktop session's namespace and the language-model runtime's session class are
// both called Session, so no file may see both, and the shell's files see the runtime's.
enum class DesktopKind {
    X11,
    GnomeWayland,
    OtherWayland,
    None,
};

DesktopKind currentDesktopKind();
