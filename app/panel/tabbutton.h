#pragma once

#include "lookup/lookupmodel.h"
#include "panel/panelstyle.h"

#include <QAbstractButton>

// One tab of the tab bar: the source's symbol, its title and a badge that tells the tab's
// state at a glance. The selected tab is semibold on a capsule. Clicking is handled by the
// owner (clicked()).
class TabButton : public QAbstractButton {
    Q_OBJECT
public:
    enum class Badge {
        None,    // running with one result, or done with one
        Spinner, // loading, or streaming without results yet
        Count,   // two results or more
        Dash,    // finished empty
        Failed,  // an orange mark
    };

    TabButton(const PanelStyle& style, QWidget* parent = nullptr);

    void setTab(const LookupModel::Tab& tab, bool selected);
    const QString& tabId() const { return m_tab.id; }
    bool isSelectedTab() const { return m_selected; }
    Badge badge() const { return badgeFor(m_tab); }
    // The count shown, or an empty text when the badge is not a count.
    QString badgeText() const;

    static Badge badgeFor(const LookupModel::Tab& tab);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool hitButton(const QPoint& pos) const override;

private:
    qreal badgeWidth() const;

    PanelStyle m_style;
    LookupModel::Tab m_tab;
    bool m_selected = false;
};
