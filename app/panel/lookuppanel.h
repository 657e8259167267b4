#pragma once

#include "panel/lookupview.h"

#include <QWidget>

// The floating window that holds a LookupView: frameless, above other windows, on every
// desktop, never taking the keyboard focus from the application under it. Its background
// is rounded (radius 14): translucent where a compositor blends windows, opaque otherwise.
//
// Owned by LookupPanelController; it asks to be dismissed (Escape while it has the focus)
// and leaves the closing to its owner. Main thread only.
class LookupPanel : public QWidget {
    Q_OBJECT
public:
    static constexpr int kCornerRadius = 14;

    LookupPanel(LookupModel* model, LookupView::OpenHandler onOpen, const QRect& frame);

    LookupView* view() const { return m_view; }

    // Shows the window without activating it and fades it in over 0.12 s (on X11; through
    // Xwayland it appears at once).
    void present();

Q_SIGNALS:
    void dismissRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    LookupView* m_view;
    bool m_translucent;
};
