#include "platform/x11/x11windows.h"

#include <QElapsedTimer>
#include <poll.h>
#include <vector>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

struct X11Windows::Connection {
    Display* display = nullptr;
    Window root = 0;
    Window selectionWindow = 0;
    Atom clientListStacking = 0;
    Atom wmPid = 0;
    Atom wmName = 0;
    Atom utf8String = 0;
    Atom frameExtents = 0;
    Atom gtkFrameExtents = 0;
    Atom wmState = 0;
    Atom selectionProperty = 0;
    Atom incr = 0;
};

namespace {

int g_errors = 0;

int countError(Display*, XErrorEvent*)
{
    ++g_errors;
    return 0;
}

// While it lives, X errors (a window destroyed between two requests) are counted instead of
// ending the process.
class ErrorTrap {
public:
    explicit ErrorTrap(Display* display) : m_display(display)
    {
        XSync(m_display, False);
        g_errors = 0;
        m_previous = XSetErrorHandler(countError);
    }
    ~ErrorTrap()
    {
        XSync(m_display, False);
        XSetErrorHandler(m_previous);
    }
    ErrorTrap(const ErrorTrap&) = delete;
    ErrorTrap& operator=(const ErrorTrap&) = delete;

private:
    Display* m_display;
    XErrorHandler m_previous;
};

struct Property {
    Atom type = None;
    int format = 0;
    std::vector<unsigned char> bytes;
    unsigned long items = 0;
};

std::optional<Property> readProperty(Display* display, Window window, Atom name,
                                     bool remove = false)
{
    Atom type = None;
    int format = 0;
    unsigned long items = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display, window, name, 0, 1 << 24, remove ? True : False,
                           AnyPropertyType, &type, &format, &items, &after, &data) != Success ||
        type == None) {
        if (data)
            XFree(data);
        return std::nullopt;
    }
    Property property{type, format, {}, items};
    // Xlib hands 32-bit items over as longs.
    const size_t unit = format == 32 ? sizeof(long) : static_cast<size_t>(format / 8);
    if (data) {
        property.bytes.assign(data, data + items * unit);
        XFree(data);
    }
    return property;
}

std::vector<unsigned long> cardinals(Display* display, Window window, Atom name)
{
    std::vector<unsigned long> values;
    const std::optional<Property> property = readProperty(display, window, name);
    if (!property || property->format != 32)
        return values;
    const auto* longs = reinterpret_cast<const unsigned long*>(property->bytes.data());
    values.assign(longs, longs + property->items);
    return values;
}

QString textOf(const Property& property, Atom utf8String)
{
    if (property.format != 8)
        return {};
    const auto* chars = reinterpret_cast<const char*>(property.bytes.data());
    const auto size = static_cast<qsizetype>(property.bytes.size());
    if (property.type == utf8String)
        return QString::fromUtf8(chars, size);
    if (property.type == XA_STRING)
        return QString::fromLatin1(chars, size);
    return {};
}

bool viewable(Display* display, Window window, XWindowAttributes* attributes)
{
    return XGetWindowAttributes(display, window, attributes) &&
           attributes->map_state == IsViewable && attributes->c_class == InputOutput;
}

// The window that carries the client's properties: the window itself or, below a frame the
// window manager put around it, the first descendant with WM_STATE.
Window clientWindow(const X11Windows::Connection& c, Window window, int depth = 0)
{
    if (readProperty(c.display, window, c.wmState))
        return window;
    if (depth > 3)
        return 0;
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(c.display, window, &root, &parent, &children, &count))
        return 0;
    Window found = 0;
    for (unsigned int i = count; i-- > 0 && !found;)
        found = clientWindow(c, children[i], depth + 1);
    if (children)
        XFree(children);
    return found;
}

} // namespace

X11Windows::X11Windows(Connection* connection) : m_connection(connection) {}

std::optional<QString> X11Windows::displayProblem()
{
    const QByteArray name = qgetenv("DISPLAY");
    if (name.isEmpty())
        return QStringLiteral("DISPLAY is not set");
    if (!instance())
        return QStringLiteral("cannot open display %1").arg(QString::fromLocal8Bit(name));
    return std::nullopt;
}

X11Windows* X11Windows::instance()
{
    // Never closed: at exit the server may be gone already, and Xlib ends the process when a
    // request meets a dead connection.
    static X11Windows* windows = nullptr;
    if (windows)
        return windows;
    const QByteArray name = qgetenv("DISPLAY");
    if (name.isEmpty())
        return nullptr;
    Display* display = XOpenDisplay(name.constData());
    if (!display)
        return nullptr;
    auto* c = new Connection;
    c->display = display;
    c->root = DefaultRootWindow(display);
    c->clientListStacking = XInternAtom(display, "_NET_CLIENT_LIST_STACKING", False);
    c->wmPid = XInternAtom(display, "_NET_WM_PID", False);
    c->wmName = XInternAtom(display, "_NET_WM_NAME", False);
    c->utf8String = XInternAtom(display, "UTF8_STRING", False);
    c->frameExtents = XInternAtom(display, "_NET_FRAME_EXTENTS", False);
    c->gtkFrameExtents = XInternAtom(display, "_GTK_FRAME_EXTENTS", False);
    c->wmState = XInternAtom(display, "WM_STATE", False);
    c->selectionProperty = XInternAtom(display, "PEEKWELL_SELECTION", False);
    c->incr = XInternAtom(display, "INCR", False);
    windows = new X11Windows(c);
    return windows;
}

