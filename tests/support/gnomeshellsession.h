#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QJsonValue>
#include <QPointF>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QVariantMap>
#include <memory>
#include <optional>

// A headless GNOME Shell on Wayland for end-to-end tests: its own session bus
// (dbus-run-session, which also stands in for the system bus), its own home and runtime folder,
// one 1280x800 virtual monitor with Xwayland, accessibility on, and an extension copied into
// the home's user extension folder and enabled before the Shell starts (with a test extension
// that lets eval() ask the Shell anything). Pointer and keyboard input go in through a Mutter
// remote-desktop session that lives as long as this object. Stopping the Shell ends the bus and
// everything it started. Start it once per test program: it takes seconds.
class GnomeShellSession {
public:
    GnomeShellSession() = default;
    ~GnomeShellSession();
    GnomeShellSession(const GnomeShellSession&) = delete;
    GnomeShellSession& operator=(const GnomeShellSession&) = delete;

    // The programs the session needs that are not installed (empty when all are there).
    static QStringList missingPrograms();

    // Starts the Shell with the extension in `extensionDir` enabled, and returns once the Shell
    // runs it, the overview is closed and the remote-desktop session is started. False with a
    // reason (the Shell's log is in logPath()).
    bool start(const QString& extensionDir, const QString& uuid, QString* error);

    QString home() const { return m_dir.path() + QStringLiteral("/home"); }
    QString logPath() const { return m_dir.path() + QStringLiteral("/gnome-shell.log"); }
    // The environment of a program in this session, as a GNOME login gives it: Wayland, with
    // DISPLAY naming Xwayland; GTK is forced to Wayland.
    QProcessEnvironment clientEnvironment() const;
    // Runs JavaScript inside the Shell and returns its value; nothing when it threw.
    std::optional<QJsonValue> eval(const QString& code) const;
    // A new connection to the session's bus with a unique name of its own.
    QDBusConnection connect(const QString& connectionName) const;
    // Calls an org.gnome.Shell.Extensions method taking the uuid (GetExtensionInfo,
    // EnableExtension, DisableExtension); its reply, or an error message.
    QDBusMessage extensions(const QString& method, const QString& uuid) const;
    // GetExtensionInfo's answer; empty when the Shell does not know the extension.
    QVariantMap extensionInfo(const QString& uuid) const;

    // Moves the pointer to a point of the virtual monitor, or by a distance.
    bool movePointer(const QPointF& to);
    bool movePointerBy(const QPointF& delta);
    // Evdev codes: 272 left, 273 right, 274 middle; keys: 1 Escape.
    bool button(int code, bool pressed);
    bool key(int code, bool pressed);

private:
    // A call on the Shell's own object, with one string argument.
    QDBusMessage shell(const QString& interface, const QString& method,
                       const QString& argument) const;
    bool remote(const QString& method, const QVariantList& arguments);

    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    qint64 m_shellPid = 0;
    QString m_address;
    QString m_waylandDisplay;
    QString m_x11Display;
    QString m_xauthority;
    QString m_inputConnection;
    QString m_remoteSession;
};
