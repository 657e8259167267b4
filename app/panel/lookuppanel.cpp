#include "panel/lookuppanel.h"

#include "platform/desktopsession.h"
#include "platform/timing.h"
#include "platform/x11/x11desktop.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPropertyAnimation>
#include <QRegion>
#include <QWindow>

LookupPanel::LookupPanel(LookupModel* model, LookupView::OpenHandler onOpen, const QRect& frame)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint),
      m_translucent(X11Desktop::hasCompositor())
{
    setObjectName(QStringLiteral("LookupPanel"));
    setWindowTitle(QStringLiteral("Peekwell"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground, m_translucent);
    setFocusPolicy(Qt::NoFocus);
    m_view = new LookupView(model, std::move(onOpen), PanelStyle::systemAppearance(), this);
    m_view->move(0, 0);
    setFixedSize(LookupView::kWidth, LookupView::kHeight);
    setGeometry(QRect(frame.topLeft(), size()));
}

void LookupPanel::present()
{
    winId(); // the native window exists from here on
    if (Timing::enabled())
        windowHandle()->installEventFilter(this);
    X11Desktop::showOnAllDesktops(this);
    if (!X11Desktop::isActive()) {
        show(); // nothing to fade or raise on other platforms (offscreen rendering, tests)
        return;
    }
    if (DesktopSession::current() != DesktopSession::Kind::X11) {
        // Through Xwayland: Mutter draws the first frame before it applies the opacity, so a
        // fade would begin with a flash of the whole panel.
        show();
        raise();
        return;
    }
    setWindowOpacity(0.0);
    show();
    raise();
    Timing::mark(QStringLiteral("panel shown"));
    auto* fade = new QPropertyAnimation(this, "windowOpacity", this);
    fade->setDuration(120);
    fade->setStartValue(0.0);
    fade->setEndValue(1.0);
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

bool LookupPanel::eventFilter(QObject* watched, QEvent* event)
{
    // Timing only: the first exposure of the window, then the return to the event loop after
    // the frame it triggered has been painted and handed to the display server.
    if (watched == windowHandle() && event->type() == QEvent::Expose &&
        windowHandle()->isExposed()) {
        windowHandle()->removeEventFilter(this);
        Timing::mark(QStringLiteral("panel exposed"));
        QMetaObject::invokeMethod(
            this, [] { Timing::mark(QStringLiteral("panel drawn")); }, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}

void LookupPanel::paintEvent(QPaintEvent*)
{
    const PanelStyle& style = m_view->style();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(area, kCornerRadius, kCornerRadius);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.fillPath(shape, m_translucent ? style.panelBackground : style.panelBackgroundOpaque);
    painter.setPen(QPen(style.panelBorder, 1));
    painter.drawPath(shape);
}

void LookupPanel::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (m_translucent || !X11Desktop::isActive())
        return;
    // Without a compositor the corners are cut with a shape instead.
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), kCornerRadius, kCornerRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

void LookupPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        Q_EMIT dismissRequested();
        return;
    }
    QWidget::keyPressEvent(event);
}
