#include "platform/atspi/atspiaccessibility.h"

#include "platform/atspi/accessibilitystatus.h"
#include "platform/atspi/atspihittest.h"
#include "platform/atspi/atspinode.h"
#include "platform/atspi/windowpoint.h"
#include "platform/desktopentries.h"
#include "platform/x11/x11windows.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <deque>

namespace {

Accessibility*& replacement()
{
    static Accessibility* accessibility = nullptr;
    return accessibility;
}

constexpr int kLongestChildList = 1000;
constexpr int kFocusSearched = 150;

std::shared_ptr<AtspiNode> nodeOf(const Accessibility::Element& element)
{
    return std::dynamic_pointer_cast<AtspiNode>(element);
}

QString takeString(gchar* text)
{
    QString result = text ? QString::fromUtf8(text) : QString();
    g_free(text);
    return result;
}

QString executableOf(qint64 pid)
{
    return QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
}

// Every application registration on the bus, with its process id, in the bus's order.
struct Registration {
    AtspiAccessible* root; // owned
    qint64 pid;
};

std::vector<Registration> registrations()
{
    std::vector<Registration> list;
    AtspiAccessible* desktop = atspi_get_desktop(0);
    if (!desktop)
        return list;
    const int count = atspi_accessible_get_child_count(desktop, nullptr);
    for (int i = 0; i < count; ++i) {
        AtspiAccessible* application = atspi_accessible_get_child_at_index(desktop, i, nullptr);
        if (!application)
            continue;
        GError* error = nullptr;
        const guint pid = atspi_accessible_get_process_id(application, &error);
        if (error || pid == 0 || pid == guint(-1)) {
            g_clear_error(&error);
            g_object_unref(application);
            continue;
        }
        list.push_back({application, qint64(pid)});
    }
    g_object_unref(desktop);
    return list;
}

void release(std::vector<Registration>& list)
{
    for (const Registration& registration : list)
        g_object_unref(registration.root);
    list.clear();
}

// A string property of the application's org.a11y.atspi.Application interface ("ToolkitName",
// "Version"), kept per application for the life of the process. libatspi's own getters (2.46)
// read the element's application record again after the answer, but when the application left
// the bus meanwhile, libatspi handles the departure notice while receiving the answer and
// clears that record: the getter crashes. This call receives only the answer; the notice waits
// for libatspi's next request, which checks for it.
std::optional<QString> applicationProperty(AtspiAccessible* root, const char* name, int timeoutMs,
                                           GError** failure)
{
    AtspiApplication* application = root->parent.app;
    if (!application || !application->bus || !application->bus_name)
        return std::nullopt;
    // Bus names are never reused within a bus's life.
    static QHash<QByteArray, QString> answered;
    const QByteArray key = QByteArray(application->bus_name) + ' ' + name;
    if (const auto it = answered.constFind(key); it != answered.constEnd())
        return *it;
    DBusMessage* message = dbus_message_new_method_call(application->bus_name, root->parent.path,
                                                        DBUS_INTERFACE_PROPERTIES, "Get");
    if (!message)
        return std::nullopt;
    const char* interface = "org.a11y.atspi.Application";
    dbus_message_append_args(message, DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &name,
                             DBUS_TYPE_INVALID);
    DBusError error;
    dbus_error_init(&error);
    DBusMessage* reply =
        dbus_connection_send_with_reply_and_block(application->bus, message, timeoutMs, &error);
    dbus_message_unref(message);
    std::optional<QString> value;
    DBusMessageIter iter;
    DBusMessageIter variant;
    if (reply && dbus_message_iter_init(reply, &iter) &&
        dbus_message_iter_get_arg_type(&iter) == DBUS_TYPE_VARIANT) {
        dbus_message_iter_recurse(&iter, &variant);
        if (dbus_message_iter_get_arg_type(&variant) == DBUS_TYPE_STRING) {
            const char* text = nullptr;
            dbus_message_iter_get_basic(&variant, &text);
            value = QString::fromUtf8(text);
            answered.insert(key, *value);
        }
    }
    if (reply)
        dbus_message_unref(reply);
    if (!value)
        g_set_error_literal(failure, g_quark_from_static_string("peekwell-atspi"), 0,
                            dbus_error_is_set(&error) ? error.message : "not a string");
    dbus_error_free(&error);
    return value;
}

bool isWebSwitch(QLatin1String name)
{
    return name == QLatin1String("AXEnhancedUserInterface") ||
           name == QLatin1String("AXManualAccessibility");
}

} // namespace

