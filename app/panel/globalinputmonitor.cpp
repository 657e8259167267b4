#include "globalinputmonitor.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLoggingCategory>

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>
#include <xcb/xcb.h>

Q_LOGGING_CATEGORY(lcInput, "peekwell.panel")

namespace {

// The start of an XInput 2 raw button event, as it arrives on the connection.
struct RawButtonEvent {
    quint8 responseType;
    quint8 extension;
    quint16 sequence;
    quint32 length;
    quint16 eventType;
    quint16 deviceId;
    quint32 time;
    quint32 detail; // the button
};

} // namespace

std::unique_ptr<GlobalInputMonitor> GlobalInputMonitor::create()
{
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->display() || !x11->connection())
        return nullptr;
    std::unique_ptr<GlobalInputMonitor> monitor(new GlobalInputMonitor);
    monitor->m_display = x11->display();
    monitor->m_connection = x11->connection();
    monitor->m_root =
        static_cast<quint32>(DefaultRootWindow(static_cast<Display*>(monitor->m_display)));
    monitor->grabEscape();
    monitor->watchButtons(true);
    qGuiApp->installNativeEventFilter(monitor.get());
    return monitor;
}

GlobalInputMonitor::~GlobalInputMonitor()
{
    if (qGuiApp)
        qGuiApp->removeNativeEventFilter(this);
    auto* connection = static_cast<xcb_connection_t*>(m_connection);
    if (connection) {
        for (quint16 modifiers : m_grabbedModifiers)
            xcb_ungrab_key(connection, m_escapeKeycode, m_root, modifiers);
        xcb_flush(connection);
    }
    watchButtons(false);
}

void GlobalInputMonitor::grabEscape()
{
    auto* dpy = static_cast<Display*>(m_display);
    auto* connection = static_cast<xcb_connection_t*>(m_connection);
    m_escapeKeycode = static_cast<quint8>(XKeysymToKeycode(dpy, XK_Escape));
    if (m_escapeKeycode == 0)
        return;
    // Escape counts with Caps Lock and Num Lock on as well.
    const quint16 locks[] = {0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2,
                             XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2};
    for (quint16 modifiers : locks) {
        xcb_void_cookie_t cookie =
            xcb_grab_key_checked(connection, 1, m_root, modifiers, m_escapeKeycode,
                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        if (xcb_generic_error_t* error = xcb_request_check(connection, cookie)) {
            qCInfo(lcInput) << "Escape is held by another client; the panel closes by clicks only";
            free(error);
            continue;
        }
        m_grabbedModifiers.append(modifiers);
    }
}

void GlobalInputMonitor::watchButtons(bool on)
{
    auto* dpy = static_cast<Display*>(m_display);
    if (!dpy)
        return;
    if (on) {
        int event = 0;
        int error = 0;
        int opcode = 0;
        // Qt has agreed on an XInput 2 version on this connection already; asking again
        // for a lower one would be refused, so only the extension's presence is checked.
        if (!XQueryExtension(dpy, "XInputExtension", &opcode, &event, &error)) {
            qCInfo(lcInput) << "XInput is missing; clicks elsewhere do not close the panel";
            return;
        }
        m_xiOpcode = opcode;
    } else if (m_xiOpcode < 0) {
        return;
    }
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    if (on)
        XISetMask(bits, XI_RawButtonPress);
    XIEventMask mask;
    mask.deviceid = XIAllMasterDevices;
    mask.mask_len = sizeof(bits);
    mask.mask = bits;
    XISelectEvents(dpy, static_cast<Window>(m_root), &mask, 1);
    XFlush(dpy);
    if (!on)
        m_xiOpcode = -1;
}

bool GlobalInputMonitor::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    const quint8 type = event->response_type & 0x7f;
    if ((type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) && !m_grabbedModifiers.isEmpty()) {
        auto* key = reinterpret_cast<xcb_key_press_event_t*>(event);
        if (key->detail != m_escapeKeycode || key->event != m_root)
            return false;
        if (type == XCB_KEY_PRESS)
            Q_EMIT escapePressed();
        return true; // the key was grabbed for the panel: nobody else expects it
    }
    if (type == XCB_GE_GENERIC && m_xiOpcode >= 0) {
        auto* raw = reinterpret_cast<RawButtonEvent*>(event);
        if (raw->extension != m_xiOpcode || raw->eventType != XI_RawButtonPress)
            return false;
        // Buttons 4 to 7 are wheel turns, not clicks.
        if (raw->detail >= 1 && raw->detail <= 3)
            Q_EMIT buttonPressed(QCursor::pos());
        return true;
    }
    return false;
}
