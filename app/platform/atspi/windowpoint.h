#pragma once

#include "platform/pointertarget.h"

#include <QPointF>

// Where a screen point lies in a window's own coordinates, for toolkits that report positions
// relative to their window (GTK 4 everywhere, every toolkit on Wayland).
namespace WindowPoint {

// Which corner a toolkit counts from.
enum class Origin {
    // The window as the user sees it: inside the decorations a window manager draws, without
    // the shadows a toolkit draws around itself (GTK 4, Qt, Chromium).
    Content,
    // The toolkit's whole surface, shadows included (GTK 3).
    Surface,
};

// The window's origin in screen coordinates. With window-manager decorations the frame holds
// the buffer and the content starts at the buffer; with client-side decorations the buffer
// (shadows included) holds the frame and the content starts at the frame: in both cases at
// the corner of frame ∩ buffer. An empty buffer counts as the frame.
QPointF originOf(const WindowFacts& window, Origin origin);

} // namespace WindowPoint