Accessibility& Accessibility::standard()
{
    static AtspiAccessibility atspi;
    return replacement() ? *replacement() : atspi;
}

void Accessibility::setStandard(Accessibility* accessibility)
{
    replacement() = accessibility;
}

bool AtspiAccessibility::ready()
{
    if (m_ready)
        return *m_ready;
    // libatspi ends the process when a request finds no bus, so it starts only where one is
    // announced (the environment, the X root window) or can be asked for (the session bus).
    const bool announced =
        !qEnvironmentVariableIsEmpty("AT_SPI_BUS_ADDRESS") ||
        AccessibilityStatus::sessionBusReachable() ||
        (X11Windows::instance() && X11Windows::instance()->announcesAccessibilityBus());
    m_ready = announced && atspi_init() == 0;
    if (*m_ready)
        atspi_set_timeout(m_timeoutMs, 0);
    return *m_ready;
}

void AtspiAccessibility::setMessagingTimeout(double seconds)
{
    m_timeoutMs = std::max(1, int(seconds * 1000));
    if (m_ready.value_or(false))
        atspi_set_timeout(m_timeoutMs, 0);
}

std::shared_ptr<AtspiNode> AtspiAccessibility::adopt(AtspiAccessible* root, qint64 pid)
{
    auto program = std::make_shared<AtspiProgram>();
    program->pid = pid;
    program->timeoutMs = m_timeoutMs;
    auto node = std::make_shared<AtspiNode>(root, program);
    AtspiRequest request(*program);
    program->toolkit =
        applicationProperty(root, "ToolkitName", m_timeoutMs, request.error()).value_or(QString());
    if (request.ok())
        program->toolkitVersion =
            applicationProperty(root, "Version", m_timeoutMs, nullptr).value_or(QString());
    // Qt counts UTF-16 units and answers word and sentence ranges only the older way.
    if (program->toolkit.startsWith(QLatin1String("Qt"))) {
        program->utf16 = true;
        program->textAtOffsetOnly = true;
    }
    return node;
}

std::shared_ptr<AtspiNode> AtspiAccessibility::root(qint64 pid)
{
    if (pid <= 0 || !ready())
        return nullptr;
    std::vector<Registration> list = registrations();
    AtspiAccessible* chosen = nullptr;
    int candidates = 0;
    for (const Registration& registration : list) {
        if (registration.pid != pid)
            continue;
        ++candidates;
        if (!chosen)
            chosen = registration.root;
    }
    if (candidates > 1) {
        // A process may register twice (a toolkit and a plug-in of its own); the registration
        // that shows windows is the one to ask.
        for (const Registration& registration : list) {
            if (registration.pid == pid &&
                atspi_accessible_get_child_count(registration.root, nullptr) > 0) {
                chosen = registration.root;
                break;
            }
        }
    }
    std::shared_ptr<AtspiNode> node;
    if (chosen)
        node = adopt(static_cast<AtspiAccessible*>(g_object_ref(chosen)), pid);
    release(list);
    return node;
}

std::shared_ptr<AtspiNode> AtspiAccessibility::rootByWindowTitle(const QString& title)
{
    if (title.isEmpty() || !ready())
        return nullptr;
    std::vector<Registration> list = registrations();
    std::shared_ptr<AtspiNode> found;
    for (const Registration& registration : list) {
        if (registration.pid == QCoreApplication::applicationPid())
            continue;
        auto candidate =
            adopt(static_cast<AtspiAccessible*>(g_object_ref(registration.root)), registration.pid);
        const int count = std::min(candidate->childCount().value_or(0), 64);
        for (int i = 0; i < count && !found; ++i) {
            if (std::shared_ptr<AtspiNode> window = candidate->child(i);
                window && window->name() == title)
                found = candidate;
        }
        if (found)
            break;
    }
    release(list);
    return found;
}

