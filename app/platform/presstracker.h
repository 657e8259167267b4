#pragma once

#include "platform/inputevents.h"

#include <QObject>
#include <QTimer>
#include <functional>
#include <optional>

// Turns the left button's press, motion and release into the events force clicks are made of,
// for sources that see only buttons and positions (X11, the GNOME Shell extension):
// press → LeftMouseDown and at once Pressure stage 1; held within 4 px of where it went down
// for 0.5 s → Pressure stage 2 (once per press); release → Pressure stage 0 and LeftMouseUp.
// Moving farther than 4 px gives up the deep press for that press.
//
// Sources whose devices report no motion (absolute pointers under X11) give a position probe:
// it is asked where the pointer is when the 0.5 s are up, and a pointer that has moved away
// gives no deep press either.
//
// Events go to the sink synchronously, the stage-2 event from a timer on the owning thread.
class PressTracker : public QObject {
    Q_OBJECT
public:
    static constexpr int kHoldMs = 500;
    static constexpr double kStillDistance = 4;

    using Sink = std::function<void(const InputEvent&)>;
    using PositionProbe = std::function<std::optional<QPointF>()>;
    explicit PressTracker(Sink sink, QObject* parent = nullptr);

    void setPositionProbe(PositionProbe probe) { m_probe = std::move(probe); }

    // A second press without a release in between starts over (the release was missed).
    void press(const PointerTarget& at);
    void move(const QPointF& to);
    // A release without a press gives nothing.
    void release(const QPointF& at);
    // Forgets a press whose release will not come (the source went away), without events.
    void cancel();

    bool isPressed() const { return m_pressed; }
    // Pressed, and still waiting for the deep press: motion matters only now.
    bool isHolding() const { return m_hold.isActive(); }

private:
    void emitEvent(int type, int stage, const QPointF& at);
    void deepPress();

    Sink m_sink;
    PositionProbe m_probe;
    QTimer m_hold;
    bool m_pressed = false;
    PointerTarget m_pressedAt;
    QPointF m_latest;
};
