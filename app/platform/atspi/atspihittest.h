#pragma once

#include "platform/atspi/atspinode.h"

#include <QPointF>
#include <QString>
#include <memory>

// Finding the element under a point inside one program's accessibility tree. Toolkits answer
// "which child is at this point" unevenly: GTK 3 stops at elements whose children report no
// position, Qt ends at a text view's viewport (a filler without text inside the view), so
// the walk helps itself where the toolkit stops.
namespace AtspiHitTest {

// Among the program's top-level windows: the one titled `title` (the one that holds the point
// when several are), else the one that holds the point; only windows on screen count. Null
// when none fits.
std::shared_ptr<AtspiNode> window(AtspiNode& root, const QString& title, const QPointF& screen);

// From a window down: the deepest element on the path to the point that offers text; when
// none does, the nearest of the deepest element's ancestors that offers text and holds the
// point; else the deepest element.
std::shared_ptr<AtspiNode> descend(const std::shared_ptr<AtspiNode>& window, const QPointF& screen);

} // namespace AtspiHitTest
