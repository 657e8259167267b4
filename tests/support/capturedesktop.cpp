#include "tests/support/capturedesktop.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <csignal>

using namespace Qt::Literals::StringLiterals;

namespace {

// Six letters outside the Basic Multilingual Plane before the last line: GTK counts them as
// six characters, a capture as twelve UTF-16 units.
const QString kMousepadText = u"Alpha words lead.\nBravo \U0001D400\U0001D401\U0001D402"
                              u"\U0001D403\U0001D404\U0001D405 follow.\n"
                              u"Delta serendipity arrives unbidden.\n"_s;
const QString kQtLabel = u"Labels hold quiet words."_s;
const QString kQtEditor = u"Quixotic plans rarely survive contact. The editor shows more."_s;
const QString kLauncher = u"/usr/libexec/at-spi-bus-launcher"_s;
const QByteArray kPage = "<!doctype html><html><head><title>Capture page</title></head>"
                         "<body style=\"font-size: 20px\"><p>An ephemeral page lives briefly. "
                         "Browsers show paragraphs.</p></body></html>";

} // namespace

const CaptureDesktop::Program CaptureDesktop::mousepad{
    u"Mousepad"_s, u"serendipity"_s, u"Delta serendipity arrives unbidden."_s, u"Mousepad"_s};
const CaptureDesktop::Program CaptureDesktop::qt{u"Peekwell Qt window"_s, u"Quixotic"_s,
                                                 u"Quixotic plans rarely survive contact."_s,
                                                 u"Peekwell Qt window"_s};
const CaptureDesktop::Program CaptureDesktop::chromium{u"Chromium"_s, u"ephemeral"_s,
                                                       u"An ephemeral page lives briefly."_s,
                                                       u"Chromium Web Browser"_s};

CaptureDesktop::~CaptureDesktop()
{
    for (const auto& process : m_programs) {
        ::kill(pid_t(process->processId()), SIGCONT);
        process->kill();
        process->waitForFinished(5000);
    }
    stopProcess(m_launcher);
    stopProcess(m_bus);
}

QString CaptureDesktop::missing()
{
    QString list;
    const std::pair<const char*, const char*> needed[] = {
        {"Xvfb", "xvfb"},       {"openbox", "openbox"},   {"xdotool", "xdotool"},
        {"xprop", "x11-utils"}, {"mousepad", "mousepad"}, {"chromium", "chromium"},
        {"dbus-send", "dbus"},  {"dbus-daemon", "dbus"},
    };
    for (const auto& [program, package] : needed) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
            list += u"%1 (%2) "_s.arg(QString::fromLatin1(program), QString::fromLatin1(package));
    }
    if (!QFile::exists(kLauncher))
        list += u"at-spi-bus-launcher (at-spi2-core)"_s;
    return list.trimmed();
}

bool CaptureDesktop::start(const QString& qtWindow, bool chromiumSwitch, QString* error)
{
    if (!m_x.start(error) || !startBus(error))
        return false;
    const QString document = m_home.filePath(u"doc.txt"_s);
    const QString page = m_home.filePath(u"page.html"_s);
    const std::pair<QString, QByteArray> files[] = {{document, kMousepadText.toUtf8()},
                                                    {page, kPage}};
    for (const auto& [path, text] : files) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            *error = u"cannot write "_s + path;
            return false;
        }
    }

    const QProcessEnvironment env = programEnvironment();
    error->clear();
    launch(u"mousepad"_s, {document}, env, error);
    launch(qtWindow, {kQtLabel, kQtEditor}, env, error);
    QStringList arguments = {u"--no-sandbox"_s,
                             u"--user-data-dir="_s + m_home.filePath(u"chromium"_s),
                             u"--no-first-run"_s,
                             u"--no-default-browser-check"_s,
                             u"--password-store=basic"_s,
                             u"--disable-gpu"_s,
                             u"--window-position=660,0"_s,
                             u"--window-size=600,560"_s,
                             u"file://"_s + page};
    if (chromiumSwitch)
        arguments.prepend(u"--force-renderer-accessibility"_s);
    launch(u"chromium"_s, arguments, env, error);
    return error->isEmpty() && place(u"doc.txt - Mousepad"_s, 0, 0, 620, 380, error) &&
           place(u"Peekwell Qt window"_s, 0, 440, 600, 300, error) &&
           place(u"Capture page - Chromium"_s, 660, 0, 600, 560, error);
}

