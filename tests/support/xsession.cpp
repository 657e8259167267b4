#include "tests/support/xsession.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>

using namespace Qt::Literals::StringLiterals;

void stopProcess(std::unique_ptr<QProcess>& process)
{
    if (!process)
        return;
    process->terminate();
    if (!process->waitForFinished(3000)) {
        process->kill();
        process->waitForFinished(3000);
    }
    process.reset();
}

XSession::~XSession()
{
    stopProcess(m_windowManager);
    stopProcess(m_server);
}

bool XSession::xvfbInstalled()
{
    return !QStandardPaths::findExecutable(u"Xvfb"_s).isEmpty();
}

bool XSession::start(QString* error)
{
    for (int number = 91; number < 200 && !m_server; ++number) {
        const QString socket = u"/tmp/.X11-unix/X%1"_s.arg(number);
        if (QFile::exists(socket) || QFile::exists(u"/tmp/.X%1-lock"_s.arg(number)))
            continue;
        auto server = std::make_unique<QProcess>();
        server->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server->setStandardOutputFile(QProcess::nullDevice());
        server->start(u"Xvfb"_s, {u":%1"_s.arg(number), u"-screen"_s, u"0"_s, u"1280x800x24"_s,
                                  u"-nolisten"_s, u"tcp"_s});
        if (!server->waitForStarted(5000))
            continue;
        // The number is ours once the server's lock file names our server and its socket is
        // there; a server that lost the number to another one exits instead.
        const QString lock = u"/tmp/.X%1-lock"_s.arg(number);
        auto owned = [&] {
            QFile file(lock);
            return file.open(QIODevice::ReadOnly) &&
                   file.readAll().trimmed().toLongLong() == server->processId() &&
                   QFile::exists(socket);
        };
        QDeadlineTimer deadline(10000);
        while (!owned() && server->state() == QProcess::Running && !deadline.hasExpired())
            QThread::msleep(20);
        if (server->state() != QProcess::Running || !owned()) {
            stopProcess(server);
            continue;
        }
        m_display = u":%1"_s.arg(number);
        m_server = std::move(server);
    }
    if (!m_server) {
        *error = u"Xvfb did not start on any display from :91 to :199"_s;
        return false;
    }

    // Ready when a client can talk to it.
    int status = -1;
    for (QDeadlineTimer ready(10000); status != 0 && !ready.hasExpired(); QThread::msleep(50))
        tool(u"xprop"_s, {u"-root"_s, u"-len"_s, u"1"_s}, &status);
    if (status != 0) {
        *error =
            u"Xvfb on %1 accepts no clients (is x11-utils installed for xprop?)"_s.arg(m_display);
        return false;
    }

    QString output;
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_windowManager = std::make_unique<QProcess>();
        m_windowManager->setProcessEnvironment(environment(QString()));
        m_windowManager->setProcessChannelMode(QProcess::MergedChannels);
        m_windowManager->start(u"openbox"_s, {});
        if (!m_windowManager->waitForStarted(5000)) {
            *error = u"openbox is not installed (Debian package openbox)"_s;
            return false;
        }
        // The window manager is ready once it has announced itself on the root window.
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && m_windowManager->state() == QProcess::Running) {
            if (tool(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s})
                    .contains(u"window id"_s) &&
                showsAWindow())
                return true;
            QThread::msleep(50);
        }
        m_windowManager->waitForFinished(1000);
        output += QString::fromLocal8Bit(m_windowManager->readAll());
        stopProcess(m_windowManager);
    }
    *error = u"openbox did not take over display %1: %2"_s.arg(m_display, output);
    return false;
}

// Openbox announces itself a moment before it takes over the windows that appear: one mapped in
// that gap may stay hidden for good. A window that shows proves the gap is over.
bool XSession::showsAWindow() const
{
    QProcess probe;
    probe.setProcessEnvironment(environment(QString()));
    probe.start(u"xmessage"_s, {u"-name"_s, u"xsession-probe"_s, u"ready"_s});
    if (!probe.waitForStarted(5000))
        return false;
    QDeadlineTimer shown(1000);
    bool visible = false;
    while (!(visible = !window({u"--classname"_s, u"xsession-probe"_s}).isEmpty()) &&
           !shown.hasExpired())
        QThread::msleep(20);
    probe.kill();
    probe.waitForFinished(1000);
    return visible;
}

QProcessEnvironment XSession::environment(const QString& home) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"DISPLAY"_s, m_display);
    env.remove(u"QT_QPA_PLATFORM"_s);
    env.remove(u"WAYLAND_DISPLAY"_s);
    env.insert(u"XDG_SESSION_TYPE"_s, u"x11"_s);
    if (!home.isEmpty()) {
        env.insert(u"HOME"_s, home);
        for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
            env.remove(QString::fromLatin1(name));
    }
    return env;
}

QString XSession::tool(const QString& program, const QStringList& arguments, int* exitCode) const
{
    QProcess process;
    process.setProcessEnvironment(environment(QString()));
    process.start(program, arguments);
    if (!process.waitForStarted(5000)) {
        if (exitCode)
            *exitCode = -1;
        return {};
    }
    process.waitForFinished(10000);
    if (exitCode)
        *exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromUtf8(process.readAllStandardOutput());
}

QString XSession::window(const QStringList& search) const
{
    return tool(u"xdotool"_s, QStringList{u"search"_s, u"--onlyvisible"_s} + search)
        .section(u'\n', 0, 0)
        .trimmed();
}

QRect XSession::geometry(const QString& window) const
{
    const QString info = tool(u"xwininfo"_s, {u"-id"_s, window});
    auto field = [&](const char* name) {
        return QRegularExpression(QLatin1String(name) + u":\\s+(-?\\d+)"_s)
            .match(info)
            .captured(1)
            .toInt();
    };
    return {field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"),
            field("Height")};
}
