#include "shell/singleinstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

namespace {
const QByteArray kOpenMenu = "open-menu\n";
const QByteArray kDone = "ok\n";
} // namespace

SingleInstance::SingleInstance(QString directory)
    : m_directory(std::move(directory)), m_lock(m_directory + QStringLiteral("/peekwell.lock"))
{
    // A running instance keeps its lock however old it is; only a dead owner frees it.
    m_lock.setStaleLockTime(0);
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultDirectory()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty())
        return runtime;
    // Qt's fallback: a private folder under /tmp named after the user.
    return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
}

QString SingleInstance::socketPath() const
{
    return m_directory + QStringLiteral("/peekwell.socket");
}

SingleInstance::Role SingleInstance::claim(QString* error)
{
    QDir().mkpath(m_directory);
    if (!m_lock.tryLock(0)) {
        if (m_lock.error() == QLockFile::LockFailedError)
            return Role::Later;
        *error = QStringLiteral("cannot make the lock file %1 (is %2 writable?)")
                     .arg(m_directory + QStringLiteral("/peekwell.lock"), m_directory);
        return Role::Unknown;
    }
    // A socket file left by a crashed instance is ours to replace: we hold the lock.
    QLocalServer::removeServer(socketPath());
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(socketPath())) {
        *error =
            QStringLiteral("cannot listen on %1: %2").arg(socketPath(), m_server->errorString());
        return Role::Unknown;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::answer);
    return Role::First;
}

void SingleInstance::answer()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            if (socket->readLine() == kOpenMenu) {
                Q_EMIT openMenuRequested();
                socket->write(kDone);
                socket->flush();
            }
            socket->disconnectFromServer();
        });
    }
}

bool SingleInstance::askToOpenMenu(QString* error, int timeoutMs)
{
    // The first instance may hold the lock a moment before it listens.
    QDeadlineTimer deadline(timeoutMs);
    QLocalSocket socket;
    for (;;) {
        socket.connectToServer(socketPath());
        if (socket.waitForConnected(static_cast<int>(deadline.remainingTime())))
            break;
        if (deadline.hasExpired()) {
            *error = QStringLiteral("another Peekwell holds %1 but does not answer on %2 (%3)")
                         .arg(m_lock.fileName(), socketPath(), socket.errorString());
            return false;
        }
        QThread::msleep(50);
    }
    socket.write(kOpenMenu);
    socket.flush();
    while (!socket.canReadLine() && !deadline.hasExpired())
        socket.waitForReadyRead(static_cast<int>(std::max<qint64>(1, deadline.remainingTime())));
    if (socket.readLine() == kDone)
        return true;
    *error = QStringLiteral("the running Peekwell did not answer on %1").arg(socketPath());
    return false;
}
