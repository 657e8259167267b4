// The panel end to end: the real executable (and the same program with scripted sources)
// on a private X server with a window manager, driven and observed with xdotool, xwininfo,
// xprop and xclip as a user's desktop would be.
#include "tests/support/eventwait.h"
#include "tests/support/processrun.h"
#include "tests/support/temphome.h"
#include "tests/support/xsession.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kScripted = QStringLiteral(PEEKWELL_SCRIPTED_EXECUTABLE);

class PanelEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!XSession::xvfbInstalled())
            GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb): the panel's end-to-end "
                            "tests need a real X server";
        QString error;
        ASSERT_TRUE(m_session.start(&error)) << error.toStdString();
    }

    void TearDown() override
    {
        if (m_process && m_process->state() != QProcess::NotRunning) {
            m_process->kill();
            m_process->waitForFinished(5000);
        }
    }

    void launch(const QString& program, const QStringList& arguments, const QString& script = {})
    {
        m_process = std::make_unique<QProcess>();
        QProcessEnvironment env = m_session.environment(m_home.path());
        if (!script.isEmpty())
            env.insert(u"PEEKWELL_SCRIPT"_s, script);
        m_process->setProcessEnvironment(env);
        m_process->start(program, arguments);
        ASSERT_TRUE(m_process->waitForStarted(5000)) << program.toStdString();
    }

    // The scripted program's lookup at (300, 200); its panel's window id once its lookup is
    // reported (empty when the panel does not appear).
    QString scriptedPanel(const QString& script = {})
    {
        launch(kScripted, {u"--lookup"_s, u"word"_s, u"--at"_s, u"300"_s, u"200"_s}, script);
        const QString window = panelWindow();
        EXPECT_TRUE(spinUntil([&] { return !report(u"lookup.json"_s).isEmpty(); }));
        return window;
    }

    QString xdotool(const QStringList& arguments)
    {
        return m_session.tool(u"xdotool"_s, arguments);
    }

    QString panelWindowNow() { return m_session.window({u"--name"_s, u"^Peekwell$"_s}); }
    QString panelWindow()
    {
        QString id;
        spinUntil([&] { return !(id = panelWindowNow()).isEmpty(); }, 15000);
        return id;
    }
    bool panelGone()
    {
        return spinUntil([&] { return panelWindowNow().isEmpty(); });
    }

    void click(int x, int y, int button = 1)
    {
        xdotool({u"mousemove"_s, QString::number(x), QString::number(y), u"click"_s,
                 QString::number(button)});
    }

    QJsonObject report(const QString& name) { return logReport(m_home.path(), name); }

    TempHome m_home;
    XSession m_session;
    std::unique_ptr<QProcess> m_process;
};

TEST_F(PanelEndToEndTest, LookupMapsThePanelWhereItsReportSaysAndExitsAfterTheHold)
{
    launch(kPeekwell,
           {u"--lookup"_s, u"word"_s, u"--at"_s, u"100"_s, u"200"_s, u"--hold"_s, u"3"_s});
    const QString window = panelWindow();
    ASSERT_FALSE(window.isEmpty()) << "no panel window appeared";
    // The window manager may map the window a moment before it moves it into place.
    const QRect expected(64, 216, 470, 340);
    QRect onScreen;
    EXPECT_TRUE(spinUntil([&] { return (onScreen = m_session.geometry(window)) == expected; }))
        << "on screen at " << onScreen.x() << "," << onScreen.y() << " " << onScreen.width() << "x"
        << onScreen.height();

    // The window manager is told: no focus for the panel, every desktop, above the rest.
    const QString hints = m_session.tool(u"xprop"_s, {u"-id"_s, window});
    for (const QString& hint :
         {u"Client accepts input or input focus: False"_s,
          u"_NET_WM_DESKTOP(CARDINAL) = 4294967295"_s, u"_NET_WM_STATE_ABOVE"_s})
        EXPECT_TRUE(hints.contains(hint)) << hints.toStdString();

    ASSERT_TRUE(m_process->waitForFinished(20000)) << "the hold did not end the process";
    EXPECT_EQ(m_process->exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_process->exitCode(), 0);
    const QJsonObject printed =
        QJsonDocument::fromJson(m_process->readAllStandardOutput()).object();
    const QString frame = u"{{64, 216}, {470, 340}}"_s;
    EXPECT_EQ(printed.value(u"panelFrame"_s).toString(), frame);
    EXPECT_EQ(report(u"lookup.json"_s).value(u"panelFrame"_s).toString(), frame);
    EXPECT_EQ(printed.value(u"term"_s).toString(), u"word"_s);
}

