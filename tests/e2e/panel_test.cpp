// The panel end to end: the real executable (and the same program with scripted sources)
// on a private X server with a window manager, driven and observed with xdotool, xwininfo,
// xprop and xclip as a user's desktop would be.
#include "temphome.h"
#include "xsession.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QThread>
#include <gtest/gtest.h>
#include <memory>

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kScripted = QStringLiteral(PEEKWELL_SCRIPTED_EXECUTABLE);

template <typename F> bool waitFor(F condition, int ms = 10000)
{
    QDeadlineTimer deadline(ms);
    while (!condition() && !deadline.hasExpired())
        QThread::msleep(50);
    return condition();
}

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
            env.insert(QStringLiteral("PEEKWELL_SCRIPT"), script);
        m_process->setProcessEnvironment(env);
        m_process->start(program, arguments);
        ASSERT_TRUE(m_process->waitForStarted(5000)) << program.toStdString();
    }

    // The panel's window id, once it is mapped (empty when it does not appear).
    QString panelWindow(int ms = 15000)
    {
        QString id;
        waitFor(
            [&] {
                id = m_session
                         .tool(QStringLiteral("xdotool"),
                               {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                QStringLiteral("--name"), QStringLiteral("^Peekwell$")})
                         .trimmed();
                return !id.isEmpty();
            },
            ms);
        return id.section(QLatin1Char('\n'), 0, 0);
    }

    bool panelGone()
    {
        return waitFor([&] { return panelWindowNow().isEmpty(); });
    }

    QString panelWindowNow()
    {
        return m_session
            .tool(QStringLiteral("xdotool"),
                  {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                   QStringLiteral("--name"), QStringLiteral("^Peekwell$")})
            .trimmed();
    }

    // Position and size on screen, as the X server has it.
    QRect geometry(const QString& window)
    {
        const QString info =
            m_session.tool(QStringLiteral("xwininfo"), {QStringLiteral("-id"), window});
        auto field = [&](const QString& name) {
            const QRegularExpression re(name + QStringLiteral(":\\s+(-?\\d+)"));
            return re.match(info).captured(1).toInt();
        };
        return {field(QStringLiteral("Absolute upper-left X")),
                field(QStringLiteral("Absolute upper-left Y")), field(QStringLiteral("Width")),
                field(QStringLiteral("Height"))};
    }

    void click(int x, int y)
    {
        m_session.tool(QStringLiteral("xdotool"),
                       {QStringLiteral("mousemove"), QString::number(x), QString::number(y),
                        QStringLiteral("click"), QStringLiteral("1")});
    }

    QJsonObject report(const QString& name)
    {
        QFile file(m_home.path() + QStringLiteral("/.local/state/peekwell/logs/") + name);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    TempHome m_home;
    XSession m_session;
    std::unique_ptr<QProcess> m_process;
};

TEST_F(PanelEndToEndTest, LookupMapsThePanelWhereItsReportSaysAndExitsAfterTheHold)
{
    launch(kPeekwell, {QStringLiteral("--lookup"), QStringLiteral("word"), QStringLiteral("--at"),
                       QStringLiteral("100"), QStringLiteral("200"), QStringLiteral("--hold"),
                       QStringLiteral("3")});
    const QString window = panelWindow();
    ASSERT_FALSE(window.isEmpty()) << "no panel window appeared";
    const QRect onScreen = geometry(window);
    EXPECT_EQ(onScreen, QRect(64, 216, 470, 340));

    // The window manager is told: no focus for the panel, every desktop, above the rest.
    const QString hints = m_session.tool(QStringLiteral("xprop"), {QStringLiteral("-id"), window});
    EXPECT_TRUE(hints.contains(QStringLiteral("Client accepts input or input focus: False")))
        << hints.toStdString();
    EXPECT_TRUE(hints.contains(QStringLiteral("_NET_WM_DESKTOP(CARDINAL) = 4294967295")))
        << hints.toStdString();
    EXPECT_TRUE(hints.contains(QStringLiteral("_NET_WM_STATE_ABOVE")));

    ASSERT_TRUE(m_process->waitForFinished(20000)) << "the hold did not end the process";
    EXPECT_EQ(m_process->exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_process->exitCode(), 0);
    const QJsonObject printed =
        QJsonDocument::fromJson(m_process->readAllStandardOutput()).object();
    const QString frame = QStringLiteral("{{%1, %2}, {%3, %4}}")
                              .arg(onScreen.x())
                              .arg(onScreen.y())
                              .arg(onScreen.width())
                              .arg(onScreen.height());
    EXPECT_EQ(printed.value(QStringLiteral("panelFrame")).toString(), frame);
    EXPECT_EQ(report(QStringLiteral("lookup.json")).value(QStringLiteral("panelFrame")).toString(),
              frame);
    EXPECT_EQ(printed.value(QStringLiteral("term")).toString(), QStringLiteral("word"));
}

