#pragma once

#include "platform/inputevents.h"
#include "platform/presstracker.h"

#include <QDBusConnection>
#include <memory>

class QDBusMessage;
class QDBusServiceWatcher;

// The pointer under GNOME on Wayland, as Peekwell's GNOME Shell extension reports it: a service
// on the session bus (name io.github.peekwell.Peekwell, object /io/github/peekwell/Pointer)
// that takes the extension's reports of the left button's press (with the window under the
// pointer), motion while pressed and release, other buttons' presses and Escape, and turns them
// into InputEvents through a PressTracker.
//
// Only calls from the unique name that owns org.gnome.Shell are taken; anyone else gets
// org.freedesktop.DBus.Error.AccessDenied and changes nothing. disabled() follows the
// extension's goodbye (it was disabled, as GNOME does while the screen is locked) or the Shell
// leaving the bus. An extension that comes back while the service is still exported (enabled
// again, the screen unlocked) says so and makes isInstalled() true again; after the Shell left,
// install() must be called again. Main thread only.
class GnomeShellInputEvents : public InputEvents {
    Q_OBJECT
public:
    static constexpr const char* kServiceName = "io.github.peekwell.Peekwell";
    static constexpr const char* kObjectPath = "/io/github/peekwell/Pointer";
    static constexpr const char* kInterface = "io.github.peekwell.Pointer";

    explicit GnomeShellInputEvents(QDBusConnection bus = QDBusConnection::sessionBus());
    ~GnomeShellInputEvents() override;

    // Takes the service name and exports the object, then asks the extension whether it runs.
    // False, with nothing left registered, when the bus is unreachable, another Peekwell holds
    // the name, or the extension does not answer (problem() says which).
    bool install() override;
    bool isInstalled() const override { return m_installed; }
    QString sourceName() const override;
    QString problem() const override { return m_problem; }
    // Asks the extension to bind Escape while on; fails quietly where the extension is gone.
    void watchEscape(bool on) override;

private:
    class Receiver;
    friend class Receiver;

    // One call of the extension's, already checked for its sender; false for an unknown member
    // or signature.
    bool handle(const QDBusMessage& message);
    void uninstall();
    void shellLeft();

    QDBusConnection m_bus;
    std::unique_ptr<Receiver> m_receiver;
    std::unique_ptr<QDBusServiceWatcher> m_shellWatcher;
    PressTracker m_tracker;
    QString m_shellOwner;
    QString m_problem;
    bool m_installed = false;
};
