#include "tests/support/xsession.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>

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
    return !QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty();
}

bool XSession::start(QString* error)
{
    for (int number = 91; number < 200 && !m_server; ++number) {
        const QString socket = QStringLiteral("/tmp/.X11-unix/X%1").arg(number);
        if (QFile::exists(socket) || QFile::exists(QStringLiteral("/tmp/.X%1-lock").arg(number)))
            continue;
        auto server = std::make_unique<QProcess>();
        server->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server->setStandardOutputFile(QProcess::nullDevice());
        server->start(QStringLiteral("Xvfb"),
                      {QStringLiteral(":%1").arg(number), QStringLiteral("-screen"),
                       QStringLiteral("0"), QStringLiteral("1280x800x24"),
                       QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (!server->waitForStarted(5000))
            continue;
        // The number is ours once the server's lock file names our server and its socket is
        // there; a server that lost the number to another one exits instead.
        const QString lock = QStringLiteral("/tmp/.X%1-lock").arg(number);
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
        m_display = QStringLiteral(":%1").arg(number);
        m_server = std::move(server);
    }
    if (!m_server) {
        *error = QStringLiteral("Xvfb did not start on any display from :91 to :199");
        return false;
    }

    // Ready when a client can talk to it.
    QDeadlineTimer ready(10000);
    int status = -1;
    while (status != 0 && !ready.hasExpired()) {
        tool(QStringLiteral("xprop"),
             {QStringLiteral("-root"), QStringLiteral("-len"), QStringLiteral("1")}, &status);
        if (status != 0)
            QThread::msleep(50);
    }
    if (status != 0) {
        *error = QStringLiteral("Xvfb on %1 accepts no clients (is x11-utils installed for xprop?)")
                     .arg(m_display);
        return false;
    }

    QString output;
    for (int attempt = 0; attempt < 3; ++attempt) {
        m_windowManager = std::make_unique<QProcess>();
        m_windowManager->setProcessEnvironment(environment(QString()));
        m_windowManager->setProcessChannelMode(QProcess::MergedChannels);
        m_windowManager->start(QStringLiteral("openbox"), {});
        if (!m_windowManager->waitForStarted(5000)) {
            *error = QStringLiteral("openbox is not installed (Debian package openbox)");
            return false;
        }
        // The window manager is ready once it has announced itself on the root window.
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && m_windowManager->state() == QProcess::Running) {
            if (tool(QStringLiteral("xprop"),
                     {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})
                    .contains(QStringLiteral("window id")))
                return true;
            QThread::msleep(50);
        }
        m_windowManager->waitForFinished(1000);
        output += QString::fromLocal8Bit(m_windowManager->readAll());
        stopProcess(m_windowManager);
    }
    *error = QStringLiteral("openbox did not take over display %1: %2").arg(m_display, output);
    return false;
}

QProcessEnvironment XSession::environment(const QString& home) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DISPLAY"), m_display);
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("x11"));
    if (!home.isEmpty()) {
        env.insert(QStringLiteral("HOME"), home);
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
    return tool(QStringLiteral("xdotool"),
                QStringList{QStringLiteral("search"), QStringLiteral("--onlyvisible")} + search)
        .section(QLatin1Char('\n'), 0, 0)
        .trimmed();
}

QRect XSession::geometry(const QString& window) const
{
    const QString info = tool(QStringLiteral("xwininfo"), {QStringLiteral("-id"), window});
    auto field = [&](const char* name) {
        return QRegularExpression(QLatin1String(name) + QStringLiteral(":\\s+(-?\\d+)"))
            .match(info)
            .captured(1)
            .toInt();
    };
    return {field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"),
            field("Height")};
}
