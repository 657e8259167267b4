#include "panel/itemrow.h"

#include "panel/bodytext.h"
#include "panel/symbolicon.h"
#include "panel/textlines.h"

#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <cmath>

namespace {
constexpr qreal kSpacing = 6;
constexpr int kArrow = 11;
constexpr int kContentWidth = 470 - 2 * 16; // the panel's results column

QFont detailFont()
{
    QFont font = PanelStyle::calloutFont();
    font.setItalic(true);
    return font;
}
} // namespace

// The first part of a row: title, detail and link mark, on the title's first baseline.
class ItemRow::Header : public QWidget {
public:
    Header(ItemRow* row) : QWidget(row), m_row(row)
    {
        QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
        policy.setHeightForWidth(true);
        setSizePolicy(policy);
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return std::ceil(arrange(width).height); }
    QSize sizeHint() const override { return {kContentWidth, heightForWidth(kContentWidth)}; }
    QSize minimumSizeHint() const override { return {0, heightForWidth(std::max(width(), 1))}; }
    void changed()
    {
        updateGeometry();
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const Arrangement a = arrange(width());
        const PanelStyle& style = m_row->m_style;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(style.label);
        a.title.draw(&painter, QPointF(0, 0));
        if (a.detail) {
            painter.setPen(style.secondaryLabel);
            a.detail->draw(&painter, QPointF(a.detailX, a.detailY));
        }
        if (m_row->m_item.url) {
            painter.setOpacity(m_row->m_hovering ? 1.0 : 0.5);
            const QPixmap arrow =
                SymbolIcon::pixmap(QStringLiteral("arrow.up.right"), style.tertiaryLabel, kArrow,
                                   painter.device()->devicePixelRatioF());
            const qreal capMiddle =
                a.title.firstBaseline() - QFontMetricsF(PanelStyle::headlineFont()).capHeight() / 2;
            painter.drawPixmap(QPointF(width() - kArrow, capMiddle - kArrow / 2.0), arrow);
        }
    }

private:
    struct Arrangement {
        TextLines title;
        std::optional<TextLines> detail;
        qreal detailX = 0;
        qreal detailY = 0;
        qreal height = 0;
    };

    Arrangement arrange(int width) const
    {
        const LookupItem& item = m_row->m_item;
        const AttributedText title{item.title, {}};
        const bool hasDetail = item.detail && !item.detail->isEmpty();
        const AttributedText detail{hasDetail ? *item.detail : QString(), {}};
        const qreal available = width - (item.url ? kSpacing + kArrow : 0);
        const qreal titleNatural = TextLines::naturalWidth(title, PanelStyle::headlineFont());
        qreal titleWidth = available;
        qreal detailWidth = 0;
        if (hasDetail) {
            const qreal detailNatural = TextLines::naturalWidth(detail, detailFont());
            if (titleNatural + kSpacing + detailNatural <= available) {
                titleWidth = std::ceil(titleNatural);
                detailWidth = available - titleWidth - kSpacing;
            } else {
                // The title keeps most of the room; the detail is cut to one line.
                detailWidth = std::min(
                    detailNatural, std::max(available * 0.35, available - titleNatural - kSpacing));
                titleWidth = available - kSpacing - detailWidth;
            }
        }
        Arrangement a{TextLines(title, PanelStyle::headlineFont(), titleWidth, 2), std::nullopt, 0,
                      0, 0};
        a.height = a.title.height();
        if (hasDetail && detailWidth > 4) {
            a.detail.emplace(detail, detailFont(), detailWidth, 1);
            a.detailX = std::min<qreal>(a.title.usedWidth(), titleWidth) + kSpacing;
            a.detailY = a.title.firstBaseline() - a.detail->firstBaseline();
            a.height = std::max(a.height, a.detailY + a.detail->height());
        }
        return a;
    }

    ItemRow* m_row;
};

ItemRow::ItemRow(const PanelStyle& style, OpenHandler onOpen, QWidget* parent)
    : QWidget(parent), m_style(style), m_onOpen(std::move(onOpen))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    m_header = new Header(this);
    m_body = new BodyText(style, this);
    layout->addWidget(m_header);
    layout->addWidget(m_body);
    m_body->hide();
    connect(m_body, &BodyText::clicked, this, &ItemRow::open);
    setAttribute(Qt::WA_Hover);
}

void ItemRow::setItem(const LookupItem& item, const QString& term)
{
    if (item == m_item && term == m_term)
        return;
    m_item = item;
    m_term = term;
    setAccessibleName(item.title);
    setCursor(item.url ? Qt::PointingHandCursor : Qt::ArrowCursor);
    m_header->changed();
    const bool hasBody = item.body && !item.body->isEmpty();
    if (hasBody)
        m_body->setBody(highlighted(*item.body, term));
    m_body->setVisible(hasBody);
    updateGeometry();
}

BodyText* ItemRow::bodyText() const
{
    return m_item.body && !m_item.body->isEmpty() ? m_body : nullptr;
}

void ItemRow::open()
{
    if (m_item.url && m_onOpen)
        m_onOpen(*m_item.url);
}

void ItemRow::setHovering(bool hovering)
{
    if (hovering == m_hovering)
        return;
    m_hovering = hovering;
    m_header->update();
}

void ItemRow::enterEvent(QEnterEvent*)
{
    setHovering(true);
}

void ItemRow::leaveEvent(QEvent*)
{
    setHovering(false);
}

void ItemRow::mousePressEvent(QMouseEvent* event)
{
    m_pressed = event->button() == Qt::LeftButton;
    event->accept();
}

void ItemRow::mouseReleaseEvent(QMouseEvent* event)
{
    const bool clicked = m_pressed && event->button() == Qt::LeftButton &&
                         rect().contains(event->position().toPoint());
    m_pressed = false;
    event->accept();
    if (clicked)
        open();
}
