#pragma once

#include <QString>
#include <optional>

class QWidget;

// The few things the panel asks of the X11 desktop directly. Every function is a no-op (or
// answers false) on another platform. Main thread only.
namespace X11Desktop {

// The application runs on Qt's X11 platform.
bool isActive();

// A compositing manager runs, so translucent windows blend with what lies behind them.
bool hasCompositor();

// Asks the window manager to show `window` on every desktop, above others, outside task
// bars and pagers. Call it after the native window exists and before it is shown.
void showOnAllDesktops(QWidget* window);

// Why a window could not be shown from this process, before any QApplication exists:
// nothing when a display is reachable (or another platform than X11 was chosen).
std::optional<QString> displayProblem();

} // namespace X11Desktop
