#include "platform/x11/x11inputevents.h"

#include <QLoggingCategory>
#include <QMetaMethod>
#include <QSet>
#include <cstdlib>

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>

Q_LOGGING_CATEGORY(lcX11Input, "peekwell.platform.x11", QtWarningMsg)

namespace {

// Xlib's error handlers are process-wide, and its defaults end the process. Ours take the
// errors of our connections (a key somebody else holds, a device that went away, a server
// that quit) and pass every other connection's on to the handler that was there before (Qt's
// or Xlib's own).
struct OurConnections {
    QSet<Display*> displays;
    int lastError = Success;
    XErrorHandler previousError = nullptr;
    XIOErrorHandler previousIOError = nullptr;
};

OurConnections& ours()
{
    // Lives with the process: a source may close its connection while statics are destroyed.
    static auto* connections = new OurConnections;
    return *connections;
}

int onError(Display* display, XErrorEvent* error)
{
    if (ours().displays.contains(display)) {
        ours().lastError = error->error_code;
        return 0;
    }
    return ours().previousError ? ours().previousError(display, error) : 0;
}

int onIOError(Display* display)
{
    // For ours, returning hands over to the exit handler below, which does not exit.
    if (ours().displays.contains(display))
        return 0;
    return ours().previousIOError ? ours().previousIOError(display) : 0;
}

void adopt(Display* display)
{
    static const bool handlersSet = [] {
        ours().previousError = XSetErrorHandler(onError);
        ours().previousIOError = XSetIOErrorHandler(onIOError);
        return true;
    }();
    Q_UNUSED(handlersSet);
    ours().displays.insert(display);
}

Display* dpy(void* display)
{
    return static_cast<Display*>(display);
}

bool isWheel(int button)
{
    return button >= 4 && button <= 7;
}

} // namespace

X11InputEvents::X11InputEvents() : m_tracker([this](const InputEvent& event) { deliver(event); })
{
    m_tracker.setPositionProbe([this] { return pointerPosition(m_pressDevice); });
}

X11InputEvents::~X11InputEvents()
{
    m_notifier.reset();
    if (Display* display = dpy(m_display)) {
        m_display = nullptr;
        ours().displays.remove(display);
        XCloseDisplay(display);
    }
}

QString X11InputEvents::sourceName() const
{
    return QStringLiteral("X11");
}

bool X11InputEvents::install()
{
    closeBroken();
    if (m_display)
        return true;
    const QByteArray name = qgetenv("DISPLAY");
    if (name.isEmpty()) {
        m_problem = QStringLiteral("DISPLAY is not set");
        return false;
    }
    Display* display = XOpenDisplay(name.constData());
    if (!display) {
        m_problem = QStringLiteral("cannot open display %1").arg(QString::fromLocal8Bit(name));
        return false;
    }
    adopt(display);
    int event = 0;
    int error = 0;
    int major = 2;
    int minor = 2;
    // 2.2: raw events reach the root window even while another client holds a grab, as the
    // application under a held button does.
    if (!XQueryExtension(display, "XInputExtension", &m_xiOpcode, &event, &error) ||
        XIQueryVersion(display, &major, &minor) != Success || major * 100 + minor < 202) {
        ours().displays.remove(display);
        XCloseDisplay(display);
        m_problem =
            QStringLiteral("the X server on %1 lacks XInput 2.2").arg(QString::fromLocal8Bit(name));
        return false;
    }
    XSetIOErrorExitHandler(
        display, [](Display*, void* self) { static_cast<X11InputEvents*>(self)->lost(); }, this);
    m_display = display;
    m_problem.clear();
    m_escapeKeycode = XKeysymToKeycode(display, XK_Escape);
    readButtonMapping();
    selectEvents();
    if (m_wantEscape)
        grabEscape(true);
    m_notifier =
        std::make_unique<QSocketNotifier>(ConnectionNumber(display), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &X11InputEvents::readEvents);
    XFlush(display);
    readEventsSoon(); // replies above may have brought events along
    qCInfo(lcX11Input) << "listening to the pointer on" << name;
    return true;
}

void X11InputEvents::watchEscape(bool on)
{
    m_wantEscape = on;
    if (m_display && on != hasEscapeGrab())
        grabEscape(on);
}

void X11InputEvents::connectNotify(const QMetaMethod& signal)
{
    if (signal == QMetaMethod::fromSignal(&InputEvents::rawEvent))
        selectEvents();
}

void X11InputEvents::disconnectNotify(const QMetaMethod& signal)
{
    if (signal == QMetaMethod::fromSignal(&InputEvents::rawEvent))
        selectEvents();
}

// Motion only while it matters (a held left button, or someone watching every event); keys
// only for someone watching every event.
void X11InputEvents::selectEvents()
{
    Display* display = dpy(m_display);
    if (!display)
        return;
    const bool everything = isSignalConnected(QMetaMethod::fromSignal(&InputEvents::rawEvent));
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XISetMask(bits, XI_RawButtonPress);
    XISetMask(bits, XI_RawButtonRelease);
    if (everything || m_tracker.isPressed())
        XISetMask(bits, XI_RawMotion);
    if (everything) {
        XISetMask(bits, XI_RawKeyPress);
        XISetMask(bits, XI_RawKeyRelease);
    }
    XIEventMask mask;
    mask.deviceid = XIAllMasterDevices;
    mask.mask_len = sizeof(bits);
    mask.mask = bits;
    XISelectEvents(display, DefaultRootWindow(display), &mask, 1);
    XFlush(display);
}

