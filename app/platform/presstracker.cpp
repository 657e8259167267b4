#include "platform/presstracker.h"

#include <QLineF>

PressTracker::PressTracker(Sink sink, QObject* parent) : QObject(parent), m_sink(std::move(sink))
{
    m_hold.setSingleShot(true);
    m_hold.setInterval(kHoldMs);
    m_hold.setTimerType(Qt::PreciseTimer);
    connect(&m_hold, &QTimer::timeout, this, &PressTracker::deepPress);
}

void PressTracker::press(const PointerTarget& at)
{
    m_pressed = true;
    m_pressedAt = at;
    m_latest = at.screen;
    emitEvent(InputEvent::LeftMouseDown, 0, at.screen);
    emitEvent(InputEvent::Pressure, 1, at.screen);
    m_hold.start();
}

void PressTracker::move(const QPointF& to)
{
    if (!m_pressed)
        return;
    m_latest = to;
    if (m_hold.isActive() && QLineF(m_pressedAt.screen, to).length() > kStillDistance)
        m_hold.stop();
}

void PressTracker::release(const QPointF& at)
{
    if (!m_pressed)
        return;
    m_hold.stop();
    m_pressed = false;
    emitEvent(InputEvent::Pressure, 0, at);
    emitEvent(InputEvent::LeftMouseUp, 0, at);
}

void PressTracker::cancel()
{
    m_hold.stop();
    m_pressed = false;
}

void PressTracker::deepPress()
{
    if (!m_pressed)
        return;
    if (m_probe) {
        if (const std::optional<QPointF> now = m_probe()) {
            m_latest = *now;
            if (QLineF(m_pressedAt.screen, *now).length() > kStillDistance)
                return;
        }
    }
    emitEvent(InputEvent::Pressure, 2, m_latest);
}

void PressTracker::emitEvent(int type, int stage, const QPointF& at)
{
    InputEvent event;
    event.type = type;
    event.stage = stage;
    event.pressure = type == InputEvent::Pressure && stage > 0 ? 1.0 : 0.0;
    event.target = m_pressedAt;
    event.target.screen = at;
    m_sink(event);
}
