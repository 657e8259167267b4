// The desktop application end to end: the real executable on a private X server with a window
// manager (and, where a case needs one, trayer's XEmbed system tray), observed with xdotool
// and xwininfo as a user's desktop would be.
#include "platform/x11/x11activewindow.h"
#include "tests/support/eventwait.h"
#include "tests/support/temphome.h"
#include "tests/support/xsession.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <xcb/xcb.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);

// Whether a system tray manager owns the tray selection of the display's first screen.
bool trayManaged(const QString& display)
{
    xcb_connection_t* connection = xcb_connect(display.toLocal8Bit().constData(), nullptr);
    bool owned = false;
    if (!xcb_connection_has_error(connection)) {
        const char name[] = "_NET_SYSTEM_TRAY_S0";
        xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, sizeof(name) - 1, name), nullptr);
        if (atom) {
            xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
                connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
            owned = owner && owner->owner != XCB_WINDOW_NONE;
            std::free(owner);
            std::free(atom);
        }
    }
    xcb_disconnect(connection);
    return owned;
}

class AppEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!XSession::xvfbInstalled())
            GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb)";
        m_session = std::make_unique<XSession>();
        QString error;
        ASSERT_TRUE(m_session->start(&error)) << error.toStdString();
        // Every source points at closed local ports: nothing leaves the machine.
        m_home.write(u".config/peekwell/peekwell.conf"_s,
                     "[General]\nlocalModel.baseURL=http://127.0.0.1:9/v1\n"
                     "backend.wikipedia.url=http://127.0.0.1:9\n");
        QDir().mkpath(runtimeDir());
        QFile::setPermissions(runtimeDir(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                QFileDevice::ExeOwner);
    }

    void TearDown() override
    {
        for (auto& process : m_processes) {
            process->kill();
            process->waitForFinished(5000);
        }
    }

    QString runtimeDir() const { return m_home.path() + u"/run"_s; }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = m_session->environment(m_home.path());
        env.insert(u"XDG_RUNTIME_DIR"_s, runtimeDir());
        env.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        return env;
    }

    QProcess& launch(const QString& program, const QStringList& arguments = {})
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment());
        process->start(program, arguments);
        EXPECT_TRUE(process->waitForStarted(5000)) << program.toStdString();
        m_processes.push_back(std::move(process));
        return *m_processes.back();
    }

    QString xdotool(const QStringList& arguments)
    {
        return m_session->tool(u"xdotool"_s, arguments);
    }

    QString menuWindow() { return m_session->window({u"--name"_s, u"^Peekwell menu$"_s}); }
    bool menuShown()
    {
        return spinUntil([&] { return !menuWindow().isEmpty(); });
    }
    bool menuHidden()
    {
        return spinUntil([&] { return menuWindow().isEmpty(); });
    }

    // trayer's XEmbed tray at the top right, once it manages the display's tray.
    void startTray()
    {
        QProcess& tray =
            launch(u"trayer"_s, {u"--edge"_s, u"top"_s, u"--align"_s, u"right"_s, u"--widthtype"_s,
                                 u"request"_s, u"--height"_s, u"24"_s});
        ASSERT_TRUE(spinUntil([&] { return trayManaged(m_session->display()); }))
            << "trayer does not manage the tray: " << tray.readAllStandardError().toStdString();
    }
    // Our icon docked in the tray (the menu window, of the same class, is hidden then).
    QString trayIcon() { return m_session->window({u"--class"_s, u"^peekwell$"_s}); }

    TempHome m_home;
    std::unique_ptr<XSession> m_session;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

