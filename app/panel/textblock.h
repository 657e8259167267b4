#pragma once

#include "panel/highlighted.h"

#include <QColor>
#include <QFont>
#include <QWidget>

// A label drawn by the panel itself: emphasised ranges in bold, word wrap, an optional
// limit on the number of lines (the last one then ends in "…"). It
// reports its height for a width, so layouts give it exactly the lines it needs.
class TextBlock : public QWidget {
    Q_OBJECT
public:
    explicit TextBlock(QWidget* parent = nullptr);

    void setText(const AttributedText& text);
    void setPlainText(const QString& text) { setText(AttributedText{text, {}}); }
    const AttributedText& text() const { return m_text; }
    void setTextFont(const QFont& font);
    void setColor(const QColor& color);
    void setMaxLines(int lines); // 0: as many as needed

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    AttributedText m_text;
    QFont m_font;
    QColor m_color;
    int m_maxLines = 0;
};
