#include "panel/textlines.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>
#include <QTextOption>
#include <limits>

namespace {

// QTextLayout wants line separators, not newlines.
QString layoutText(const QString& text)
{
    QString result = text;
    result.replace(QLatin1Char('\n'), QChar::LineSeparator);
    return result;
}

std::unique_ptr<QTextLayout> makeLayout(const AttributedText& text, const QFont& font)
{
    auto layout = std::make_unique<QTextLayout>(layoutText(text.text), font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setUseDesignMetrics(true);
    layout->setTextOption(option);
    layout->setFormats(text.formats(font));
    return layout;
}

// The part of `text` from `start` on, as one line (line breaks become spaces).
AttributedText tail(const AttributedText& text, qsizetype start)
{
    AttributedText result;
    result.text = text.text.mid(start);
    result.text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    for (const AttributedText::Range& range : text.emphasised) {
        const qsizetype from = std::max(range.start, start);
        const qsizetype to = range.start + range.length;
        if (to > from)
            result.emphasised.append({from - start, to - from});
    }
    return result;
}

// `text` cut so that it ends in "…" within `width`.
AttributedText elided(const AttributedText& text, const QFont& font, qreal width)
{
    const QFontMetricsF metrics(font);
    qreal budget = width;
    AttributedText result;
    for (int attempt = 0; attempt < 6; ++attempt) {
        QString cut = metrics.elidedText(text.text + QStringLiteral(" …"), Qt::ElideRight, budget);
        if (!cut.endsWith(QChar(0x2026)))
            cut = text.text;
        qsizetype kept = cut.size() - (cut.endsWith(QChar(0x2026)) ? 1 : 0);
        while (kept > 0 && cut.at(kept - 1).isSpace())
            --kept;
        result.text = text.text.left(kept) + QChar(0x2026);
        result.emphasised.clear();
        for (const AttributedText::Range& range : text.emphasised) {
            const qsizetype to = std::min(range.start + range.length, kept);
            if (to > range.start)
                result.emphasised.append({range.start, to - range.start});
        }
        // Emphasised letters are wider than the metrics above assume: shrink until it fits.
        if (TextLines::naturalWidth(result, font) <= width)
            break;
        budget -= font.pixelSize() > 0 ? font.pixelSize() : 10;
    }
    return result;
}

} // namespace

TextLines::TextLines(const AttributedText& text, const QFont& font, qreal width, int maxLines)
{
    width = std::max<qreal>(width, 1);
    // First pass: where the lines start, to know whether the last allowed line is complete.
    qsizetype cutAt = -1;
    if (maxLines > 0) {
        auto probe = makeLayout(text, font);
        probe->beginLayout();
        int count = 0;
        for (QTextLine line = probe->createLine(); line.isValid(); line = probe->createLine()) {
            line.setLineWidth(width);
            if (++count == maxLines) {
                if (line.textStart() + line.textLength() < text.text.size())
                    cutAt = line.textStart();
                break;
            }
        }
        probe->endLayout();
    }

    // The lines before the cut keep their emphasis; the cut line is laid out on its own.
    AttributedText headText = cutAt >= 0 ? AttributedText{text.text.left(cutAt), {}} : text;
    if (cutAt >= 0) {
        // A line break that ends the kept part would open an empty line of its own.
        while (!headText.text.isEmpty() && headText.text.back() == QLatin1Char('\n'))
            headText.text.chop(1);
        for (const AttributedText::Range& range : text.emphasised) {
            const qsizetype to = std::min(range.start + range.length, headText.text.size());
            if (to > range.start)
                headText.emphasised.append({range.start, to - range.start});
        }
    }

    qreal y = 0;
    auto place = [&](QTextLayout& layout) {
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            line.setPosition(QPointF(0, y));
            if (m_lineCount == 0)
                m_firstBaseline = y + line.ascent();
            y += line.height();
            m_usedWidth = std::max(m_usedWidth, line.naturalTextWidth());
            ++m_lineCount;
        }
        layout.endLayout();
    };

    if (!headText.text.isEmpty() || cutAt < 0) {
        m_layouts.push_back(makeLayout(headText, font));
        place(*m_layouts.back());
    }
    if (cutAt >= 0) {
        m_elided = true;
        m_layouts.push_back(makeLayout(elided(tail(text, cutAt), font, width), font));
        QTextLayout& last = *m_layouts.back();
        QTextOption option = last.textOption();
        option.setWrapMode(QTextOption::NoWrap);
        last.setTextOption(option);
        place(last);
    }
    m_height = y;
}

TextLines::~TextLines() = default;
TextLines::TextLines(TextLines&&) noexcept = default;
TextLines& TextLines::operator=(TextLines&&) noexcept = default;

void TextLines::draw(QPainter* painter, const QPointF& topLeft) const
{
    for (const auto& layout : m_layouts)
        layout->draw(painter, topLeft);
}

qreal TextLines::naturalWidth(const AttributedText& text, const QFont& font)
{
    auto layout = makeLayout(text, font);
    QTextOption option = layout->textOption();
    option.setWrapMode(QTextOption::NoWrap);
    layout->setTextOption(option);
    layout->beginLayout();
    qreal widest = 0;
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        line.setLineWidth(std::numeric_limits<int>::max() / 4);
        widest = std::max(widest, line.naturalTextWidth());
    }
    layout->endLayout();
    return widest;
}