TEST_F(AppEndToEndTest, OneInstanceAtATimeAndTheMenuOpensAtStartOnlyWithoutATray)
{
    QProcess& first = launch(kPeekwell);
    ASSERT_TRUE(menuShown()) << first.readAllStandardError().toStdString();
    xdotool({u"windowactivate"_s, u"--sync"_s, menuWindow(), u"key"_s, u"Escape"_s});
    ASSERT_TRUE(menuHidden());

    QProcess& second = launch(kPeekwell);
    ASSERT_TRUE(second.waitForFinished(10000));
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();
    EXPECT_TRUE(menuShown()) << "the running instance opened its menu";
    EXPECT_EQ(first.state(), QProcess::Running);

    // A crash leaves its lock and socket behind; the next start takes them over.
    first.kill();
    first.waitForFinished(5000);
    ASSERT_TRUE(menuHidden());
    ASSERT_TRUE(QFile::exists(runtimeDir() + u"/peekwell.socket"_s));
    QProcess& third = launch(kPeekwell);
    ASSERT_TRUE(menuShown()) << third.readAllStandardError().toStdString();
    EXPECT_FALSE(third.waitForFinished(1000)) << "it runs as the session's instance";

    // Started at login before the desktop's panel: the icon follows the tray when it comes.
    xdotool({u"windowactivate"_s, u"--sync"_s, menuWindow(), u"key"_s, u"Escape"_s});
    ASSERT_TRUE(menuHidden());
    startTray();
    EXPECT_TRUE(spinUntil([&] { return !trayIcon().isEmpty(); }));

    // Started with a tray, the menu waits for a click on the icon and opens under it.
    third.kill();
    third.waitForFinished(5000);
    ASSERT_TRUE(spinUntil([&] { return trayIcon().isEmpty(); }));
    QProcess& fourth = launch(kPeekwell);
    QString icon;
    ASSERT_TRUE(spinUntil([&] { return !(icon = trayIcon()).isEmpty(); }))
        << "no icon docked in the tray: " << fourth.readAllStandardError().toStdString();
    EXPECT_TRUE(menuWindow().isEmpty()) << "with a tray the menu waits for the icon";
    const QRect iconFrame = m_session->geometry(icon);
    EXPECT_LE(iconFrame.width(), 32) << "a tray icon, not a window";
    xdotool({u"mousemove"_s, QString::number(iconFrame.center().x()),
             QString::number(iconFrame.center().y()), u"click"_s, u"1"_s});
    ASSERT_TRUE(menuShown());
    const QRect menuFrame = m_session->geometry(menuWindow());
    EXPECT_GE(menuFrame.top(), iconFrame.bottom()) << "under the icon";
    EXPECT_EQ(menuFrame.width(), 320);
}

// The activation observer's own connection: the window openbox activates names its program,
// and the end of the server is reported rather than waited on. The application itself ends
// with status 1 then.
TEST_F(AppEndToEndTest, ActiveWindowNamesItsProgramAndLosingTheDisplayEndsTheApplication)
{
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", m_session->display().toLocal8Bit());
    X11ActiveWindow watch;
    QString error;
    const bool started = watch.start(&error);
    qputenv("DISPLAY", display);
    ASSERT_TRUE(started) << error.toStdString();
    QList<X11ActiveWindow::Owner> activated;
    QObject::connect(&watch, &X11ActiveWindow::activated,
                     [&](const X11ActiveWindow::Owner& owner) { activated << owner; });
    QString lost;
    QObject::connect(&watch, &X11ActiveWindow::connectionLost,
                     [&](const QString& reason) { lost = reason; });

    QProcess& app = launch(kPeekwell);
    ASSERT_TRUE(spinUntil([&] { return !activated.isEmpty(); }));
    EXPECT_EQ(activated.last().pid, app.processId());
    EXPECT_EQ(activated.last().className, u"peekwell"_s);
    EXPECT_EQ(watch.current(), activated.last());

    m_session.reset(); // the X server goes away under the running application
    ASSERT_TRUE(app.waitForFinished(10000)) << "still running without its display";
    EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.exitCode(), 1);
    const QString err = QString::fromLocal8Bit(app.readAllStandardError());
    // Qt's display connection or Peekwell's input stream, whichever notices first, says so.
    EXPECT_TRUE(
        err.contains(QRegularExpression(u"X11 connection|X server \\S+ closed the connection"_s)))
        << err.toStdString();
    ASSERT_TRUE(spinUntil([&] { return !lost.isEmpty(); }));
    EXPECT_TRUE(lost.contains(u"closed the connection"_s)) << lost.toStdString();
    EXPECT_FALSE(watch.current());
}

} // namespace
