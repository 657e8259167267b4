#include "panel/textblock.h"

#include "panel/textlines.h"

#include <QPainter>
#include <cmath>

TextBlock::TextBlock(QWidget* parent) : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TextBlock::setText(const AttributedText& text)
{
    if (text == m_text)
        return;
    m_text = text;
    updateGeometry();
    update();
}

void TextBlock::setTextFont(const QFont& font)
{
    m_font = font;
    updateGeometry();
    update();
}

void TextBlock::setColor(const QColor& color)
{
    m_color = color;
    update();
}

void TextBlock::setMaxLines(int lines)
{
    m_maxLines = lines;
    updateGeometry();
    update();
}

int TextBlock::heightForWidth(int width) const
{
    if (m_text.text.isEmpty())
        return 0;
    return static_cast<int>(std::ceil(TextLines(m_text, m_font, width, m_maxLines).height()));
}

QSize TextBlock::sizeHint() const
{
    // Never wider than the panel's content column.
    constexpr int kContentWidth = 470 - 2 * 16;
    const int natural = static_cast<int>(std::ceil(TextLines::naturalWidth(m_text, m_font)));
    const int width = std::min(natural, kContentWidth);
    return {width, heightForWidth(width)};
}

QSize TextBlock::minimumSizeHint() const
{
    return {0, heightForWidth(std::max(width(), 1))};
}

void TextBlock::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setPen(m_color);
    TextLines(m_text, m_font, width(), m_maxLines).draw(&painter, QPointF(0, 0));
}
