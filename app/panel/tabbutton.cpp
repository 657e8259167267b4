#include "panel/tabbutton.h"

#include "panel/spinner.h"
#include "panel/symbolicon.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace {
constexpr qreal kPadX = 8;
constexpr qreal kPadY = 5;
constexpr qreal kSpacing = 5;
constexpr int kSymbol = 13;
constexpr int kMiniSpinner = 10;
constexpr int kFailedMark = 12;
const QString kDash = QStringLiteral("\u2013");
} // namespace

TabButton::TabButton(const PanelStyle& style, QWidget* parent)
    : QAbstractButton(parent), m_style(style)
{
    setFocusPolicy(Qt::NoFocus);
    Spinner::followClock(this, [this] { return badge() == Badge::Spinner; });
}

void TabButton::setTab(const LookupModel::Tab& tab, bool selected)
{
    if (tab == m_tab && selected == m_selected)
        return;
    const bool resized = tab.title != m_tab.title || selected != m_selected ||
                         badgeFor(tab) != badgeFor(m_tab) || tab.items.size() != m_tab.items.size();
    m_tab = tab;
    m_selected = selected;
    setAccessibleName(tab.title);
    if (resized)
        updateGeometry();
    update();
}

TabButton::Badge TabButton::badgeFor(const LookupModel::Tab& tab)
{
    switch (tab.phase.kind()) {
    case LookupModel::Phase::Loading:
        return Badge::Spinner;
    case LookupModel::Phase::Streaming:
        if (tab.items.isEmpty())
            return Badge::Spinner;
        return tab.items.size() >= 2 ? Badge::Count : Badge::None;
    case LookupModel::Phase::Done:
        return tab.items.size() >= 2 ? Badge::Count : Badge::None;
    case LookupModel::Phase::Empty:
        return Badge::Dash;
    case LookupModel::Phase::Failed:
        return Badge::Failed;
    }
    return Badge::None;
}

QString TabButton::badgeText() const
{
    return badge() == Badge::Count ? QString::number(m_tab.items.size()) : QString();
}

qreal TabButton::badgeWidth() const
{
    switch (badge()) {
    case Badge::None:
        return 0;
    case Badge::Spinner:
        return kMiniSpinner;
    case Badge::Count:
        return QFontMetricsF(PanelStyle::caption2Font()).horizontalAdvance(badgeText());
    case Badge::Dash:
        return QFontMetricsF(PanelStyle::tabFont(false)).horizontalAdvance(kDash);
    case Badge::Failed:
        return kFailedMark;
    }
    return 0;
}

QSize TabButton::sizeHint() const
{
    const QFontMetricsF metrics(PanelStyle::tabFont(m_selected));
    qreal width = kPadX + kSymbol + kSpacing + metrics.horizontalAdvance(m_tab.title) + kPadX;
    if (const qreal badge = badgeWidth(); badge > 0)
        width += kSpacing + badge;
    const qreal height = std::max<qreal>(kSymbol, metrics.height()) + 2 * kPadY;
    return {static_cast<int>(std::ceil(width)), static_cast<int>(std::ceil(height))};
}

bool TabButton::hitButton(const QPoint& pos) const
{
    QPainterPath capsule;
    const QRectF area(rect());
    capsule.addRoundedRect(area, area.height() / 2, area.height() / 2);
    return capsule.contains(QPointF(pos));
}

void TabButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area(rect());
    if (m_selected) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_style.quaternaryFill);
        painter.drawRoundedRect(area, area.height() / 2, area.height() / 2);
    }

    const qreal middle = area.height() / 2;
    qreal x = kPadX;
    const QPixmap symbol = SymbolIcon::pixmap(m_tab.symbol, m_style.label, kSymbol,
                                              painter.device()->devicePixelRatioF());
    if (!symbol.isNull())
        painter.drawPixmap(QPointF(x, middle - kSymbol / 2.0), symbol);
    x += kSymbol + kSpacing;

    const QFont font = PanelStyle::tabFont(m_selected);
    const QFontMetricsF metrics(font);
    painter.setFont(font);
    painter.setPen(m_style.label);
    const qreal baseline = middle + (metrics.ascent() - metrics.descent()) / 2;
    painter.drawText(QPointF(x, baseline), m_tab.title);
    x += metrics.horizontalAdvance(m_tab.title) + kSpacing;

    switch (badge()) {
    case Badge::None:
        break;
    case Badge::Spinner:
        Spinner::paint(&painter, QRectF(x, middle - kMiniSpinner / 2.0, kMiniSpinner, kMiniSpinner),
                       m_style.secondaryLabel);
        break;
    case Badge::Count: {
        const QFont caption = PanelStyle::caption2Font();
        const QFontMetricsF small(caption);
        painter.setFont(caption);
        painter.setPen(m_style.secondaryLabel);
        painter.drawText(QPointF(x, middle + (small.ascent() - small.descent()) / 2), badgeText());
        break;
    }
    case Badge::Dash:
        painter.setPen(m_style.tertiaryLabel);
        painter.drawText(QPointF(x, baseline), kDash);
        break;
    case Badge::Failed: {
        const QPixmap mark =
            SymbolIcon::pixmap(QStringLiteral("exclamationmark.circle"), m_style.orange,
                               kFailedMark, painter.device()->devicePixelRatioF());
        painter.drawPixmap(QPointF(x, middle - kFailedMark / 2.0), mark);
        break;
    }
    }
}
