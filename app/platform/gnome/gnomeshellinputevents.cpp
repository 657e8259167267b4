#include "platform/gnome/gnomeshellinputevents.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcGnome, "peekwell.gnome", QtWarningMsg)

namespace {

const QString kShellName = QStringLiteral("org.gnome.Shell");
const QString kExtensionPath = QStringLiteral("/io/github/peekwell/Shell");
const QString kExtensionInterface = QStringLiteral("io.github.peekwell.Shell");

// The numbers the event watch shows for the extension's reports: XInput 2's raw event types,
// so that a watch reads the same under X11 and GNOME Wayland.
enum RawType { RawKeyPress = 13, RawButtonPress = 15, RawButtonRelease = 16, RawMotion = 17 };
constexpr int kEscapeKeycode = 9;

} // namespace

// Exports the service's object without exposing its handlers as public slots.
class GnomeShellInputEvents::Receiver : public QDBusVirtualObject {
public:
    explicit Receiver(GnomeShellInputEvents* owner) : m_owner(owner) {}

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.type() != QDBusMessage::MethodCallMessage)
            return false;
        if (message.service() != m_owner->m_shellOwner || m_owner->m_shellOwner.isEmpty()) {
            qCWarning(lcGnome) << "refused a pointer report from" << message.service()
                               << "(not GNOME Shell)";
            connection.send(message.createErrorReply(
                QDBusError::AccessDenied,
                QStringLiteral("Only GNOME Shell may report pointer events to Peekwell")));
            return true;
        }
        if (!m_owner->handle(message))
            return false;
        connection.send(message.createReply());
        return true;
    }

    QString introspect(const QString&) const override
    {
        return QStringLiteral(
            "<interface name=\"io.github.peekwell.Pointer\">"
            "<method name=\"Press\"><arg type=\"d\" name=\"x\"/><arg type=\"d\" name=\"y\"/>"
            "<arg type=\"x\" name=\"pid\"/><arg type=\"s\" name=\"title\"/>"
            "<arg type=\"i\" name=\"frameX\"/><arg type=\"i\" name=\"frameY\"/>"
            "<arg type=\"i\" name=\"frameWidth\"/><arg type=\"i\" name=\"frameHeight\"/>"
            "<arg type=\"i\" name=\"bufferX\"/><arg type=\"i\" name=\"bufferY\"/>"
            "<arg type=\"i\" name=\"bufferWidth\"/><arg type=\"i\" name=\"bufferHeight\"/>"
            "</method>"
            "<method name=\"Motion\"><arg type=\"d\" name=\"x\"/><arg type=\"d\" name=\"y\"/>"
            "</method>"
            "<method name=\"Release\"><arg type=\"d\" name=\"x\"/><arg type=\"d\" name=\"y\"/>"
            "</method>"
            "<method name=\"Button\"><arg type=\"d\" name=\"x\"/><arg type=\"d\" name=\"y\"/>"
            "<arg type=\"i\" name=\"button\"/></method>"
            "<method name=\"Escape\"/>"
            "<method name=\"Attach\"/>"
            "<method name=\"Detach\"/>"
            "</interface>");
    }

private:
    GnomeShellInputEvents* m_owner;
};

GnomeShellInputEvents::GnomeShellInputEvents(QDBusConnection bus)
    : m_bus(std::move(bus)), m_tracker([this](const InputEvent& event) { deliver(event); })
{
}

GnomeShellInputEvents::~GnomeShellInputEvents()
{
    uninstall();
}

QString GnomeShellInputEvents::sourceName() const
{
    return QStringLiteral("the GNOME Shell extension");
}

