#include "platform/x11/x11desktop.h"

#include <QGuiApplication>
#include <QWidget>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace X11Desktop {

namespace {

Display* display()
{
    if (!isActive())
        return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->display() : nullptr;
}

} // namespace

bool isActive()
{
    return qGuiApp && QGuiApplication::platformName() == QLatin1String("xcb");
}

bool hasCompositor()
{
    Display* dpy = display();
    if (!dpy)
        return false;
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(DefaultScreen(dpy));
    const Atom selection = XInternAtom(dpy, name.constData(), False);
    return XGetSelectionOwner(dpy, selection) != 0;
}

void showOnAllDesktops(QWidget* window)
{
    Display* dpy = display();
    if (!dpy || !window)
        return;
    const auto id = static_cast<Window>(window->winId());
    const unsigned long everyDesktop = 0xFFFFFFFFul;
    XChangeProperty(dpy, id, XInternAtom(dpy, "_NET_WM_DESKTOP", False), XA_CARDINAL, 32,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(&everyDesktop), 1);
    const Atom states[] = {
        XInternAtom(dpy, "_NET_WM_STATE_STICKY", False),
        XInternAtom(dpy, "_NET_WM_STATE_ABOVE", False),
        XInternAtom(dpy, "_NET_WM_STATE_SKIP_TASKBAR", False),
        XInternAtom(dpy, "_NET_WM_STATE_SKIP_PAGER", False),
    };
    XChangeProperty(dpy, id, XInternAtom(dpy, "_NET_WM_STATE", False), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(states), 4);
    XFlush(dpy);
}

std::optional<QString> displayProblem()
{
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith("xcb"))
        return std::nullopt; // offscreen, wayland, …: Qt decides
    if (platform.isEmpty() && !qgetenv("WAYLAND_DISPLAY").isEmpty())
        return std::nullopt;
    const QByteArray name = qgetenv("DISPLAY");
    if (name.isEmpty())
        return QStringLiteral("DISPLAY is not set");
    Display* dpy = XOpenDisplay(name.constData());
    if (!dpy)
        return QStringLiteral("cannot open display %1").arg(QString::fromLocal8Bit(name));
    XCloseDisplay(dpy);
    return std::nullopt;
}

} // namespace X11Desktop