void X11InputEvents::grabEscape(bool on)
{
    Display* display = dpy(m_display);
    const Window root = DefaultRootWindow(display);
    if (!on) {
        for (unsigned modifiers : std::as_const(m_grabbedModifiers))
            XUngrabKey(display, static_cast<int>(m_escapeKeycode), modifiers, root);
        m_grabbedModifiers.clear();
        XFlush(display);
        return;
    }
    if (m_escapeKeycode == 0)
        return;
    // Escape counts with Caps Lock and Num Lock on as well.
    for (unsigned modifiers :
         {0u, unsigned(LockMask), unsigned(Mod2Mask), unsigned(LockMask | Mod2Mask)}) {
        ours().lastError = Success;
        XGrabKey(display, static_cast<int>(m_escapeKeycode), modifiers, root, True, GrabModeAsync,
                 GrabModeAsync);
        XSync(display, False);
        if (ours().lastError == Success)
            m_grabbedModifiers.append(modifiers);
    }
    if (m_grabbedModifiers.isEmpty())
        qCInfo(lcX11Input) << "Escape is held by another client; the panel closes by clicks only";
    readEventsSoon();
}

void X11InputEvents::readEventsSoon()
{
    if (m_readQueued)
        return;
    m_readQueued = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_readQueued = false;
            readEvents();
        },
        Qt::QueuedConnection);
}

void X11InputEvents::readEvents()
{
    // Each pass re-reads m_display: a handler may have lost the connection meanwhile.
    while (Display* display = dpy(m_display)) {
        if (!XPending(display))
            break;
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == GenericEvent && event.xcookie.extension == m_xiOpcode) {
            if (!XGetEventData(display, &event.xcookie))
                continue;
            const auto* raw = static_cast<const XIRawEvent*>(event.xcookie.data);
            const int type = raw->evtype;
            const int device = raw->deviceid;
            const int detail = raw->detail;
            XFreeEventData(display, &event.xcookie);
            handleRawEvent(type, device, detail);
        } else if (event.type == KeyPress) {
            handleKeyPress(event.xkey.keycode);
        } else if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
            if (event.xmapping.request == MappingPointer)
                readButtonMapping();
        }
    }
}

void X11InputEvents::handleRawEvent(int type, int device, int detail)
{
    switch (type) {
    case XI_RawButtonPress:
    case XI_RawButtonRelease: {
        const int button = logicalButton(detail);
        const bool left = button == 1;
        const bool press = type == XI_RawButtonPress;
        const int mapped = !left ? 0 : press ? InputEvent::LeftMouseDown : InputEvent::LeftMouseUp;
        Q_EMIT rawEvent(type, mapped, button, isWheel(button));
        if (isWheel(button) || (!press && !left))
            return;
        const std::optional<QPointF> at = pointerPosition(device);
        if (left && !press) {
            m_tracker.release(at.value_or(QPointF())); // a release must end the press
            selectEvents();
        } else if (at && left) {
            m_pressDevice = device;
            m_tracker.press(PointerTarget{*at, std::nullopt});
            selectEvents();
        }
        if (at && press)
            Q_EMIT buttonPressed(*at, button);
        return;
    }
    case XI_RawMotion:
        Q_EMIT rawEvent(type, 0, 0, true);
        if (m_tracker.isHolding()) {
            if (const std::optional<QPointF> at = pointerPosition(m_pressDevice))
                m_tracker.move(*at);
        }
        return;
    default:
        Q_EMIT rawEvent(type, 0, detail, false);
        return;
    }
}

void X11InputEvents::handleKeyPress(unsigned keycode)
{
    if (keycode == m_escapeKeycode && hasEscapeGrab())
        Q_EMIT escapePressed();
}

std::optional<QPointF> X11InputEvents::pointerPosition(int device) const
{
    Display* display = dpy(m_display);
    if (!display)
        return std::nullopt;
    Window root = 0;
    Window child = 0;
    double rootX = 0;
    double rootY = 0;
    double x = 0;
    double y = 0;
    XIButtonState buttons{};
    XIModifierState modifiers{};
    XIGroupState group{};
    const bool known = XIQueryPointer(display, device, DefaultRootWindow(display), &root, &child,
                                      &rootX, &rootY, &x, &y, &buttons, &modifiers, &group);
    free(buttons.mask);
    if (!known)
        return std::nullopt;
    return QPointF(rootX, rootY);
}

// Raw events carry the device's own button numbers; a swapped (left-handed) mapping applies
// on top of them.
int X11InputEvents::logicalButton(int physical) const
{
    if (physical >= 1 && physical <= m_buttonMap.size())
        return static_cast<unsigned char>(m_buttonMap[physical - 1]);
    return physical;
}

void X11InputEvents::readButtonMapping()
{
    unsigned char map[256];
    const int count = XGetPointerMapping(dpy(m_display), map, sizeof(map));
    m_buttonMap = QByteArray(reinterpret_cast<const char*>(map), qMax(count, 0));
}

// Called by Xlib from inside whichever call found the connection broken: mark it, and close
// it once that call has returned.
void X11InputEvents::lost()
{
    m_broken = true;
    if (m_notifier)
        m_notifier->setEnabled(false);
    QMetaObject::invokeMethod(this, &X11InputEvents::closeBroken, Qt::QueuedConnection);
}

void X11InputEvents::closeBroken()
{
    Display* display = dpy(m_display);
    if (!display || !m_broken)
        return;
    qCWarning(lcX11Input) << "the X connection broke; listening again on the next install";
    m_notifier.reset();
    m_tracker.cancel();
    m_grabbedModifiers.clear();
    m_display = nullptr;
    m_broken = false;
    ours().displays.remove(display);
    XCloseDisplay(display);
    m_problem = QStringLiteral("the X connection broke");
    Q_EMIT disabled();
}