bool GnomeShellInputEvents::install()
{
    if (m_installed)
        return true;
    uninstall();
    m_problem.clear();
    if (!m_bus.isConnected()) {
        m_problem = QStringLiteral("no session bus: %1").arg(m_bus.lastError().message());
        return false;
    }
    m_shellWatcher = std::make_unique<QDBusServiceWatcher>(
        kShellName, m_bus, QDBusServiceWatcher::WatchForOwnerChange);
    connect(m_shellWatcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this] { shellLeft(); });
    m_shellOwner = m_bus.interface()->serviceOwner(kShellName).value();
    if (m_shellOwner.isEmpty()) {
        m_problem = QStringLiteral("GNOME Shell is not on the session bus");
        uninstall();
        return false;
    }

    m_receiver = std::make_unique<Receiver>(this);
    if (!m_bus.registerVirtualObject(QString::fromLatin1(kObjectPath), m_receiver.get())) {
        m_problem = QStringLiteral("could not export %1 on the session bus")
                        .arg(QString::fromLatin1(kObjectPath));
        uninstall();
        return false;
    }
    if (!m_bus.registerService(QString::fromLatin1(kServiceName))) {
        m_problem = QStringLiteral("another Peekwell holds %1 on the session bus")
                        .arg(QString::fromLatin1(kServiceName));
        uninstall();
        return false;
    }

    const QDBusMessage hello =
        m_bus.call(QDBusMessage::createMethodCall(kShellName, kExtensionPath, kExtensionInterface,
                                                  QStringLiteral("Hello")),
                   QDBus::Block, 2000);
    if (hello.type() != QDBusMessage::ReplyMessage) {
        m_problem = QStringLiteral("the GNOME Shell extension does not answer (%1)")
                        .arg(hello.errorMessage());
        uninstall();
        return false;
    }
    m_installed = true;
    return true;
}

void GnomeShellInputEvents::uninstall()
{
    if (m_receiver) {
        m_bus.unregisterService(QString::fromLatin1(kServiceName));
        m_bus.unregisterObject(QString::fromLatin1(kObjectPath));
        m_receiver.reset();
    }
    m_shellWatcher.reset();
    m_shellOwner.clear();
    m_tracker.cancel();
    m_installed = false;
}

void GnomeShellInputEvents::watchEscape(bool on)
{
    if (!m_installed)
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
        kShellName, kExtensionPath, kExtensionInterface, QStringLiteral("WatchEscape"));
    call << on;
    m_bus.asyncCall(call, 2000);
}

void GnomeShellInputEvents::shellLeft()
{
    // A new Shell has a new unique name and has not loaded the extension for us yet: start over.
    const bool was = m_installed;
    uninstall();
    if (was)
        Q_EMIT disabled();
}

bool GnomeShellInputEvents::handle(const QDBusMessage& message)
{
    if (message.interface() != QLatin1String(kInterface))
        return false;
    const QString member = message.member();
    const QString signature = message.signature();
    const QVariantList args = message.arguments();
    auto point = [&args] { return QPointF(args.at(0).toDouble(), args.at(1).toDouble()); };

    if (member == QLatin1String("Press") && signature == QLatin1String("ddxsiiiiiiii")) {
        PointerTarget target;
        target.screen = point();
        const qint64 pid = args.at(2).toLongLong();
        const QString title = args.at(3).toString();
        if (pid > 0 || !title.isEmpty()) {
            WindowFacts window;
            window.pid = pid;
            window.title = title;
            window.frame = QRectF(args.at(4).toInt(), args.at(5).toInt(), args.at(6).toInt(),
                                  args.at(7).toInt());
            window.buffer = QRectF(args.at(8).toInt(), args.at(9).toInt(), args.at(10).toInt(),
                                   args.at(11).toInt());
            target.window = window;
        }
        Q_EMIT rawEvent(RawButtonPress, InputEvent::LeftMouseDown, 1, false);
        Q_EMIT buttonPressed(target.screen, 1);
        m_tracker.press(target);
    } else if (member == QLatin1String("Motion") && signature == QLatin1String("dd")) {
        Q_EMIT rawEvent(RawMotion, 0, 0, true);
        m_tracker.move(point());
    } else if (member == QLatin1String("Release") && signature == QLatin1String("dd")) {
        Q_EMIT rawEvent(RawButtonRelease, InputEvent::LeftMouseUp, 1, false);
        m_tracker.release(point());
    } else if (member == QLatin1String("Button") && signature == QLatin1String("ddi")) {
        const int button = args.at(2).toInt();
        Q_EMIT rawEvent(RawButtonPress, 0, button, false);
        Q_EMIT buttonPressed(point(), button);
    } else if (member == QLatin1String("Escape") && signature.isEmpty()) {
        Q_EMIT rawEvent(RawKeyPress, 0, kEscapeKeycode, false);
        Q_EMIT escapePressed();
    } else if (member == QLatin1String("Attach") && signature.isEmpty()) {
        // The extension came (back): enabled again, as after the screen is unlocked.
        m_installed = true;
    } else if (member == QLatin1String("Detach") && signature.isEmpty()) {
        // The extension was disabled (GNOME disables every extension while the screen is locked).
        const bool was = m_installed;
        m_installed = false;
        m_tracker.cancel();
        if (was)
            Q_EMIT disabled();
    } else {
        return false;
    }
    return true;
}
