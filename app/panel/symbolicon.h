#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

// The program's symbols: one SVG of its own per symbol name (bundled as resources under
// ":/panel/icons/"), drawn in one colour so they read in either appearance.
namespace SymbolIcon {

// True when a symbol of that name is bundled.
bool exists(const QString& name);

// The symbol tinted with `color`, `size` device-independent pixels square, rendered for a
// device pixel ratio. An unknown name gives a null pixmap.
QPixmap pixmap(const QString& name, const QColor& color, int size, qreal devicePixelRatio);

} // namespace SymbolIcon
