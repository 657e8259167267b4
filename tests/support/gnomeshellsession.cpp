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

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kRemoteName = u"org.gnome.Mutter.RemoteDesktop"_s;

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
    if (!QDir().mkpath(dir + u"/services"_s))
        return false;
    for (const char* service : {"ca.desrt.dconf.service", "org.a11y.Bus.service"}) {
        const QString name = QString::fromLatin1(service);
        if (!QFile::copy(u"/usr/share/dbus-1/services/"_s + name, dir + u"/services/"_s + name))
            return false;
    }
    QFile config(dir + u"/bus.conf"_s);
    return config.open(QIODevice::WriteOnly) &&
           config.write(QString::fromLatin1(kBusConfig).arg(dir).toUtf8()) > 0;
}

// A test-only extension that turns on the Shell's unsafe mode, in which org.gnome.Shell.Eval
// runs JavaScript: the tests ask the Shell where its windows are through it. Shells from 45 on
// load extensions as ES modules.
const QString kEvalUuid = u"peekwell-test-eval@peekwell.github.io"_s;

bool writeEvalExtension(const QString& dir)
{
    QProcess version;
    version.start(u"gnome-shell"_s, {u"--version"_s});
    version.waitForFinished(10'000);
    const QString major = QRegularExpression(u"(\\d+)"_s)
                              .match(QString::fromLatin1(version.readAllStandardOutput()))
                              .captured(1);
    const QByteArray enable = "enable() { global.context.unsafe_mode = true; }";
    const QByteArray disable = "disable() { global.context.unsafe_mode = false; }";
    const QByteArray script =
        major.toInt() >= 45 ? "export default class { " + enable + " " + disable + " }\n"
                            : "function init() { return { " + enable + ", " + disable + " }; }\n";
    QFile metadata(dir + u"/metadata.json"_s);
    QFile extension(dir + u"/extension.js"_s);
    return !major.isEmpty() && QDir().mkpath(dir) && metadata.open(QIODevice::WriteOnly) &&
           metadata.write(u"{\"uuid\": \"%1\", \"name\": \"Eval for tests\", "
                          "\"description\": \"Lets the tests ask the Shell\", "
                          "\"shell-version\": [\"%2\"]}\n"_s.arg(kEvalUuid, major)
                              .toUtf8()) > 0 &&
           extension.open(QIODevice::WriteOnly) && extension.write(script) > 0;
}

bool copyFolder(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to))
        return false;
    const QDir source(from);
    for (const QString& name : source.entryList(QDir::Files))
        if (!QFile::copy(source.filePath(name), to + u'/' + name))
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
    if (!m_process)
        return;
    if (!m_inputConnection.isEmpty())
        QDBusConnection::disconnectFromBus(m_inputConnection);
    if (m_shellPid > 0)
        ::kill(static_cast<pid_t>(m_shellPid), SIGTERM);
    const auto group = static_cast<pid_t>(m_process->processId());
    m_process->waitForFinished(10'000);
    // What is left of the group: a Shell that did not end, the services the bus started.
    if (group > 0)
        ::kill(-group, SIGKILL);
    m_process->waitForFinished(3000);
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
    auto fail = [error](const QString& why) {
        *error = why;
        return false;
    };
    if (!m_dir.isValid())
        return fail(u"no temporary folder"_s);
    const QString runtime = m_dir.path() + u"/run"_s;
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString extensions = home() + u"/.local/share/gnome-shell/extensions/"_s;
    if (!copyFolder(extensionDir, extensions + uuid))
        return fail(u"could not copy the extension from %1"_s.arg(extensionDir));
    if (!writeEvalExtension(extensions + kEvalUuid))
        return fail(u"could not write the test extension (gnome-shell --version?)"_s);
    const QString busDir = m_dir.path() + u"/bus"_s;
    if (!writeBusConfig(busDir))
        return fail(u"no bus configuration (are dconf-service and at-spi2-core installed?)"_s);
    m_waylandDisplay = u"peekwell-test-%1"_s.arg(QCoreApplication::applicationPid());

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME",
          "XDG_STATE_HOME", "DBUS_SESSION_BUS_ADDRESS", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    env.insert(u"HOME"_s, home());
    env.insert(u"XDG_RUNTIME_DIR"_s, runtime);
    env.insert(u"PEEKWELL_TEST_UUID"_s, uuid);
    env.insert(u"PEEKWELL_TEST_EVAL_UUID"_s, kEvalUuid);
    env.insert(u"PEEKWELL_TEST_WAYLAND"_s, m_waylandDisplay);
    env.insert(u"PEEKWELL_TEST_LOG"_s, logPath());
    m_process = std::make_unique<QProcess>();
    m_process->setProcessEnvironment(env);
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Its own process group, so that the destructor also ends what the bus started for it.
    m_process->setChildProcessModifier([] { ::setsid(); });
    m_process->start(u"dbus-run-session"_s, {u"--config-file="_s + busDir + u"/bus.conf"_s, u"--"_s,
                                             u"sh"_s, u"-c"_s, QString::fromLatin1(kScript)});
    if (!m_process->waitForStarted(10'000))
        return fail(u"dbus-run-session did not start"_s);
    QDeadlineTimer deadline(60'000);
    m_address = readLine(*m_process, deadline);
    m_shellPid = readLine(*m_process, deadline).toLongLong();
    if (m_address.isEmpty() || m_shellPid <= 0)
        return fail(u"dbus-run-session did not start GNOME Shell (exit code %1)"_s.arg(
            m_process->exitCode()));

    // Ready once the Shell runs both extensions; then close the overview it starts in.
    auto enabled = [this](const QVariantMap& info) {
        return qRound(info.value(u"state"_s).toDouble()) == 1;
    };
    while (!(enabled(extensionInfo(uuid)) && enabled(extensionInfo(kEvalUuid))) &&
           !deadline.hasExpired() && m_process->state() == QProcess::Running)
        QThread::msleep(200);
    for (const QString& id : {uuid, kEvalUuid}) {
        const QVariantMap info = extensionInfo(id);
        if (!enabled(info))
            return fail(u"GNOME Shell did not enable %1 (%2; log: %3)"_s.arg(
                id, info.value(u"error"_s, u"not found"_s).toString(), logPath()));
    }
    // The Shell opens the overview as its start-up ends, which may be after the extensions run.
    for (;;) {
        const std::optional<QJsonValue> open = eval(u"Main.layoutManager._startingUp || "
                                                    "Main.overview.visible "
                                                    "? (Main.overview.hide(), true) : false"_s);
        if (open && !open->toBool())
            break;
        if (deadline.hasExpired())
            return fail(u"GNOME Shell kept its overview open"_s);
        QThread::msleep(200);
    }

    m_inputConnection = u"gnome-shell-session-input"_s;
    const QDBusMessage created =
        connect(m_inputConnection)
            .call(QDBusMessage::createMethodCall(kRemoteName, u"/org/gnome/Mutter/RemoteDesktop"_s,
                                                 kRemoteName, u"CreateSession"_s));
    if (created.arguments().isEmpty())
        return fail(u"Mutter made no remote-desktop session: %1"_s.arg(created.errorMessage()));
    m_remoteSession = created.arguments().constFirst().value<QDBusObjectPath>().path();
    if (!remote(u"Start"_s, {}))
        return fail(u"Mutter's remote-desktop session did not start"_s);

    // Mutter names the X display of its Xwayland in its log, and the cookie in the runtime
    // folder; a Shell without Xwayland has neither.
    QFile log(logPath());
    if (log.open(QIODevice::ReadOnly))
        m_x11Display = QRegularExpression(u"Using public X11 display (:\\d+)"_s)
                           .match(QString::fromLocal8Bit(log.readAll()))
                           .captured(1);
    const QStringList cookies =
        QDir(runtime).entryList({u".mutter-Xwaylandauth.*"_s}, QDir::Files | QDir::Hidden);
    if (!cookies.isEmpty())
        m_xauthority = runtime + u'/' + cookies.constFirst();
    return !deadline.hasExpired();
}

QProcessEnvironment GnomeShellSession::clientEnvironment() const
{
    QProcessEnvironment env = m_process->processEnvironment();
    env.insert(u"WAYLAND_DISPLAY"_s, m_waylandDisplay);
    env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_address);
    env.insert(u"GDK_BACKEND"_s, u"wayland"_s);
    env.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
    env.insert(u"XDG_CURRENT_DESKTOP"_s, u"GNOME"_s);
    if (!m_x11Display.isEmpty())
        env.insert(u"DISPLAY"_s, m_x11Display);
    if (!m_xauthority.isEmpty())
        env.insert(u"XAUTHORITY"_s, m_xauthority);
    return env;
}

QDBusConnection GnomeShellSession::connect(const QString& connectionName) const
{
    return QDBusConnection::connectToBus(m_address, connectionName);
}

QDBusMessage GnomeShellSession::shell(const QString& interface, const QString& method,
                                      const QString& argument) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.gnome.Shell"_s, u"/org/gnome/Shell"_s,
                                                       interface, method);
    call << argument;
    return connect(u"gnome-shell-session-control"_s).call(call);
}

