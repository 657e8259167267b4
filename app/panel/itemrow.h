#pragma once

#include "lookup/lookupitem.h"
#include "panel/panelstyle.h"

#include <QUrl>
#include <QWidget>
#include <functional>

class BodyText;

// One result: the title (two lines at most) with its detail on the same baseline and a link
// mark when the item has a URL, then the body with the looked-up term in bold. Hovering
// brightens the link mark; a click anywhere on the row opens the item's URL (through
// `onOpen`) and does nothing for an item without one. Dragging over the body selects text.
class ItemRow : public QWidget {
    Q_OBJECT
public:
    using OpenHandler = std::function<void(const QUrl&)>;

    ItemRow(const PanelStyle& style, OpenHandler onOpen, QWidget* parent = nullptr);

    // Shows the item; an unchanged item keeps everything as it is (and the text selection).
    void setItem(const LookupItem& item, const QString& term);
    const LookupItem& item() const { return m_item; }
    // The body widget, or null when the item has no body.
    BodyText* bodyText() const;

    // Opens the item as a click would.
    void open();

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void setHovering(bool hovering);

    PanelStyle m_style;
    OpenHandler m_onOpen;
    LookupItem m_item;
    QString m_term;
    bool m_hovering = false;
    bool m_pressed = false;
    class Header;
    Header* m_header;
    BodyText* m_body;
};
