#include "platform/x11/x11activewindow.h"

#include <QSocketNotifier>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/xcb.h>

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using XcbReply = std::unique_ptr<T, FreeDeleter>;

quint32 internAtom(xcb_connection_t* connection, const char* name)
{
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
        nullptr));
    return reply ? reply->atom : quint32(XCB_ATOM_NONE);
}

XcbReply<xcb_get_property_reply_t> readProperty(xcb_connection_t* connection, quint32 window,
                                                quint32 atom, quint32 type, quint32 length)
{
    return XcbReply<xcb_get_property_reply_t>(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, atom, type, 0, length), nullptr));
}

std::optional<quint32> cardinal(xcb_connection_t* connection, quint32 window, quint32 atom,
                                quint32 type)
{
    auto reply = readProperty(connection, window, atom, type, 1);
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    return *static_cast<const quint32*>(xcb_get_property_value(reply.get()));
}

} // namespace

X11ActiveWindow::X11ActiveWindow(QObject* parent) : QObject(parent) {}

X11ActiveWindow::~X11ActiveWindow()
{
    delete m_notifier;
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11ActiveWindow::start(QString* error)
{
    if (m_connection)
        return true;
    m_displayName = qEnvironmentVariable("DISPLAY");
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        if (error)
            *error = m_displayName.isEmpty()
                         ? QStringLiteral("DISPLAY is not set")
                         : QStringLiteral("cannot open display %1").arg(m_displayName);
        return false;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    m_connection = connection;
    m_root = screens.data->root;
    m_activeAtom = internAtom(connection, "_NET_ACTIVE_WINDOW");
    m_pidAtom = internAtom(connection, "_NET_WM_PID");
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection, m_root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);
    m_lastActive = activeWindow();

    m_notifier = new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11ActiveWindow::readEvents);
    return true;
}

std::optional<quint32> X11ActiveWindow::activeWindow() const
{
    if (!m_connection)
        return std::nullopt;
    const std::optional<quint32> window =
        cardinal(m_connection, m_root, m_activeAtom, XCB_ATOM_WINDOW);
    if (!window || *window == XCB_WINDOW_NONE)
        return std::nullopt;
    return window;
}

std::optional<X11ActiveWindow::Owner> X11ActiveWindow::current() const
{
    const std::optional<quint32> window = activeWindow();
    if (!window)
        return std::nullopt;
    const std::optional<quint32> pid =
        cardinal(m_connection, *window, m_pidAtom, XCB_ATOM_CARDINAL);
    if (!pid || *pid == 0)
        return std::nullopt;
    Owner owner;
    owner.pid = *pid;
    // WM_CLASS holds the instance and the class name, each ending in a NUL.
    if (auto reply = readProperty(m_connection, *window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 256)) {
        const char* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
        const QList<QByteArray> parts =
            QByteArray(data, xcb_get_property_value_length(reply.get())).split('\0');
        if (parts.size() >= 2)
            owner.className = QString::fromLocal8Bit(parts.at(1));
    }
    return owner;
}

void X11ActiveWindow::readEvents()
{
    // Replies read while reporting may queue events without the socket turning readable
    // again, so the queue is drained until reporting leaves nothing behind.
    bool fromSocket = true;
    for (;;) {
        bool changed = false;
        while (xcb_generic_event_t* event = fromSocket ? xcb_poll_for_event(m_connection)
                                                       : xcb_poll_for_queued_event(m_connection)) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                const auto* notify = reinterpret_cast<xcb_property_notify_event_t*>(event);
                changed = changed || (notify->window == m_root && notify->atom == m_activeAtom);
            }
            std::free(event);
        }
        if (xcb_connection_has_error(m_connection)) {
            delete m_notifier;
            m_notifier = nullptr;
            xcb_disconnect(m_connection);
            m_connection = nullptr;
            Q_EMIT connectionLost(
                QStringLiteral("the X server %1 closed the connection").arg(m_displayName));
            return;
        }
        if (!changed)
            return;
        fromSocket = false;
        const std::optional<quint32> window = activeWindow();
        if (window == m_lastActive)
            continue;
        m_lastActive = window;
        if (const std::optional<Owner> owner = current())
            Q_EMIT activated(*owner);
    }
}
