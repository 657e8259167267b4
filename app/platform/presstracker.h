#pragma once

#include "inputevents.h"

#include <QObject>
#include <QTimer>
#include <functional>

// Turns the left button's press, motion and release into the events force clicks are made of,
// for sources that see only buttons and positions (X11, the GNOME Shell extension):
// press → LeftMouseDown and at once Pressure stage 1; held within 4 px of where it went down
// for 0.5 s → Pressure stage 2 (once per press); release → Pressure stage 0 and LeftMouseUp.
// Moving farther than 4 px gives up the deep press for that press.
//
// Events go to the sink synchronously, the stage-2 event from a timer on the owning thread.
class PressTracker : public QObject {
    Q_OBJECT
public:
    static constexpr int kHoldMs = 500;
    static constexpr double kStillDistance = 4;

    using Sink = std::function<void(const InputEvent&)>;
    explicit PressTracker(Sink sink, QObject* parent = nullptr);

    // A second press without a release in between starts over (the release was missed).
    void press(const PointerTarget& at);
    void move(const QPointF& to);
    // A release without a press gives nothing.
    void release(const QPointF& at);

    bool isPressed() const { return m_pressed; }

private:
    void emitEvent(int type, int stage, const QPointF& at);
    void deepPress();

    Sink m_sink;
    QTimer m_hold;
    bool m_pressed = false;
    PointerTarget m_pressedAt;
    QPointF m_latest;
};
