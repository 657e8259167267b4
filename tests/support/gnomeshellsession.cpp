#include "tests/support/gnomeshellsession.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>
#include <csignal>
#include <unistd.h>

namespace {

const QString kRemoteName = QStringLiteral("org.gnome.Mutter.RemoteDesktop");

// Runs inside dbus-run-session: the bus address and the Shell's process id go to standard
// output, everything the Shell says to the log.
const char* kScript = R"(
set -e
export DBUS_SYSTEM_BUS_ADDRESS="$DBUS_SESSION_BUS_ADDRESS"
# dconf-service is started by the bus with the bus's environment: hand it our home.
dbus-update-activation-environment HOME XDG_RUNTIME_DIR DBUS_SYSTEM_BUS_ADDRESS
gsettings set org.gnome.shell enabled-extensions \
  "['$PEEKWELL_TEST_UUID', '$PEEKWELL_TEST_EVAL_UUID']"
gsettings set org.gnome.desktop.interface enable-animations false
gsettings set org.gnome.desktop.interface toolkit-accessibility true
gsettings set org.gnome.desktop.interface enable-hot-corners false
gsettings set org.gnome.desktop.session idle-delay 0
gsettings set org.gnome.desktop.screensaver lock-enabled false
echo "$DBUS_SESSION_BUS_ADDRESS"
echo "$$"
exec gnome-shell --headless --wayland --virtual-monitor 1280x800 \
  --wayland-display="$PEEKWELL_TEST_WAYLAND" >"$PEEKWELL_TEST_LOG" 2>&1
)";

// A session bus that starts only the services the Shell and the tests need (settings and the
// accessibility bus), not the portals, keyring, calendar and volume monitors of a full session.
const char* kBusConfig =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <keep_umask/>
  <listen>unix:tmpdir=%1</listen>
  <auth>EXTERNAL</auth>
  <servicedir>%1/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

bool writeBusConfig(const QString& dir)
{
    if (!QDir().mkpath(dir + QStringLiteral("/services")))
        return false;
    for (const char* service : {"ca.desrt.dconf.service", "org.a11y.Bus.service"}) {
        const QString name = QString::fromLatin1(service);
        if (!QFile::copy(QStringLiteral("/usr/share/dbus-1/services/") + name,
                         dir + QStringLiteral("/services/") + name))
            return false;
    }
    QFile config(dir + QStringLiteral("/bus.conf"));
    return config.open(QIODevice::WriteOnly) &&
           config.write(QString::fromLatin1(kBusConfig).arg(dir).toUtf8()) > 0;
}

// A test-only extension that turns on the Shell's unsafe mode, in which org.gnome.Shell.Eval
// runs JavaScript: the tests ask the Shell where its windows are through it. Shells from 45 on
// load extensions as ES modules.
const QString kEvalUuid = QStringLiteral("peekwell-test-eval@peekwell.github.io");

bool writeEvalExtension(const QString& dir)
{
    QProcess version;
    version.start(QStringLiteral("gnome-shell"), {QStringLiteral("--version")});
    version.waitForFinished(10'000);
    const QString major = QRegularExpression(QStringLiteral("(\\d+)"))
                              .match(QString::fromLatin1(version.readAllStandardOutput()))
                              .captured(1);
    const QByteArray enable = "enable() { global.context.unsafe_mode = true; }";
    const QByteArray disable = "disable() { global.context.unsafe_mode = false; }";
    const QByteArray script =
        major.toInt() >= 45 ? "export default class { " + enable + " " + disable + " }\n"
                            : "function init() { return { " + enable + ", " + disable + " }; }\n";
    QFile metadata(dir + QStringLiteral("/metadata.json"));
    QFile extension(dir + QStringLiteral("/extension.js"));
    return !major.isEmpty() && QDir().mkpath(dir) && metadata.open(QIODevice::WriteOnly) &&
           metadata.write(QStringLiteral("{\"uuid\": \"%1\", \"name\": \"Eval for tests\", "
                                         "\"description\": \"Lets the tests ask the Shell\", "
                                         "\"shell-version\": [\"%2\"]}\n")
                              .arg(kEvalUuid, major)
                              .toUtf8()) > 0 &&
           extension.open(QIODevice::WriteOnly) && extension.write(script) > 0;
}

bool copyFolder(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to))
        return false;
    const QDir source(from);
    for (const QString& name : source.entryList(QDir::Files))
        if (!QFile::copy(source.filePath(name), to + QLatin1Char('/') + name))
            return false;
    return !source.entryList(QDir::Files).isEmpty();
}

QString readLine(QProcess& process, const QDeadlineTimer& deadline)
{
    while (!process.canReadLine() && !deadline.hasExpired() && process.state() == QProcess::Running)
        process.waitForReadyRead(100);
    return QString::fromLocal8Bit(process.readLine()).trimmed();
}

} // namespace

GnomeShellSession::~GnomeShellSession()
{
    stop();
}

