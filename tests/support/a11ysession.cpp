#include "tests/support/a11ysession.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

namespace {

const QString kLauncher = QStringLiteral("/usr/libexec/at-spi-bus-launcher");

} // namespace

A11ySession::~A11ySession()
{
    stopProcess(m_launcher);
    stopProcess(m_bus);
}

bool A11ySession::installed()
{
    return !QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty() &&
           QFile::exists(kLauncher);
}

bool A11ySession::start(const XSession& display, QString* error)
{
    m_display = &display;
    if (!m_runtime.isValid()) {
        *error = QStringLiteral("no temporary folder for the session's runtime files");
        return false;
    }
    QFile::setPermissions(m_runtime.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    m_bus = std::make_unique<QProcess>();
    m_bus->setProcessEnvironment(display.environment(QString()));
    m_bus->setStandardErrorFile(QProcess::nullDevice());
    m_bus->start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"),
                  QStringLiteral("--print-address=1")});
    if (!m_bus->waitForStarted(5000) || !m_bus->waitForReadyRead(10000)) {
        *error = QStringLiteral("dbus-daemon --session did not start (Debian package dbus)");
        return false;
    }
    m_address = QString::fromUtf8(m_bus->readLine()).trimmed();

    m_launcher = std::make_unique<QProcess>();
    m_launcher->setProcessEnvironment(environment(QString()));
    m_launcher->setStandardErrorFile(QProcess::nullDevice());
    m_launcher->setStandardOutputFile(QProcess::nullDevice());
    m_launcher->start(kLauncher,
                      {QStringLiteral("--launch-immediately"), QStringLiteral("--a11y=1")});
    if (!m_launcher->waitForStarted(5000)) {
        *error = QStringLiteral("at-spi-bus-launcher did not start (Debian package at-spi2-core)");
        return false;
    }
    // Ready once the session bus answers for it and it says accessibility is on.
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        QProcess ask;
        ask.setProcessEnvironment(environment(QString()));
        ask.start(QStringLiteral("dbus-send"),
                  {QStringLiteral("--session"), QStringLiteral("--print-reply"),
                   QStringLiteral("--dest=org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                   QStringLiteral("org.freedesktop.DBus.Properties.Get"),
                   QStringLiteral("string:org.a11y.Status"), QStringLiteral("string:IsEnabled")});
        ask.waitForFinished(5000);
        if (ask.readAllStandardOutput().contains("boolean true"))
            return true;
        QThread::msleep(50);
    }
    *error = QStringLiteral("the accessibility bus did not come up on %1").arg(m_address);
    return false;
}

QProcessEnvironment A11ySession::environment(const QString& home) const
{
    QProcessEnvironment env = m_display->environment(home);
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime.path());
    env.remove(QStringLiteral("AT_SPI_BUS_ADDRESS"));
    env.remove(QStringLiteral("NO_AT_BRIDGE"));
    return env;
}
