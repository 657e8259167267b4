#include "panel/symbolicon.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

namespace SymbolIcon {

namespace {
QString resourcePath(const QString& name)
{
    return QStringLiteral(":/panel/icons/") + name + QStringLiteral(".svg");
}
} // namespace

bool exists(const QString& name)
{
    return !name.isEmpty() && QFile::exists(resourcePath(name));
}

QPixmap pixmap(const QString& name, const QColor& color, int size, qreal devicePixelRatio)
{
    if (!exists(name) || size <= 0)
        return {};
    QSvgRenderer renderer(resourcePath(name));
    if (!renderer.isValid())
        return {};
    const int pixels = qRound(size * devicePixelRatio);
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter, QRectF(0, 0, pixels, pixels));
        // Keep the drawing's coverage, take the colour.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), color);
    }
    QPixmap result = QPixmap::fromImage(image);
    result.setDevicePixelRatio(devicePixelRatio);
    return result;
}

} // namespace SymbolIcon
