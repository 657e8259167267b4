#pragma once

#include "panel/panelstyle.h"

#include <QString>

class QLabel;
class QLineEdit;
class QWidget;

// The menu's look, on the panel's light and dark styles: caption-size secondary lines and
// small rounded text fields. Main thread.
namespace MenuStyle {

// The panel style of the desktop's appearance now.
PanelStyle current();

// A caption-font line that wraps, in the secondary colour unless `color` is given.
QLabel* caption(const QString& text, QWidget* parent, const QColor& color = {});
// A rounded text field in the caption font.
QLineEdit* field(const QString& placeholder, QWidget* parent);

} // namespace MenuStyle