Accessibility::Element AtspiAccessibility::elementAt(const PointerTarget& target)
{
    if (!ready())
        return nullptr;
    const bool fromCompositor = target.window.has_value();
    std::optional<WindowFacts> window = target.window;
    if (!window) {
        X11Windows* x11 = X11Windows::instance();
        if (x11)
            window = x11->windowAt(target.screen);
    }
    if (!window || window->pid == QCoreApplication::applicationPid())
        return nullptr;

    // A sandboxed program (Flatpak) registers under a process id of its own namespace: its
    // window's title finds it instead.
    std::shared_ptr<AtspiNode> application = root(window->pid);
    if (!application)
        application = rootByWindowTitle(window->title);
    if (!application || application->program().pid == QCoreApplication::applicationPid())
        return nullptr;

    AtspiProgram& program = application->program();
    const QString& version = program.toolkitVersion;
    const bool gtk = program.toolkit.compare(QLatin1String("gtk"), Qt::CaseInsensitive) == 0;
    const bool gtk3 = gtk && version.startsWith(QLatin1Char('3'));
    const bool gtk4 = gtk && !gtk3 && !version.isEmpty() && version.front() >= QLatin1Char('4');
    // GTK 4 reports positions relative to its window even when asked for screen positions;
    // on Wayland every toolkit does.
    if (fromCompositor || gtk4) {
        program.coordinates = ATSPI_COORD_TYPE_WINDOW;
        program.origin = WindowPoint::originOf(*window, gtk3 ? WindowPoint::Origin::Surface
                                                             : WindowPoint::Origin::Content);
    }

    std::shared_ptr<AtspiNode> frame =
        AtspiHitTest::window(*application, window->title, target.screen);
    if (!frame)
        return nullptr;
    return AtspiHitTest::descend(frame, target.screen);
}

Accessibility::Element AtspiAccessibility::application(qint64 pid)
{
    return root(pid);
}

std::optional<qint64> AtspiAccessibility::processId(const Element& element)
{
    const std::shared_ptr<AtspiNode> node = nodeOf(element);
    if (!node)
        return std::nullopt;
    return node->program().pid;
}

std::shared_ptr<AtspiNode> AtspiAccessibility::focusedElement(AtspiNode& application)
{
    AtspiProgram& program = application.program();
    if (program.hung)
        return nullptr;
    // One request where the program can search itself (GTK, Chromium)…
    if (AtspiCollection* collection =
            atspi_accessible_get_collection_iface(application.accessible())) {
        AtspiStateSet* states = atspi_state_set_new(nullptr);
        atspi_state_set_add(states, ATSPI_STATE_FOCUSED);
        AtspiMatchRule* rule = atspi_match_rule_new(
            states, ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
            ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE);
        AtspiRequest request(program);
        GArray* matches = atspi_collection_get_matches(
            collection, rule, ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, request.error());
        const bool ok = request.ok();
        std::shared_ptr<AtspiNode> found;
        if (matches) {
            if (ok && matches->len > 0)
                found = application.relative(static_cast<AtspiAccessible*>(
                    g_object_ref(g_array_index(matches, AtspiAccessible*, 0))));
            for (guint i = 0; i < matches->len; ++i)
                g_object_unref(g_array_index(matches, AtspiAccessible*, i));
            g_array_free(matches, TRUE);
        }
        g_object_unref(rule);
        g_object_unref(states);
        g_object_unref(collection);
        if (ok)
            return found;
    }
    // …else a short breadth-first look at what is on screen (Qt).
    std::deque<std::shared_ptr<AtspiNode>> queue;
    const int windows = std::min(application.childCount().value_or(0), 16);
    for (int i = 0; i < windows; ++i) {
        if (std::shared_ptr<AtspiNode> window = application.child(i))
            queue.push_back(std::move(window));
    }
    for (int looked = 0; looked < kFocusSearched && !queue.empty() && !program.hung; ++looked) {
        std::shared_ptr<AtspiNode> node = std::move(queue.front());
        queue.pop_front();
        AtspiRequest request(program);
        AtspiStateSet* states = atspi_accessible_get_state_set(node->accessible());
        request.done();
        const bool focused = states && atspi_state_set_contains(states, ATSPI_STATE_FOCUSED);
        const bool showing = states && atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
        if (states)
            g_object_unref(states);
        if (focused)
            return node;
        if (!showing)
            continue;
        const int count = std::min(node->childCount().value_or(0), 64);
        for (int i = 0; i < count; ++i) {
            if (std::shared_ptr<AtspiNode> child = node->child(i))
                queue.push_back(std::move(child));
        }
    }
    return nullptr;
}

