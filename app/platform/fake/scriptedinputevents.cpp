#include "platform/fake/scriptedinputevents.h"

bool ScriptedInputEvents::install()
{
    ++m_installCalls;
    if (!m_refusing)
        m_installed = true;
    return m_installed;
}

bool ScriptedInputEvents::feed(int type, int stage, const QPointF& at)
{
    InputEvent event;
    event.type = type;
    event.stage = stage;
    event.pressure = type == InputEvent::Pressure && stage > 0 ? 1.0 : 0.0;
    event.target.screen = at;
    return deliver(event);
}
