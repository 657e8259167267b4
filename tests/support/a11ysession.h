#pragma once

#include "tests/support/xsession.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>
#include <memory>

// A private desktop session bus with the accessibility bus on it, for end-to-end tests of
// what other programs show: dbus-daemon --session, then at-spi-bus-launcher with
// accessibility switched on (org.a11y.Status IsEnabled true), bound to an XSession's display.
// Start it once per test program; everything is stopped when it ends.
class A11ySession {
public:
    A11ySession() = default;
    ~A11ySession();
    A11ySession(const A11ySession&) = delete;
    A11ySession& operator=(const A11ySession&) = delete;

    // dbus-daemon and the bus launcher are installed (Debian packages dbus and at-spi2-core).
    static bool installed();

    // Starts both on the display; false with a reason when they do not come up in 10 s.
    bool start(const XSession& display, QString* error);

    // The display's environment for a program of this session, with `home` as its home.
    QProcessEnvironment environment(const QString& home) const;
    QString busAddress() const { return m_address; }

private:
    const XSession* m_display = nullptr;
    QTemporaryDir m_runtime;
    QString m_address;
    std::unique_ptr<QProcess> m_bus;
    std::unique_ptr<QProcess> m_launcher;
};