TEST_F(PanelEndToEndTest, PanelLeavesTheFocusWithTheApplicationUnderIt)
{
    // Another application's window, focused, as when the user force-clicks in it.
    QProcess other;
    other.setProcessEnvironment(m_session.environment(m_home.path()));
    other.start(QStringLiteral("xmessage"),
                {QStringLiteral("-name"), QStringLiteral("otherapp"), QStringLiteral("-geometry"),
                 QStringLiteral("300x100+700+500"), QStringLiteral("some text to look up")});
    ASSERT_TRUE(other.waitForStarted(5000)) << "xmessage (Debian package x11-utils) is missing";
    QString otherWindow;
    ASSERT_TRUE(waitFor([&] {
        otherWindow = m_session
                          .tool(QStringLiteral("xdotool"),
                                {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                 QStringLiteral("--classname"), QStringLiteral("otherapp")})
                          .trimmed()
                          .section(QLatin1Char('\n'), 0, 0);
        return !otherWindow.isEmpty();
    }));
    m_session.tool(QStringLiteral("xdotool"),
                   {QStringLiteral("windowfocus"), QStringLiteral("--sync"), otherWindow});
    auto focused = [&] {
        return m_session.tool(QStringLiteral("xdotool"), {QStringLiteral("getwindowfocus")})
            .trimmed();
    };
    ASSERT_EQ(focused(), otherWindow);

    launch(kScripted, {QStringLiteral("--lookup"), QStringLiteral("word"), QStringLiteral("--at"),
                       QStringLiteral("300"), QStringLiteral("200")});
    ASSERT_FALSE(panelWindow().isEmpty());
    ASSERT_TRUE(waitFor([&] { return !report(QStringLiteral("lookup.json")).isEmpty(); }));
    EXPECT_EQ(focused(), otherWindow) << "the panel took the keyboard focus";
    other.kill();
    other.waitForFinished(5000);
}

TEST_F(PanelEndToEndTest, EscapeClosesThePanelAndTheProcessStays)
{
    launch(kScripted, {QStringLiteral("--lookup"), QStringLiteral("word"), QStringLiteral("--at"),
                       QStringLiteral("300"), QStringLiteral("200")});
    ASSERT_FALSE(panelWindow().isEmpty());
    ASSERT_TRUE(waitFor([&] { return !report(QStringLiteral("lookup.json")).isEmpty(); }));
    m_session.tool(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Escape")});
    EXPECT_TRUE(panelGone()) << "Escape did not close the panel";
    EXPECT_EQ(m_process->state(), QProcess::Running);
}

TEST_F(PanelEndToEndTest, ClickInsideKeepsThePanelClickOutsideClosesIt)
{
    launch(kScripted, {QStringLiteral("--lookup"), QStringLiteral("word"), QStringLiteral("--at"),
                       QStringLiteral("300"), QStringLiteral("200")});
    const QString window = panelWindow();
    ASSERT_FALSE(window.isEmpty());
    const QRect frame = geometry(window);
    // In the header, away from rows and tabs.
    click(frame.x() + 300, frame.y() + 20);
    QThread::msleep(1000); // a close would have happened by now
    EXPECT_FALSE(panelWindowNow().isEmpty()) << "a click inside closed the panel";

    click(frame.right() + 200, frame.bottom() + 100);
    EXPECT_TRUE(panelGone()) << "a click outside did not close the panel";
}

TEST_F(PanelEndToEndTest, ClickingARowWithACopyLinkCopiesTheCommandAndCloses)
{
    launch(kScripted,
           {QStringLiteral("--lookup"), QStringLiteral("word"), QStringLiteral("--at"),
            QStringLiteral("300"), QStringLiteral("200")},
           QStringLiteral("copy"));
    const QString window = panelWindow();
    ASSERT_FALSE(window.isEmpty());
    ASSERT_TRUE(waitFor([&] { return !report(QStringLiteral("lookup.json")).isEmpty(); }));
    const QRect frame = geometry(window);
    // The first row's title, right under the header.
    click(frame.x() + 40, frame.y() + 75);
    EXPECT_TRUE(panelGone()) << "opening a row did not close the panel";
    const QString copied =
        m_session.tool(QStringLiteral("xclip"), {QStringLiteral("-o"), QStringLiteral("-selection"),
                                                 QStringLiteral("clipboard")});
    EXPECT_EQ(copied, QStringLiteral("cd '/home/me/peekwell' && claude --resume 1f2e"));
}

} // namespace
