#pragma once

#include <QLockFile>
#include <QObject>
#include <QString>

class QLocalServer;

// One running application per user session. The first instance holds a lock file in the
// runtime folder for as long as it runs and listens on a local socket beside it; a later
// start finds the lock taken and asks, over the socket, for the running instance's menu.
//
// The lock is the process's own (QLockFile records the pid), so a lock left by a crashed
// instance is taken over at the next start, and the socket file it left is replaced. A local
// socket rather than a D-Bus name: a session without a session bus (a plain X login, a
// container) still gets one instance, and the lock settles a race of two starts at once.
// Main thread.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    enum class Role {
        First,   // this process holds the lock and listens
        Later,   // another instance holds the lock
        Unknown, // no lock could be made here (the reason is in the error); runs regardless
    };

    // Lock and socket in `directory`: $XDG_RUNTIME_DIR by default, made when missing.
    explicit SingleInstance(QString directory = defaultDirectory());
    ~SingleInstance() override;

    static QString defaultDirectory();
    QString socketPath() const;

    Role claim(QString* error);
    // A later instance: asks the first one to open its menu and waits for its answer. False
    // (with the reason) when no instance answers within the time.
    bool askToOpenMenu(QString* error, int timeoutMs = 5000);

Q_SIGNALS:
    // Another start asked for the menu.
    void openMenuRequested();

private:
    void answer();

    QString m_directory;
    QLockFile m_lock;
    QLocalServer* m_server = nullptr;
};
