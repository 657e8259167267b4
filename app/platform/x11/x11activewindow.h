#pragma once

#include <QObject>
#include <QString>
#include <optional>

class QSocketNotifier;
struct xcb_connection_t;

// The window the window manager calls active (_NET_ACTIVE_WINDOW on the root window) and the
// program that owns it, watched through PropertyNotify events on the root window.
//
// Keeps a connection of its own to the X server named by DISPLAY, independent of the one Qt
// draws on, so it works whatever Qt platform runs. Main thread only.
class X11ActiveWindow : public QObject {
    Q_OBJECT
public:
    // The program behind a window: its process (_NET_WM_PID) and the class part of WM_CLASS
    // ("Mousepad", "Chromium"), empty when the window has none.
    struct Owner {
        qint64 pid = 0;
        QString className;

        friend bool operator==(const Owner&, const Owner&) = default;
    };

    explicit X11ActiveWindow(QObject* parent = nullptr);
    ~X11ActiveWindow() override;

    // Connects and starts watching. False (with the reason in `error`) when no X server
    // answers; true when already started.
    bool start(QString* error = nullptr);
    bool isStarted() const { return m_connection != nullptr; }

    // The owner of the window active now; nothing when no window is active, the window names
    // no process, or the connection is gone.
    std::optional<Owner> current() const;

Q_SIGNALS:
    // Another window became active; only windows that name their process are reported.
    void activated(const X11ActiveWindow::Owner& owner);
    // The X server closed the connection (it ended, or the session did). Nothing is watched
    // after this.
    void connectionLost(const QString& reason);

private:
    void readEvents();
    std::optional<quint32> activeWindow() const;

    xcb_connection_t* m_connection = nullptr;
    QSocketNotifier* m_notifier = nullptr;
    quint32 m_root = 0;
    quint32 m_activeAtom = 0;
    quint32 m_pidAtom = 0;
    std::optional<quint32> m_lastActive;
    QString m_displayName;
};