QDBusMessage GnomeShellSession::extensions(const QString& method, const QString& uuid) const
{
    return shell(u"org.gnome.Shell.Extensions"_s, method, uuid);
}

QVariantMap GnomeShellSession::extensionInfo(const QString& uuid) const
{
    const QDBusMessage reply = extensions(u"GetExtensionInfo"_s, uuid);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return qdbus_cast<QVariantMap>(reply.arguments().constFirst());
}

std::optional<QJsonValue> GnomeShellSession::eval(const QString& code) const
{
    const QDBusMessage reply = shell(u"org.gnome.Shell"_s, u"Eval"_s, code);
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
    QDBusMessage call = QDBusMessage::createMethodCall(kRemoteName, m_remoteSession,
                                                       kRemoteName + u".Session"_s, method);
    call.setArguments(arguments);
    return connect(m_inputConnection).call(call).type() == QDBusMessage::ReplyMessage;
}

bool GnomeShellSession::movePointer(const QPointF& to)
{
    // Relative motion is exact for a virtual pointer (no acceleration); pushing into the top
    // left corner first makes it absolute.
    if (!remote(u"NotifyPointerMotionRelative"_s, {-5000.0, -5000.0}))
        return false;
    QThread::msleep(50);
    return movePointerBy(to);
}

bool GnomeShellSession::movePointerBy(const QPointF& delta)
{
    return remote(u"NotifyPointerMotionRelative"_s, {delta.x(), delta.y()});
}

bool GnomeShellSession::button(int code, bool pressed)
{
    return remote(u"NotifyPointerButton"_s, {code, pressed});
}

bool GnomeShellSession::key(int code, bool pressed)
{
    return remote(u"NotifyKeyboardKeycode"_s, {uint(code), pressed});
}