std::optional<Accessibility::Value> AtspiAccessibility::attribute(const Element& element,
                                                                  QLatin1String name)
{
    const std::shared_ptr<AtspiNode> node = nodeOf(element);
    if (!node || !ready())
        return std::nullopt;
    if (name == QLatin1String("AXNumberOfCharacters")) {
        const std::optional<qsizetype> count = node->characterCount();
        if (!count)
            return std::nullopt;
        if (const std::optional<qsizetype> units = node->toUtf16(*count))
            return Value(qint64(*units));
        return std::nullopt;
    }
    if (name == QLatin1String("AXParent")) {
        if (node->role() == ATSPI_ROLE_APPLICATION)
            return std::nullopt;
        if (std::shared_ptr<AtspiNode> parent = node->parent())
            return Value(Element(parent));
        return std::nullopt;
    }
    if (name == QLatin1String("AXRole")) {
        const std::optional<AtspiRole> role = node->role();
        if (!role)
            return std::nullopt;
        if (*role == ATSPI_ROLE_LABEL || *role == ATSPI_ROLE_STATIC)
            return Value(QStringLiteral("AXStaticText"));
        return Value(takeString(atspi_role_get_name(*role)));
    }
    if (name == QLatin1String("AXValue")) {
        if (std::optional<QString> text = node->wholeText())
            return Value(*text);
        return std::nullopt;
    }
    if (name == QLatin1String("AXFocusedUIElement")) {
        // A program that does not say where its focus is: the application itself stands in,
        // and its selection is the desktop's.
        std::shared_ptr<AtspiNode> focused = focusedElement(*node);
        return Value(Element(focused ? focused : node));
    }
    if (name == QLatin1String("AXSelectedText")) {
        // A selection is looked up only when it is a few words long: a long one (all of a
        // large document) is read only far enough to show that it is long.
        constexpr qsizetype kLongestSelectionRead = 1024;
        if (const auto selected = node->selection())
            if (std::optional<QString> text =
                    node->text(selected->first,
                               std::min(selected->second, selected->first + kLongestSelectionRead)))
                return Value(*text);
        if (node->program().hung)
            return std::nullopt;
        // Where the program exposes no selection, X11's PRIMARY selection stands in.
        if (X11Windows* x11 = X11Windows::instance())
            if (std::optional<QString> text = x11->primarySelection(m_timeoutMs))
                return Value(*text);
        return std::nullopt;
    }
    if (name == QLatin1String("AXChildren")) {
        const std::optional<int> count = node->childCount();
        if (!count)
            return std::nullopt;
        QList<Element> children;
        for (int i = 0; i < std::min(*count, kLongestChildList); ++i) {
            if (std::shared_ptr<AtspiNode> child = node->child(i))
                children.append(child);
        }
        return Value(children);
    }
    return std::nullopt;
}

