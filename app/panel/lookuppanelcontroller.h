#pragma once

#include "lookup/lookupbackend.h"
#include "lookup/lookupmodel.h"
#include "lookup/lookupquery.h"
#include "platform/inputevents.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QUrl>
#include <memory>

class LookupPanel;

// Owns the one lookup panel. Each show() throws away the panel before it (cancelling its
// sources, without animation), starts a new lookup and shows it beside the pointer; the
// panel goes away on Escape, on a mouse press outside it in any application, when an item
// is opened, with the next lookup, or when the input stream stops (then neither Escape nor a
// press outside could be seen). A click inside never closes it.
//
// Presses outside and Escape come from the session's input stream (InputEvents::session()),
// watched while a panel is shown on a real screen. Positions are Qt's global screen
// coordinates (origin at the top left of the primary screen, y downwards), the same
// coordinates X11 input events carry. Main thread only.
class LookupPanelController : public QObject {
    Q_OBJECT
public:
    static constexpr qreal kWidth = 470;
    static constexpr qreal kHeight = 340;

    // The process-wide controller, made on first use.
    static LookupPanelController& shared();

    // Replaces whatever is shown with a panel for this lookup near `point` and returns its
    // model. The model is shared: it stays valid for a caller that keeps it after the panel
    // has closed (its sources are cancelled then).
    std::shared_ptr<LookupModel> show(const LookupQuery& query, const QPointF& point,
                                      const BackendList& backends);
    // Cancels the lookup and takes the panel off screen. Safe when nothing is shown.
    void close();

    LookupPanel* panel() const { return m_panel; }
    std::shared_ptr<LookupModel> model() const { return m_model; }

    // What opening an item's URL does: a copy link puts its command on the clipboard, any
    // other URL opens with the desktop's handler for it; the panel closes either way.
    void open(const QUrl& url);

    // A screen as placement sees it: its whole area and the part windows may use.
    struct ScreenArea {
        QRectF frame;
        QRectF available;
    };
    // The panel's frame for a pointer at `point`, on the screens of this session.
    static QRectF frame(const QPointF& point);
    // The same for a given list of screens; `mainIndex` is the screen used when no screen
    // contains the point. With no screens the panel keeps to a 470 × 340 area at (0, 0).
    static QRectF frame(const QPointF& point, const QList<ScreenArea>& screens,
                        qsizetype mainIndex);

private:
    LookupPanelController() = default;
    void installMonitors();
    void removeMonitors();
    void onButtonPressed(const QPointF& position);
    // Logs the moment each tab turns final, with its phase ("chats final, done"; Timing),
    // while `context` lives.
    static void markFinalTabs(LookupModel* model, QObject* context);

    QPointer<LookupPanel> m_panel;
    std::shared_ptr<LookupModel> m_model;
    QPointer<InputEvents> m_input;
    QList<QMetaObject::Connection> m_monitors;
};
