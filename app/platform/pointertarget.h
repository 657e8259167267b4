#pragma once

#include <QPointF>
#include <QRectF>
#include <QString>
#include <optional>

// The window under the pointer as the session's compositor describes it. On X11 the
// accessibility adapter finds the window itself and this stays empty; on GNOME Wayland,
// where only the compositor knows which window is where, the Shell extension sends it.
struct WindowFacts {
    qint64 pid = 0;
    QString title;
    // The window's frame (decorations the compositor draws included) and the rectangle of
    // its client buffer (with client-side decorations, shadows included), both in global
    // screen coordinates.
    QRectF frame;
    QRectF buffer;

    friend bool operator==(const WindowFacts&, const WindowFacts&) = default;
};

// Where a capture looks: a point in global screen coordinates (origin at the top left of the
// primary screen, y downwards) and, where the session supplies it, the window under it.
struct PointerTarget {
    QPointF screen;
    std::optional<WindowFacts> window;

    friend bool operator==(const PointerTarget&, const PointerTarget&) = default;
};
