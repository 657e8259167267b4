#pragma once

#include "panel/highlighted.h"
#include "panel/panelstyle.h"

#include <QTextEdit>

class QMenu;

// A result's body: selectable with the mouse, wrapped to as many lines as it needs (never
// scrolled or cut), emphasised ranges in bold. It takes no keyboard focus: the panel leaves
// the focus with the application under it.
//
// A click that selects nothing is reported as clicked(), so that the row around it can open
// its link; a drag selects text instead. Since the panel never has the keyboard focus, the
// context menu's Copy stands in for Ctrl+C: it copies the selection, or the whole body when
// nothing is selected.
class BodyText : public QTextEdit {
    Q_OBJECT
public:
    BodyText(const PanelStyle& style, QWidget* parent = nullptr);

    void setBody(const AttributedText& text);
    const AttributedText& body() const { return m_body; }

    // The context menu: "Copy" and "Select All". The caller owns it.
    QMenu* createCopyMenu();

    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void clicked();

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    AttributedText m_body;
    QPoint m_pressedAt;
    bool m_pressed = false;
};
