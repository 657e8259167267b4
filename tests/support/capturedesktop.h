#pragma once

#include "tests/support/xsession.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>
#include <memory>
#include <vector>

// What text capture is tried on, end to end and in benchmarks: a private X display with
// openbox, a session bus (dbus-daemon) with the accessibility bus on it, switched on
// (at-spi-bus-launcher), and three programs with known text side by side, none covering another —
// Mousepad (GTK 3) at the top left, a Qt window of ours below it, Chromium on a local page at the
// right. Start it once per program; the programs are killed when it ends.
class CaptureDesktop {
public:
    // A program on it, with one word of its text and that word's sentence.
    struct Program {
        QString name; // the desktop's name (or the bus's) for --probe-word
        QString word;
        QString sentence;
        QString app; // what a capture names it: its desktop entry's name where it has one
    };
    static const Program mousepad;
    static const Program qt;
    static const Program chromium;

    CaptureDesktop() = default;
    ~CaptureDesktop();
    CaptureDesktop(const CaptureDesktop&) = delete;
    CaptureDesktop& operator=(const CaptureDesktop&) = delete;

    // The programs the desktop needs that are not installed, with their Debian packages; empty
    // when all are.
    static QString missing();

    // Starts everything; `qtWindow` is the built Qt window program. With `chromiumSwitch`
    // Chromium runs with --force-renderer-accessibility; without it its page shows on the
    // accessibility bus only once asked for. False with a reason when something did not come.
    bool start(const QString& qtWindow, bool chromiumSwitch, QString* error);

    // A program's environment on this desktop (display, buses), with the desktop's home.
    QProcessEnvironment environment() const;
    // That, as the desktop's programs have it: GSettings in memory, UTF-8, Qt's accessibility on.
    QProcessEnvironment programEnvironment() const;
    const XSession& x() const { return m_x; }
    qint64 pid(const Program& program) const;
    QString home() const { return m_home.path(); }

private:
    bool startBus(QString* error);
    void launch(const QString& program, const QStringList& arguments,
                const QProcessEnvironment& env, QString* error);
    bool place(const QString& title, int x, int y, int width, int height, QString* error);

    QTemporaryDir m_home;
    QTemporaryDir m_runtime; // XDG_RUNTIME_DIR of the desktop's programs
    XSession m_x;
    std::unique_ptr<QProcess> m_bus;                   // dbus-daemon --session
    std::unique_ptr<QProcess> m_launcher;              // at-spi-bus-launcher
    QString m_address;                                 // of the session bus
    std::vector<std::unique_ptr<QProcess>> m_programs; // Mousepad, the Qt window, Chromium
};