bool CaptureDesktop::startBus(QString* error)
{
    QFile::setPermissions(m_runtime.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    m_bus = std::make_unique<QProcess>();
    m_bus->setProcessEnvironment(m_x.environment(QString()));
    m_bus->setStandardErrorFile(QProcess::nullDevice());
    m_bus->start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
    if (!m_bus->waitForStarted(5000) || !m_bus->waitForReadyRead(10000)) {
        *error = u"dbus-daemon --session did not start"_s;
        return false;
    }
    m_address = QString::fromUtf8(m_bus->readLine()).trimmed();

    m_launcher = std::make_unique<QProcess>();
    m_launcher->setProcessEnvironment(environment());
    m_launcher->setStandardErrorFile(QProcess::nullDevice());
    m_launcher->setStandardOutputFile(QProcess::nullDevice());
    m_launcher->start(kLauncher, {u"--launch-immediately"_s, u"--a11y=1"_s});
    // Ready once the session bus answers for it and it says accessibility is on.
    for (QDeadlineTimer deadline(10000); !deadline.hasExpired(); QThread::msleep(50)) {
        QProcess ask;
        ask.setProcessEnvironment(environment());
        ask.start(u"dbus-send"_s, {u"--session"_s, u"--print-reply"_s, u"--dest=org.a11y.Bus"_s,
                                   u"/org/a11y/bus"_s, u"org.freedesktop.DBus.Properties.Get"_s,
                                   u"string:org.a11y.Status"_s, u"string:IsEnabled"_s});
        ask.waitForFinished(5000);
        if (ask.readAllStandardOutput().contains("boolean true"))
            return true;
    }
    *error = u"the accessibility bus did not come up on %1"_s.arg(m_address);
    return false;
}

QProcessEnvironment CaptureDesktop::environment() const
{
    QProcessEnvironment env = m_x.environment(m_home.path());
    env.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, m_address);
    env.insert(u"XDG_RUNTIME_DIR"_s, m_runtime.path());
    env.remove(u"AT_SPI_BUS_ADDRESS"_s);
    env.remove(u"NO_AT_BRIDGE"_s);
    return env;
}

QProcessEnvironment CaptureDesktop::programEnvironment() const
{
    QProcessEnvironment env = environment();
    env.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
    env.insert(u"LANG"_s, u"C.UTF-8"_s);
    env.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    return env;
}

qint64 CaptureDesktop::pid(const Program& program) const
{
    const size_t index = &program == &mousepad ? 0 : &program == &qt ? 1 : 2;
    return index < m_programs.size() ? m_programs[index]->processId() : 0;
}

void CaptureDesktop::launch(const QString& program, const QStringList& arguments,
                            const QProcessEnvironment& env, QString* error)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(env);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start(program, arguments);
    if (!process->waitForStarted(10000))
        *error += program + u" did not start. "_s;
    m_programs.push_back(std::move(process));
}

bool CaptureDesktop::place(const QString& title, int x, int y, int width, int height,
                           QString* error)
{
    QString id;
    for (QDeadlineTimer deadline(30000); id.isEmpty() && !deadline.hasExpired();
         QThread::msleep(100))
        id = m_x.window({u"--name"_s, title});
    if (id.isEmpty()) {
        *error = u"no window titled “%1” appeared"_s.arg(title);
        return false;
    }
    m_x.tool(u"xdotool"_s, {u"windowsize"_s, id, QString::number(width), QString::number(height),
                            u"windowmove"_s, id, QString::number(x), QString::number(y)});
    return true;
}
