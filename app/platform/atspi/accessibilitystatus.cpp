#include "platform/atspi/accessibilitystatus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace AccessibilityStatus {

namespace {

constexpr int kTimeoutMs = 250;

QDBusMessage statusCall(const QString& method)
{
    return QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), method);
}

// Runs gsettings with the arguments; true when it ran and succeeded.
bool gsettings(const QStringList& arguments, QByteArray* output = nullptr)
{
    const QString program = QStandardPaths::findExecutable(QStringLiteral("gsettings"));
    if (program.isEmpty())
        return false;
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(2000)) {
        process.kill();
        process.waitForFinished(1000);
        return false;
    }
    if (output)
        *output = process.readAllStandardOutput().trimmed();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

bool sessionBusReachable()
{
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        return true;
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus"));
}

std::optional<bool> isEnabled()
{
    if (!sessionBusReachable())
        return std::nullopt;
    QDBusMessage call = statusCall(QStringLiteral("Get"));
    call << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    const QVariant value = reply.arguments().first().value<QDBusVariant>().variant();
    if (value.typeId() != QMetaType::Bool)
        return std::nullopt;
    return value.toBool();
}

bool enable()
{
    if (!sessionBusReachable())
        return false;
    const QString schema = QStringLiteral("org.gnome.desktop.interface");
    const QString key = QStringLiteral("toolkit-accessibility");
    QByteArray writable;
    if (gsettings({QStringLiteral("writable"), schema, key}, &writable) && writable == "true")
        gsettings({QStringLiteral("set"), schema, key, QStringLiteral("true")});

    QDBusMessage call = statusCall(QStringLiteral("Set"));
    call << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled")
         << QVariant::fromValue(QDBusVariant(true));
    QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    return isEnabled().value_or(false);
}

} // namespace AccessibilityStatus
