#include "inputevents.h"

namespace {

std::unique_ptr<InputEvents>& slot()
{
    static std::unique_ptr<InputEvents> source;
    return source;
}

bool& made()
{
    static bool value = false;
    return value;
}

} // namespace

// The source for this session, or null. Placeholder until the X11 adapter lands.
static std::unique_ptr<InputEvents> makeSessionInputEvents()
{
    return nullptr;
}

InputEvents* InputEvents::session()
{
    if (!made()) {
        made() = true;
        if (!slot())
            slot() = makeSessionInputEvents();
    }
    return slot().get();
}

void InputEvents::setSession(std::unique_ptr<InputEvents> source)
{
    slot() = std::move(source);
    made() = true;
}

bool InputEvents::deliver(const InputEvent& event)
{
    const bool verdict = m_handler ? m_handler(event) : false;
    m_lastVerdict = verdict;
    if (verdict)
        ++m_swallowVerdicts;
    Q_EMIT delivered(event, verdict);
    return verdict;
}
