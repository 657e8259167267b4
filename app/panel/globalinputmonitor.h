#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QPoint>
#include <memory>

// While it lives, reports every press of Escape and every mouse button press anywhere on
// the X11 display, whichever application they go to: Escape through a grab of that key
// (so it reaches no other window meanwhile), buttons through XInput 2 raw events (which
// are only watched, never taken from the application that gets them).
//
// Only on X11: create() gives nothing elsewhere. When another client already holds Escape,
// the monitor still reports buttons. Main thread only.
class GlobalInputMonitor : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    static std::unique_ptr<GlobalInputMonitor> create();
    ~GlobalInputMonitor() override;

    bool hasEscapeGrab() const { return !m_grabbedModifiers.isEmpty(); }
    bool watchesButtons() const { return m_xiOpcode >= 0; }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

Q_SIGNALS:
    void escapePressed();
    // A left, middle or right button went down; the pointer's position in screen coordinates.
    void buttonPressed(const QPoint& globalPosition);

private:
    GlobalInputMonitor() = default;
    void grabEscape();
    void watchButtons(bool on);

    void* m_display = nullptr;    // Display*, Qt's own connection
    void* m_connection = nullptr; // xcb_connection_t*, the same connection
    quint32 m_root = 0;
    quint8 m_escapeKeycode = 0;
    int m_xiOpcode = -1;
    QList<quint16> m_grabbedModifiers;
};
