#pragma once

#include "platform/inputevents.h"
#include "platform/presstracker.h"

#include <QPointF>
#include <QSocketNotifier>
#include <memory>
#include <optional>

// The session's pointer under X11: XInput 2.2 raw events selected on the root window of a
// connection of its own (so it works in a program without windows, and notices when the
// server goes away), listen-only. Left presses go through a PressTracker; every button press
// but wheel turns is reported with buttonPressed(); Escape is grabbed on the root window
// while watchEscape(true).
//
// Positions come from XIQueryPointer when a button goes down or up, and while the left button
// is held: raw events carry none. They are X screen pixels.
//
// When the connection breaks, the source closes it, emits disabled() and reports not
// installed; install() opens a new one (on the display $DISPLAY names then). Escape stays
// wanted across that. Main thread only.
class X11InputEvents : public InputEvents {
    Q_OBJECT
public:
    X11InputEvents();
    ~X11InputEvents() override;

    bool install() override;
    bool isInstalled() const override { return m_display && !m_broken; }
    QString sourceName() const override;
    QString problem() const override { return m_problem; }
    void watchEscape(bool on) override;

    // Escape is grabbed now (another client may hold it).
    bool hasEscapeGrab() const { return !m_grabbedModifiers.isEmpty(); }

protected:
    void connectNotify(const QMetaMethod& signal) override;
    void disconnectNotify(const QMetaMethod& signal) override;

private:
    void readEvents();
    void readEventsSoon();
    void handleRawEvent(int type, int device, int detail);
    void handleKeyPress(unsigned keycode);
    // The pointer of `device` now, or nothing when the server does not say.
    std::optional<QPointF> pointerPosition(int device) const;
    int logicalButton(int physical) const;
    void readButtonMapping();
    void selectEvents();
    void grabEscape(bool on);
    void lost();
    void closeBroken();

    void* m_display = nullptr; // Display*, ours alone
    std::unique_ptr<QSocketNotifier> m_notifier;
    PressTracker m_tracker;
    int m_xiOpcode = -1;
    int m_pressDevice = 0;
    QByteArray m_buttonMap; // physical button n → logical button m_buttonMap[n - 1]
    unsigned m_escapeKeycode = 0;
    QList<unsigned> m_grabbedModifiers;
    bool m_wantEscape = false;
    bool m_readQueued = false;
    bool m_broken = false; // found broken inside an Xlib call, closed after it
    QString m_problem;
};
