#pragma once

#include "capture/capturedtext.h"
#include "capture/textcapture.h"
#include "lookup/lookupquery.h"
#include "platform/desktopsession.h"

#include <QFutureWatcher>
#include <QObject>
#include <QPointF>
#include <QTimer>
#include <functional>
#include <optional>

class X11ActiveWindow;

// The running application's spine: it wires force clicks to the lookup panel, turns
// accessibility on, keeps the force-click listener installed, keeps the conversation index
// fresh, switches on web accessibility in browsers as they become active, and publishes the
// few values the tray menu shows. Every refresh also rewrites "status.json" in the log folder.
//
// Main thread only. The index pass and the local model's availability run on worker threads;
// their results come back to the main thread before any field changes.
class AppStatus : public QObject {
    Q_OBJECT
public:
    // What the status object asks of the rest of the program. Unset members get the real
    // ones (force-click listener, accessibility bus, local model server, conversation index,
    // X11 active window, lookup panel); tests replace what they watch.
    struct Hooks {
        std::function<void(std::function<void(const CapturedText&, const QPointF&)>)>
            setLookupHandler;
        std::function<void()> prewarm;
        std::function<bool()> trusted;
        std::function<bool()> requestAccess;
        std::function<bool()> installListener;
        std::function<bool()> listenerInstalled;
        std::function<QString()> listenerSource;
        // Why force clicks are not heard and what to do, as one sentence for the user; empty
        // when the session has nothing to add to "not listening" (X11). Asked only while not
        // listening; may block on the session bus for a second or two.
        std::function<QString()> listenerProblem;
        // Blocks (it may ask the local model server); runs on a worker thread.
        std::function<QString()> appleModel;
        // Starts an index pass; `done` gets the number of indexed sessions, on any thread. A
        // request while a pass runs is dropped without calling its `done`.
        std::function<void(std::function<void(qint64)> done)> indexPass;
        std::function<std::optional<RunningApplication>()> activeApplication;
        std::function<void(const RunningApplication&)> enableWebAccessibility;
        // Calls `activated` on the main thread for every application that becomes active.
        std::function<void(std::function<void(const RunningApplication&)> activated)>
            observeActivations;
        std::function<void(const LookupQuery&, const QPointF&)> show;
        std::function<QPointF()> pointer;
    };

    // The process's status object, on the real program, made on first use.
    static AppStatus& shared();

    explicit AppStatus(Hooks hooks = {}, QObject* parent = nullptr);
    ~AppStatus() override;

    // Once, at launch: lookup handler, prewarm, refresh, the accessibility request (once),
    // the index pass, web accessibility for the active application, the activation observer
    // and the repeating timer, in that order.
    void start();
    // Brings trusted, the listener and the local model's state up to date and writes
    // "status.json" (its folder is made again when it has gone). Failures to write are
    // dropped; the next tick tries again.
    void refresh();
    // Marks the index busy and starts a pass; the fields change when it reports.
    void refreshIndex();
    // The sample lookup at the pointer with the enabled sources.
    void tryLookup();
    // The force-click listener's handler: opens the panel for the captured text at `point`.
    void lookUp(const CapturedText& captured, const QPointF& point);
    // The menu's button: turns accessibility on for the session. False when it cannot.
    bool requestAccess();

    // The timer's period, 2 s unless a test shortens it. Takes effect at the next start.
    void setTickInterval(int milliseconds) { m_tickInterval = milliseconds; }

    // The published fields; changed() follows every change of any of them.
    bool trusted() const { return m_trusted; }
    bool tapInstalled() const { return m_tapInstalled; }
    QString appleModel() const { return m_appleModel; }
    qint64 indexedSessions() const { return m_indexedSessions; }
    bool indexing() const { return m_indexing; }
    // How force clicks are heard ("X11", …), empty while they are not.
    QString listenerSource() const { return m_listenerSource; }
    // While not listening: why, and what to do (enable the GNOME Shell extension…).
    QString listenerProblem() const { return m_listenerProblem; }
    DesktopSession::Kind session() const { return m_session; }
    int ticks() const { return m_ticks; }

    static LookupQuery sampleQuery();

Q_SIGNALS:
    void changed();
    // The X server closed the connection the activation observer reads.
    void displayLost(const QString& reason);

private:
    void tick();
    void writeStatusFile() const;
    void checkAppleModel();
    void activated(const RunningApplication& application);
    // Starts the X11 active-window watch on first use; false outside X11 or without a server.
    bool startActiveWindow();
    template <typename T> void publish(T& field, const T& value);

    Hooks m_hooks;
    DesktopSession::Kind m_session;
    bool m_trusted = false;
    bool m_tapInstalled = false;
    QString m_appleModel;
    qint64 m_indexedSessions = 0;
    bool m_indexing = false;
    QString m_listenerSource;
    QString m_listenerProblem;
    int m_ticks = 0;
    int m_tickInterval = 2000;
    QTimer* m_timer = nullptr;
    QFutureWatcher<QString>* m_appleModelCheck = nullptr;
    X11ActiveWindow* m_activeWindow = nullptr;
};
