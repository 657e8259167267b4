#include "platform/atspi/windowpoint.h"

#include <QRectF>

namespace WindowPoint {

QPointF originOf(const WindowFacts& window, Origin origin)
{
    if (window.buffer.isEmpty())
        return window.frame.topLeft();
    if (origin == Origin::Surface)
        return window.buffer.topLeft();
    const QRectF content = window.frame.intersected(window.buffer);
    return content.isEmpty() ? window.buffer.topLeft() : content.topLeft();
}

} // namespace WindowPoint
