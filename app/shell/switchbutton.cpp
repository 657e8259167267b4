#include "shell/switchbutton.h"

#include <QPainter>

namespace {
constexpr int kWidth = 26;
constexpr int kHeight = 15;
constexpr int kKnobInset = 2;
} // namespace

SwitchButton::SwitchButton(const QString& name, QWidget* parent) : QAbstractButton(parent)
{
    setCheckable(true);
    setAccessibleName(name);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setFixedSize(sizeHint());
}

QSize SwitchButton::sizeHint() const
{
    return {kWidth, kHeight};
}

void SwitchButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal radius = track.height() / 2;
    const QColor on(52, 199, 89);
    const QColor off = palette().color(QPalette::Mid);
    QColor fill = isChecked() ? on : off;
    if (!isEnabled())
        fill.setAlphaF(0.4);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(track, radius, radius);

    const qreal knob = track.height() - 2 * kKnobInset;
    const qreal x = isChecked() ? track.right() - kKnobInset - knob : track.left() + kKnobInset;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(x, track.top() + kKnobInset, knob, knob));
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 1));
        painter.drawRoundedRect(track, radius, radius);
    }
}