QStringList GnomeShellSession::missingPrograms()
{
    QStringList missing;
    for (const char* program :
         {"dbus-run-session", "dbus-update-activation-environment", "gsettings", "gnome-shell"})
        if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
            missing << QString::fromLatin1(program);
    return missing;
}

bool GnomeShellSession::start(const QString& extensionDir, const QString& uuid, QString* error)
{
    if (!m_dir.isValid()) {
        *error = QStringLiteral("no temporary folder");
        return false;
    }
    const QString runtime = m_dir.path() + QStringLiteral("/run");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    if (!copyFolder(extensionDir,
                    home() + QStringLiteral("/.local/share/gnome-shell/extensions/") + uuid)) {
        *error = QStringLiteral("could not copy the extension from %1").arg(extensionDir);
        return false;
    }
    if (!writeEvalExtension(home() + QStringLiteral("/.local/share/gnome-shell/extensions/") +
                            kEvalUuid)) {
        *error = QStringLiteral("could not write the test extension (gnome-shell --version?)");
        return false;
    }
    const QString busDir = m_dir.path() + QStringLiteral("/bus");
    if (!writeBusConfig(busDir)) {
        *error = QStringLiteral("no bus configuration (are dconf-service and at-spi2-core "
                                "installed?)");
        return false;
    }
    m_waylandDisplay = QStringLiteral("peekwell-test-%1").arg(QCoreApplication::applicationPid());

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
          "XDG_STATE_HOME", "DBUS_SESSION_BUS_ADDRESS", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    env.insert(QStringLiteral("HOME"), home());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("PEEKWELL_TEST_UUID"), uuid);
    env.insert(QStringLiteral("PEEKWELL_TEST_EVAL_UUID"), kEvalUuid);
    env.insert(QStringLiteral("PEEKWELL_TEST_WAYLAND"), m_waylandDisplay);
    env.insert(QStringLiteral("PEEKWELL_TEST_LOG"), logPath());
    m_process = std::make_unique<QProcess>();
    m_process->setProcessEnvironment(env);
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Its own process group, so that stop() also ends what the bus started on its behalf.
    m_process->setChildProcessModifier([] { ::setsid(); });
    m_process->start(QStringLiteral("dbus-run-session"),
                     {QStringLiteral("--config-file=") + busDir + QStringLiteral("/bus.conf"),
                      QStringLiteral("--"), QStringLiteral("sh"), QStringLiteral("-c"),
                      QString::fromLatin1(kScript)});
    if (!m_process->waitForStarted(10'000)) {
        *error = QStringLiteral("dbus-run-session did not start");
        return false;
    }
    QDeadlineTimer deadline(60'000);
    m_address = readLine(*m_process, deadline);
    m_shellPid = readLine(*m_process, deadline).toLongLong();
    if (m_address.isEmpty() || m_shellPid <= 0) {
        *error = QStringLiteral("dbus-run-session did not start GNOME Shell (exit code %1)")
                     .arg(m_process->exitCode());
        return false;
    }

    // Ready once the Shell runs both extensions; then close the overview it starts in.
    QVariantMap info;
    auto enabled = [this](const QVariantMap& info) {
        return qRound(info.value(QStringLiteral("state")).toDouble()) == 1;
    };
    while (!deadline.hasExpired() && m_process->state() == QProcess::Running) {
        info = extensionInfo(uuid);
        if (enabled(info) && enabled(extensionInfo(kEvalUuid)))
            break;
        QThread::msleep(200);
    }
    for (const QString& id : {uuid, kEvalUuid}) {
        info = extensionInfo(id);
        if (!enabled(info)) {
            *error = QStringLiteral("GNOME Shell did not enable %1 (%2; log: %3)")
                         .arg(id,
                              info.isEmpty() ? QStringLiteral("not found")
                                             : info.value(QStringLiteral("error")).toString(),
                              logPath());
            return false;
        }
    }
    // The Shell opens the overview as its start-up ends, which may be after the extensions run.
    for (;;) {
        const std::optional<QJsonValue> open =
            eval(QStringLiteral("Main.layoutManager._startingUp || Main.overview.visible "
                                "? (Main.overview.hide(), true) : false"));
        if (open && !open->toBool())
            break;
        if (deadline.hasExpired()) {
            *error = QStringLiteral("GNOME Shell kept its overview open");
            return false;
        }
        QThread::msleep(200);
    }

    m_inputConnection = QStringLiteral("gnome-shell-session-input");
    QDBusConnection input = connect(m_inputConnection);
    const QDBusMessage created = input.call(QDBusMessage::createMethodCall(
        kRemoteName, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"), kRemoteName,
        QStringLiteral("CreateSession")));
    if (created.arguments().isEmpty()) {
        *error =
            QStringLiteral("Mutter made no remote-desktop session: %1").arg(created.errorMessage());
        return false;
    }
    m_remoteSession = created.arguments().constFirst().value<QDBusObjectPath>().path();
    if (!remote(QStringLiteral("Start"), {})) {
        *error = QStringLiteral("Mutter's remote-desktop session did not start");
        return false;
    }

    // Mutter names the X display of its Xwayland in its log, and the cookie in the runtime
    // folder; a Shell without Xwayland has neither.
    QFile log(logPath());
    if (log.open(QIODevice::ReadOnly))
        m_x11Display = QRegularExpression(QStringLiteral("Using public X11 display (:\\d+)"))
                           .match(QString::fromLocal8Bit(log.readAll()))
                           .captured(1);
    const QStringList cookies = QDir(runtime).entryList({QStringLiteral(".mutter-Xwaylandauth.*")},
                                                        QDir::Files | QDir::Hidden);
    if (!cookies.isEmpty())
        m_xauthority = runtime + QLatin1Char('/') + cookies.constFirst();
    return !deadline.hasExpired();
}

void GnomeShellSession::stop()
{
    if (!m_process)
        return;
    if (!m_inputConnection.isEmpty())
        QDBusConnection::disconnectFromBus(m_inputConnection);
    if (m_shellPid > 0)
        ::kill(static_cast<pid_t>(m_shellPid), SIGTERM);
    const auto group = static_cast<pid_t>(m_process->processId());
    if (!m_process->waitForFinished(10'000)) {
        if (m_shellPid > 0)
            ::kill(static_cast<pid_t>(m_shellPid), SIGKILL);
        m_process->kill();
        m_process->waitForFinished(3000);
    }
    if (group > 0)
        ::kill(-group, SIGKILL);
    m_process.reset();
}

QProcessEnvironment GnomeShellSession::clientEnvironment() const
{
    QProcessEnvironment env = m_process->processEnvironment();
    env.insert(QStringLiteral("WAYLAND_DISPLAY"), m_waylandDisplay);
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    env.insert(QStringLiteral("GDK_BACKEND"), QStringLiteral("wayland"));
    env.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    env.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("GNOME"));
    if (!m_x11Display.isEmpty())
        env.insert(QStringLiteral("DISPLAY"), m_x11Display);
    if (!m_xauthority.isEmpty())
        env.insert(QStringLiteral("XAUTHORITY"), m_xauthority);
    return env;
}

QDBusConnection GnomeShellSession::connect(const QString& connectionName) const
{
    return QDBusConnection::connectToBus(m_address, connectionName);
}

QDBusMessage GnomeShellSession::extensions(const QString& method, const QString& uuid) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.Shell"), QStringLiteral("/org/gnome/Shell"),
        QStringLiteral("org.gnome.Shell.Extensions"), method);
    call << uuid;
    return connect(QStringLiteral("gnome-shell-session-control")).call(call);
}

