#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <memory>

// Ends a helper process (terminate, then kill after 3 s) and lets it go; nothing when null.
void stopProcess(std::unique_ptr<QProcess>& process);

// A private X display for end-to-end tests: Xvfb on a display number that no other server
// uses, with openbox as its window manager. Both are stopped when the session ends.
class XSession {
public:
    XSession() = default;
    ~XSession();
    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    static bool xvfbInstalled();

    // Starts the server and the window manager; false with a reason on failure.
    bool start(QString* error);
    QString display() const { return m_display; }

    // The environment of a program in this session: DISPLAY set, an X11 session type, no Qt
    // platform forced.
    QProcessEnvironment environment(const QString& home) const;
    // Runs an X tool (xdotool, xwininfo, xprop, xclip) on this display; its standard output.
    QString tool(const QString& program, const QStringList& arguments,
                 int* exitCode = nullptr) const;
    // The first visible window `xdotool search --onlyvisible <search>` finds; empty when none.
    QString window(const QStringList& search) const;
    // A window's position and size on screen, as the X server has it.
    QRect geometry(const QString& window) const;

private:
    bool showsAWindow() const;

    QString m_display;
    std::unique_ptr<QProcess> m_server;
    std::unique_ptr<QProcess> m_windowManager;
};