std::optional<WindowFacts> X11Windows::windowAt(const QPointF& screen)
{
    Connection& c = *m_connection;
    ErrorTrap trap(c.display);

    // Bottom to top. Without a window manager, the root's children stand in for its list.
    std::vector<Window> stack;
    for (unsigned long window : cardinals(c.display, c.root, c.clientListStacking))
        stack.push_back(static_cast<Window>(window));
    const bool managed = !stack.empty();
    if (!managed) {
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (XQueryTree(c.display, c.root, &root, &parent, &children, &count) && children) {
            stack.assign(children, children + count);
            XFree(children);
        }
    }

    for (auto it = stack.rbegin(); it != stack.rend(); ++it) {
        XWindowAttributes attributes;
        if (!viewable(c.display, *it, &attributes))
            continue;
        const Window client = managed ? *it : clientWindow(c, *it);
        const Window window = client ? client : *it;
        if (window != *it && !viewable(c.display, window, &attributes))
            continue;
        int x = 0;
        int y = 0;
        Window child = 0;
        if (!XTranslateCoordinates(c.display, window, c.root, 0, 0, &x, &y, &child))
            continue;
        const QRectF own(x, y, attributes.width, attributes.height);
        QRectF frame = own;
        // Decorations the window manager draws lie outside the window, shadows a toolkit
        // draws itself inside it.
        const std::vector<unsigned long> outside = cardinals(c.display, window, c.frameExtents);
        if (outside.size() == 4)
            frame.adjust(-double(outside[0]), -double(outside[2]), double(outside[1]),
                         double(outside[3]));
        const std::vector<unsigned long> inside = cardinals(c.display, window, c.gtkFrameExtents);
        if (inside.size() == 4)
            frame.adjust(double(inside[0]), double(inside[2]), -double(inside[1]),
                         -double(inside[3]));
        if (!frame.contains(screen))
            continue;

        WindowFacts facts;
        facts.frame = frame;
        facts.buffer = own;
        const std::vector<unsigned long> pid = cardinals(c.display, window, c.wmPid);
        facts.pid = pid.empty() ? 0 : static_cast<qint64>(pid.front());
        if (const std::optional<Property> name = readProperty(c.display, window, c.wmName))
            facts.title = textOf(*name, c.utf8String);
        if (facts.title.isEmpty()) {
            if (const std::optional<Property> name = readProperty(c.display, window, XA_WM_NAME))
                facts.title = textOf(*name, c.utf8String);
        }
        return facts;
    }
    return std::nullopt;
}

bool X11Windows::announcesAccessibilityBus()
{
    Connection& c = *m_connection;
    ErrorTrap trap(c.display);
    return readProperty(c.display, c.root, XInternAtom(c.display, "AT_SPI_BUS", False)).has_value();
}

std::optional<QString> X11Windows::primarySelection(int timeoutMs)
{
    Connection& c = *m_connection;
    ErrorTrap trap(c.display);
    if (XGetSelectionOwner(c.display, XA_PRIMARY) == None)
        return std::nullopt;
    if (!c.selectionWindow)
        c.selectionWindow = XCreateSimpleWindow(c.display, c.root, -10, -10, 1, 1, 0, 0, 0);

    // An answer to an earlier request that came too late must not pass for this one.
    XEvent event;
    while (XCheckTypedWindowEvent(c.display, c.selectionWindow, SelectionNotify, &event)) {
    }
    XDeleteProperty(c.display, c.selectionWindow, c.selectionProperty);
    XConvertSelection(c.display, XA_PRIMARY, c.utf8String, c.selectionProperty, c.selectionWindow,
                      CurrentTime);
    XFlush(c.display);

    QElapsedTimer clock;
    clock.start();
    while (!XCheckTypedWindowEvent(c.display, c.selectionWindow, SelectionNotify, &event)) {
        const qint64 left = timeoutMs - clock.elapsed();
        if (left <= 0)
            return std::nullopt;
        pollfd connection{ConnectionNumber(c.display), POLLIN, 0};
        poll(&connection, 1, static_cast<int>(left));
        XEventsQueued(c.display, QueuedAfterReading);
    }
    if (event.xselection.property == None)
        return std::nullopt;
    const std::optional<Property> property =
        readProperty(c.display, c.selectionWindow, c.selectionProperty, true);
    if (!property || property->type == c.incr)
        return std::nullopt;
    const QString text = textOf(*property, c.utf8String);
    if (text.isEmpty())
        return std::nullopt;
    return text;
}