QVariantMap GnomeShellSession::extensionInfo(const QString& uuid) const
{
    const QDBusMessage reply = extensions(QStringLiteral("GetExtensionInfo"), uuid);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return qdbus_cast<QVariantMap>(reply.arguments().constFirst());
}

std::optional<QJsonValue> GnomeShellSession::eval(const QString& code) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.Shell"), QStringLiteral("/org/gnome/Shell"),
        QStringLiteral("org.gnome.Shell"), QStringLiteral("Eval"));
    call << code;
    const QDBusMessage reply = connect(QStringLiteral("gnome-shell-session-control")).call(call);
    if (reply.arguments().size() != 2 || !reply.arguments().at(0).toBool())
        return std::nullopt;
    // The value may be a bare number or string, which QJsonDocument reads only inside an array.
    const QJsonDocument value =
        QJsonDocument::fromJson("[" + reply.arguments().at(1).toString().toUtf8() + "]");
    if (!value.isArray() || value.array().size() != 1)
        return std::nullopt;
    return value.array().at(0);
}

bool GnomeShellSession::remote(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        kRemoteName, m_remoteSession, kRemoteName + QStringLiteral(".Session"), method);
    call.setArguments(arguments);
    return connect(m_inputConnection).call(call).type() == QDBusMessage::ReplyMessage;
}

bool GnomeShellSession::movePointer(const QPointF& to)
{
    // Relative motion is exact for a virtual pointer (no acceleration); pushing into the top
    // left corner first makes it absolute.
    if (!remote(QStringLiteral("NotifyPointerMotionRelative"), {-5000.0, -5000.0}))
        return false;
    QThread::msleep(50);
    return movePointerBy(to);
}

bool GnomeShellSession::movePointerBy(const QPointF& delta)
{
    return remote(QStringLiteral("NotifyPointerMotionRelative"), {delta.x(), delta.y()});
}

bool GnomeShellSession::button(int code, bool pressed)
{
    return remote(QStringLiteral("NotifyPointerButton"), {code, pressed});
}

bool GnomeShellSession::key(int code, bool pressed)
{
    return remote(QStringLiteral("NotifyKeyboardKeycode"), {uint(code), pressed});
}