std::optional<Accessibility::Value>
AtspiAccessibility::parameterizedAttribute(const Element& element, QLatin1String name,
                                           const Value& parameter)
{
    const std::shared_ptr<AtspiNode> node = nodeOf(element);
    if (!node || !ready())
        return std::nullopt;
    const QPointF* point = std::get_if<QPointF>(&parameter);
    const TextRange* range = std::get_if<TextRange>(&parameter);
    const TextMarker* marker = std::get_if<TextMarker>(&parameter);

    if (name == QLatin1String("AXRangeForPosition") && point) {
        const std::optional<qsizetype> offset = node->offsetAtPoint(*point);
        const std::optional<qsizetype> units = offset ? node->toUtf16(*offset) : std::nullopt;
        if (!units)
            return std::nullopt;
        return Value(TextRange{*units, 1});
    }
    if ((name == QLatin1String("AXStringForRange") || name == QLatin1String("AXBoundsForRange")) &&
        range) {
        if (range->location < 0 || range->length < 0)
            return std::nullopt;
        const std::optional<qsizetype> start = node->fromUtf16(range->location);
        const std::optional<qsizetype> end =
            start ? node->fromUtf16(range->location + range->length) : std::nullopt;
        if (!end)
            return std::nullopt;
        if (name == QLatin1String("AXStringForRange")) {
            if (std::optional<QString> text = node->text(*start, *end))
                return Value(*text);
            return std::nullopt;
        }
        if (std::optional<QRectF> bounds = node->rangeExtents(*start, *end))
            return Value(*bounds);
        return std::nullopt;
    }
    if (name == QLatin1String("AXTextMarkerForPosition") && point) {
        if (const std::optional<qsizetype> offset = node->offsetAtPoint(*point))
            return Value(TextMarker{node, *offset});
        return std::nullopt;
    }
    const bool rightWord = name == QLatin1String("AXRightWordTextMarkerRangeForTextMarker");
    const bool leftWord = name == QLatin1String("AXLeftWordTextMarkerRangeForTextMarker");
    const bool sentence = name == QLatin1String("AXSentenceTextMarkerRangeForTextMarker");
    if ((rightWord || leftWord || sentence) && marker) {
        const std::shared_ptr<AtspiNode> owner = nodeOf(marker->element);
        if (!owner)
            return std::nullopt;
        // The word left of a position is the one that holds the character before it.
        const qsizetype offset = leftWord ? marker->offset - 1 : marker->offset;
        if (const auto segment = owner->segmentAt(offset, sentence))
            return Value(TextMarkerRange{owner, segment->first, segment->second});
        return std::nullopt;
    }
    if (name == QLatin1String("AXStringForTextMarkerRange")) {
        const TextMarkerRange* markers = std::get_if<TextMarkerRange>(&parameter);
        const std::shared_ptr<AtspiNode> owner = markers ? nodeOf(markers->element) : nullptr;
        if (!owner)
            return std::nullopt;
        if (std::optional<QString> text = owner->text(markers->start, markers->end))
            return Value(*text);
        return std::nullopt;
    }
    return std::nullopt;
}

void AtspiAccessibility::setAttribute(const Element& element, QLatin1String name, bool value)
{
    if (!value || !isWebSwitch(name))
        return;
    // Chromium and Electron put themselves on the accessibility bus only when the session
    // says accessibility is on as they start…
    if (!AccessibilityStatus::isEnabled().value_or(false))
        AccessibilityStatus::enable();
    // …and build the accessibility of their pages once a client asks for the application's
    // attributes, as screen readers do.
    const std::shared_ptr<AtspiNode> node = nodeOf(element);
    if (!node || !ready() || node->program().hung)
        return;
    AtspiRequest request(node->program());
    if (GHashTable* attributes =
            atspi_accessible_get_attributes(node->accessible(), request.error()))
        g_hash_table_unref(attributes);
    request.ok();
}

QList<RunningApplication> AtspiAccessibility::applications()
{
    QList<RunningApplication> list;
    if (!ready())
        return list;
    std::vector<Registration> registered = registrations();
    QList<qint64> seen;
    for (const Registration& registration : registered) {
        if (seen.contains(registration.pid) ||
            registration.pid == QCoreApplication::applicationPid())
            continue;
        seen.append(registration.pid);
        auto root =
            adopt(static_cast<AtspiAccessible*>(g_object_ref(registration.root)), registration.pid);
        list.append(describe(registration.pid, root->name().value_or(QString())));
    }
    release(registered);
    return list;
}

std::optional<RunningApplication> AtspiAccessibility::runningApplication(qint64 pid)
{
    if (pid <= 0 || !QFileInfo::exists(QStringLiteral("/proc/%1").arg(pid)))
        return std::nullopt;
    const std::shared_ptr<AtspiNode> root = this->root(pid);
    return describe(pid, root ? root->name().value_or(QString()) : QString());
}

RunningApplication AtspiAccessibility::describe(qint64 pid, const QString& accessibilityName)
{
    RunningApplication application;
    application.pid = pid;
    application.executable = executableOf(pid);
    application.accessibilityName = accessibilityName;
    application.name = DesktopEntries::nameForExecutable(application.executable);
    if (application.name.isEmpty())
        application.name = application.accessibilityName;
    if (application.name.isEmpty()) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (comm.open(QIODevice::ReadOnly))
            application.name = QString::fromUtf8(comm.readAll()).trimmed();
    }
    return application;
}

bool AtspiAccessibility::isTrusted()
{
    return AccessibilityStatus::isEnabled().value_or(false) && ready();
}

bool AtspiAccessibility::requestTrust()
{
    return AccessibilityStatus::enable() && ready();
}
