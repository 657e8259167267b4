#pragma once

#include "panel/highlighted.h"

#include <QFont>
#include <QPointF>
#include <memory>
#include <vector>

class QPainter;
class QTextLayout;

// A text laid out in lines at a given width: word-wrapped (a word longer than the width
// breaks anywhere), at most `maxLines` lines when that is above 0, the last kept line ending
// in "…" when text was left out. Emphasised ranges are drawn bold. Immutable once built.
class TextLines {
public:
    TextLines(const AttributedText& text, const QFont& font, qreal width, int maxLines = 0);
    ~TextLines();
    TextLines(TextLines&&) noexcept;
    TextLines& operator=(TextLines&&) noexcept;

    qreal height() const { return m_height; }
    // The widest line as laid out.
    qreal usedWidth() const { return m_usedWidth; }
    // Distance from the top to the first line's baseline.
    qreal firstBaseline() const { return m_firstBaseline; }
    int lineCount() const { return m_lineCount; }
    bool isElided() const { return m_elided; }

    void draw(QPainter* painter, const QPointF& topLeft) const;

    // The width the text takes on one line, without wrapping.
    static qreal naturalWidth(const AttributedText& text, const QFont& font);

private:
    std::vector<std::unique_ptr<QTextLayout>> m_layouts;
    qreal m_height = 0;
    qreal m_usedWidth = 0;
    qreal m_firstBaseline = 0;
    int m_lineCount = 0;
    bool m_elided = false;
};
