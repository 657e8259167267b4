#pragma once

#include "platform/pointertarget.h"

#include <QString>
#include <optional>

// The top-level windows of the X11 screen, and its PRIMARY selection, on a connection of
// this class's own (it needs no QApplication). Main thread only. Windows that vanish while
// they are examined are skipped; X errors never end the process.
class X11Windows {
public:
    // The display named by $DISPLAY, opened on first use and kept open for the process's life
    // (never closed). Null when there is none (no DISPLAY, the server refuses); a later call
    // tries again.
    static X11Windows* instance();
    // Why instance() is null: "DISPLAY is not set", "cannot open display :5"; nothing when a
    // display is there.
    static std::optional<QString> displayProblem();

    // The topmost application window under a point of the screen (the window manager's
    // stacking order; the server's when no window manager runs): its process (_NET_WM_PID, 0
    // when it does not say), title, frame (window-manager decorations included) and the
    // rectangle of its own X window (client-side shadows included), in screen coordinates.
    // Nothing over the bare desktop.
    std::optional<WindowFacts> windowAt(const QPointF& screen);

    // The root window names an accessibility bus (AT_SPI_BUS, which the bus launcher sets).
    bool announcesAccessibilityBus();

    // The text of the PRIMARY selection (what was last selected anywhere), asked of its owner
    // as UTF-8; nothing when nobody owns it, the owner refuses, or it does not answer within
    // `timeoutMs`. Selections too large to be sent in one piece are refused too.
    std::optional<QString> primarySelection(int timeoutMs);

    X11Windows(const X11Windows&) = delete;
    X11Windows& operator=(const X11Windows&) = delete;

    // The Xlib connection and the atoms it uses; only x11windows.cpp sees inside.
    struct Connection;

private:
    explicit X11Windows(Connection* connection);
    Connection* m_connection;
};