TEST_F(PanelEndToEndTest, ClosingThePanelEndsItsLookupAndTheReportAtOnce)
{
    // The source would keep the lookup waiting for its 30 s time-out.
    launch(kScripted, {u"--lookup"_s, u"word"_s, u"--at"_s, u"300"_s, u"200"_s}, u"hang"_s);
    ASSERT_FALSE(panelWindow().isEmpty());
    xdotool({u"key"_s, u"Escape"_s});
    ASSERT_TRUE(panelGone()) << "Escape did not close the panel";
    EXPECT_EQ(m_process->state(), QProcess::Running);
    ASSERT_TRUE(spinUntil([&] { return !report(u"lookup.json"_s).isEmpty(); }))
        << "the report waited for the closed lookup's sources";
    const QJsonObject tab = report(u"lookup.json"_s).value(u"tabs"_s).toArray().at(0).toObject();
    EXPECT_EQ(tab.value(u"phase"_s).toString(), u"empty"_s);
}

TEST_F(PanelEndToEndTest, ThePanelLeavesTheFocusClicksInsideKeepItAClickOutsideClosesIt)
{
    // Another application's window, focused, as when the user force-clicks in it; it sits
    // below and right of where the panel opens.
    QProcess other;
    other.setProcessEnvironment(m_session.environment(m_home.path()));
    other.start(u"xmessage"_s, {u"-name"_s, u"otherapp"_s, u"-geometry"_s, u"300x100+700+500"_s,
                                u"some text to look up"_s});
    ASSERT_TRUE(other.waitForStarted(5000)) << "xmessage (Debian package x11-utils) is missing";
    QString otherWindow;
    ASSERT_TRUE(spinUntil([&] {
        return !(otherWindow = m_session.window({u"--classname"_s, u"otherapp"_s})).isEmpty();
    }));
    xdotool({u"windowfocus"_s, u"--sync"_s, otherWindow});
    auto focused = [&] { return xdotool({u"getwindowfocus"_s}).trimmed(); };
    ASSERT_EQ(focused(), otherWindow);

    const QString window = scriptedPanel();
    ASSERT_FALSE(window.isEmpty());
    EXPECT_EQ(focused(), otherWindow) << "the panel took the keyboard focus";
    const QRect frame = m_session.geometry(window);
    // In the header, away from rows and tabs.
    click(frame.x() + 300, frame.y() + 20);
    QThread::msleep(1000); // a close would have happened by now
    EXPECT_FALSE(panelWindowNow().isEmpty()) << "a click inside closed the panel";

    // The Answer tab's body, under its title; the menu opens at the pointer, Copy first.
    const int x = frame.x() + 60, y = frame.y() + 100;
    click(x, y, 3);
    QThread::msleep(500);
    click(x + 30, y + 12);
    EXPECT_TRUE(spinUntil([&] {
        return m_session.tool(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s})
            .startsWith(u"A single distinct meaningful element"_s);
    })) << "Copy did not put the body on the clipboard";
    EXPECT_FALSE(panelWindowNow().isEmpty()) << "a press in the panel's own menu closed it";

    // The back button counts as much as the left one.
    click(frame.right() + 200, frame.bottom() + 100, 8);
    EXPECT_TRUE(panelGone()) << "a click outside did not close the panel";
    other.kill();
    other.waitForFinished(5000);
}

TEST_F(PanelEndToEndTest, ClickingARowWithACopyLinkCopiesTheCommandAndCloses)
{
    const QString window = scriptedPanel(u"copy"_s);
    ASSERT_FALSE(window.isEmpty());
    const QRect frame = m_session.geometry(window);
    // The first row's title, right under the header.
    click(frame.x() + 40, frame.y() + 75);
    EXPECT_TRUE(panelGone()) << "opening a row did not close the panel";
    EXPECT_EQ(m_session.tool(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s}),
              u"cd '/home/me/peekwell' && claude --resume 1f2e"_s);
}

} // namespace
