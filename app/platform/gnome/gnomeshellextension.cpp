#include "platform/gnome/gnomeshellextension.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStandardPaths>
#include <QVariantMap>

namespace {

const QString kShellName = QStringLiteral("org.gnome.Shell");
const QString kShellPath = QStringLiteral("/org/gnome/Shell");
const QString kExtensionsInterface = QStringLiteral("org.gnome.Shell.Extensions");

// GetExtensionInfo's "state" values.
constexpr int kStateEnabled = 1;
constexpr int kStateError = 3;
constexpr int kStateOutOfDate = 4;
constexpr int kTypePerUser = 2;

QDBusMessage callShell(const QDBusConnection& bus, const QString& interface, const QString& member,
                       const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kShellName, kShellPath, interface, member);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    return bus.call(call, QDBus::Block, 2000);
}

QVariant shellProperty(const QDBusConnection& bus, const QString& interface, const QString& name)
{
    const QDBusMessage reply = callShell(bus, QStringLiteral("org.freedesktop.DBus.Properties"),
                                         QStringLiteral("Get"), {interface, name});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().value<QDBusVariant>().variant();
}

} // namespace

QString GnomeShellExtension::uuid()
{
    return QStringLiteral(PEEKWELL_GNOME_EXTENSION_UUID);
}

GnomeShellExtension::Status GnomeShellExtension::status(DesktopSession::Kind kind,
                                                        const QDBusConnection& bus)
{
    Status status;
    if (kind == DesktopSession::Kind::OtherWayland) {
        status.state = State::OtherDesktop;
        status.message = QStringLiteral("Force clicks are not available on this Wayland desktop "
                                        "yet; Try a lookup and the command line still work.");
        return status;
    }
    if (kind != DesktopSession::Kind::GnomeWayland)
        return status;

    const QString enable = QStringLiteral("gnome-extensions enable %1").arg(uuid());
    const QDBusMessage reply =
        callShell(bus, kExtensionsInterface, QStringLiteral("GetExtensionInfo"), {uuid()});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        status.state = State::ShellMissing;
        status.message = QStringLiteral("GNOME Shell does not answer on the session bus, so "
                                        "force clicks cannot be heard.");
        return status;
    }
    const QVariantMap info = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    if (info.isEmpty()) {
        const QString installed = QStandardPaths::locate(
            QStandardPaths::GenericDataLocation,
            QStringLiteral("gnome-shell/extensions/%1/metadata.json").arg(uuid()));
        if (installed.isEmpty()) {
            status.state = State::NotInstalled;
            status.message =
                QStringLiteral(
                    "Force clicks need Peekwell's GNOME Shell extension, which is not installed: "
                    "install Peekwell's package, log out and in, then run: %1")
                    .arg(enable);
        } else {
            status.state = State::NotLoaded;
            status.message = QStringLiteral("Peekwell's GNOME Shell extension is installed but "
                                            "GNOME Shell has not loaded it yet: log out and in, "
                                            "then run: %1")
                                 .arg(enable);
        }
        status.command = enable;
        return status;
    }

    const int state = qRound(info.value(QStringLiteral("state")).toDouble());
    if (state == kStateEnabled) {
        status.state = State::Active;
        return status;
    }
    if (state == kStateError || state == kStateOutOfDate) {
        status.state = State::Failed;
        const QString why = state == kStateOutOfDate
                                ? QStringLiteral("it does not support GNOME Shell %1")
                                      .arg(shellProperty(bus, QStringLiteral("org.gnome.Shell"),
                                                         QStringLiteral("ShellVersion"))
                                               .toString())
                                : info.value(QStringLiteral("error")).toString();
        status.message =
            QStringLiteral("Peekwell's GNOME Shell extension could not start: %1.").arg(why);
        return status;
    }
    if (qRound(info.value(QStringLiteral("type")).toDouble()) == kTypePerUser &&
        !shellProperty(bus, kExtensionsInterface, QStringLiteral("UserExtensionsEnabled"))
             .toBool()) {
        status.state = State::UserExtensionsOff;
        status.command =
            QStringLiteral("gsettings set org.gnome.shell disable-user-extensions false");
        status.message = QStringLiteral("GNOME Shell has user extensions turned off, Peekwell's "
                                        "among them: turn them on in Extensions, or run: %1")
                             .arg(status.command);
        return status;
    }
    status.state = State::Disabled;
    status.command = enable;
    status.message = QStringLiteral("Force clicks need Peekwell's GNOME Shell extension, which is "
                                    "installed but not enabled: run %1")
                         .arg(enable);
    return status;
}
