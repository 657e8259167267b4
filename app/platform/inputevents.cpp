#include "platform/inputevents.h"

#include "platform/desktopsession.h"
#include "platform/gnome/gnomeshellinputevents.h"
#include "platform/x11/x11inputevents.h"

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

// The source for this session, or null where nobody may watch the pointer.
static std::unique_ptr<InputEvents> makeSessionInputEvents()
{
    switch (DesktopSession::current()) {
    case DesktopSession::Kind::X11:
        return std::make_unique<X11InputEvents>();
    case DesktopSession::Kind::GnomeWayland:
        return std::make_unique<GnomeShellInputEvents>();
    case DesktopSession::Kind::OtherWayland:
    case DesktopSession::Kind::None:
        break;
    }
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
    Q_EMIT delivered(event, verdict);
    return verdict;
}
