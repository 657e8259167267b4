// The session's input end to end on a private X server, driven with xdotool as a user's
// mouse would be: the XInput 2 stream in this process, and "peekwell --watch" recording the
// same presses.
#include "platform/x11/x11inputevents.h"
#include "tests/support/eventwait.h"
#include "tests/support/processrun.h"
#include "tests/support/temphome.h"
#include "tests/support/xsession.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <csignal>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kLongPress = u"mousemove 300 200 mousedown 1 sleep 0.7 mouseup 1"_s;

class InputEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!XSession::xvfbInstalled())
            GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb)";
        startSession();
    }

    void TearDown() override { InputEvents::setSession(nullptr); }

    void startSession()
    {
        m_session = std::make_unique<XSession>();
        QString error;
        ASSERT_TRUE(m_session->start(&error)) << error.toStdString();
        qputenv("DISPLAY", m_session->display().toLocal8Bit());
    }

    // Runs xdotool while this process's event loop goes on; true when it ended well.
    bool xdotool(const QString& script)
    {
        QProcess tool;
        tool.setProcessEnvironment(m_session->environment(QString()));
        tool.start(u"xdotool"_s, script.split(u' '));
        if (!tool.waitForStarted(5000))
            return false;
        spinUntil([&] { return tool.state() == QProcess::NotRunning; });
        return tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    }

    std::unique_ptr<XSession> m_session;
};

// The whole path from a long press to the panel runs in capture_test; here the stream's own
// faults: which buttons count as presses, what a click and a hold deliver, and a stream that
// outlives its X server.
TEST_F(InputEndToEndTest, ButtonsAreReportedAndAfterTheServerGoesAwayTheNextInstallListens)
{
    using Stages = std::vector<std::pair<int, int>>;
    constexpr int kDown = InputEvent::LeftMouseDown;
    constexpr int kUp = InputEvent::LeftMouseUp;
    constexpr int kPressure = InputEvent::Pressure;
    InputEvents::setSession(std::make_unique<X11InputEvents>());
    InputEvents* stream = InputEvents::session();
    ASSERT_TRUE(stream->install()) << stream->problem().toStdString();
    QSignalSpy buttons(stream, &InputEvents::buttonPressed);
    QSignalSpy disabled(stream, &InputEvents::disabled);
    Stages stages;
    QPointF deepAt;
    QObject::connect(stream, &InputEvents::delivered, [&](const InputEvent& event, bool) {
        stages.emplace_back(event.type, event.stage);
        if (event.stage == 2)
            deepAt = event.target.screen;
    });
    // A short click, a right click and a wheel turn; then longer than a hold for a late stage.
    ASSERT_TRUE(xdotool(u"mousemove 300 200 click 1 click 3 click 4"_s));
    QTest::qWait(1000);
    EXPECT_EQ(stages, (Stages{{kDown, 0}, {kPressure, 1}, {kPressure, 0}, {kUp, 0}}));
    QList<int> pressed;
    for (const QList<QVariant>& press : std::as_const(buttons))
        pressed.append(press.at(1).toInt());
    EXPECT_EQ(pressed, QList<int>({1, 3})) << "the wheel is no press";

    m_session.reset();
    ASSERT_TRUE(spinUntil([&] { return disabled.count() == 1; })) << "no disable notice";
    EXPECT_FALSE(stream->isInstalled());

    startSession();
    ASSERT_TRUE(stream->install()) << stream->problem().toStdString();
    stages.clear();
    ASSERT_TRUE(xdotool(kLongPress));
    ASSERT_TRUE(spinUntil([&] { return stages.size() >= 5; })) << "the long press gave nothing";
    EXPECT_EQ(stages,
              (Stages{{kDown, 0}, {kPressure, 1}, {kPressure, 2}, {kPressure, 0}, {kUp, 0}}));
    EXPECT_EQ(deepAt, QPointF(300, 200));
}

// "peekwell --watch" on the same server, while xdotool presses.
class WatchEndToEndTest : public InputEndToEndTest {
protected:
    void start(const QString& seconds)
    {
        m_watch.setProcessEnvironment(m_session->environment(m_home.path()));
        m_watch.start(QStringLiteral(PEEKWELL_EXECUTABLE), {u"--watch"_s, seconds});
        ASSERT_TRUE(m_watch.waitForStarted(5000));
        // Listening once the header is written.
        ASSERT_TRUE(spinUntil([&] { return !read(u"watch.txt"_s).isEmpty(); }))
            << m_watch.readAllStandardError().constData();
    }
    QByteArray read(const QString& name)
    {
        QFile file(m_home.path() + u"/.local/state/peekwell/logs/"_s + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    // watch.txt without its stamps.
    QList<QByteArray> lines()
    {
        QList<QByteArray> result;
        for (const QByteArray& line : read(u"watch.txt"_s).split('\n')) {
            if (!line.isEmpty())
                result.append(line.mid(8));
        }
        return result;
    }

    TempHome m_home;
    QProcess m_watch;
};

TEST_F(WatchEndToEndTest, RecordsALongPressAndAClickThenEnds)
{
    start(u"4"_s);
    ASSERT_TRUE(xdotool(kLongPress + u" sleep 0.3 click 1"_s));
    ASSERT_TRUE(m_watch.waitForFinished(15000));
    EXPECT_EQ(m_watch.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_watch.exitCode(), 0);
    const QString linesPath = m_home.path() + u"/.local/state/peekwell/logs/watch.txt"_s;
    EXPECT_EQ(m_watch.readAllStandardOutput(), (linesPath + u"\n"_s).toUtf8());

    const QList<QByteArray> press = {"tap cg=15 ns=1", "monitor ns=1",
                                     "monitor ns=34 stage=1 pressure=1.00"};
    const QList<QByteArray> release = {"tap cg=16 ns=2", "monitor ns=34 stage=0 pressure=0.00",
                                       "monitor ns=2"};
    const QList<QByteArray> expected = press +
                                       QList<QByteArray>{"monitor ns=34 stage=2 pressure=1.00"} +
                                       release + press + release;
    QList<QByteArray> recorded = lines();
    ASSERT_FALSE(recorded.isEmpty());
    EXPECT_TRUE(QRegularExpression(u"^tap installed: true, trusted: (true|false), recording 4 s$"_s)
                    .match(QString::fromUtf8(recorded.takeFirst()))
                    .hasMatch());
    EXPECT_EQ(recorded, expected);
    EXPECT_EQ(read(u"watch-counts.txt"_s), "monitor ns=1: 2\n"
                                           "monitor ns=2: 2\n"
                                           "monitor ns=34: 5\n"
                                           "tap cg=15 ns=1: 2\n"
                                           "tap cg=16 ns=2: 2\n");
}

TEST_F(WatchEndToEndTest, SigintEndsItEarlyWithBothFiles)
{
    start(u"60"_s);
    ASSERT_TRUE(xdotool(u"click 3"_s));
    ASSERT_TRUE(spinUntil([&] { return lines().size() == 3; }));
    ::kill(static_cast<pid_t>(m_watch.processId()), SIGINT);
    ASSERT_TRUE(m_watch.waitForFinished(5000)) << "SIGINT did not end the watch";
    EXPECT_EQ(m_watch.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_watch.exitCode(), 0);
    EXPECT_EQ(lines().value(1), "tap cg=15 ns=-");
    EXPECT_EQ(read(u"watch-counts.txt"_s), "tap cg=15 ns=-: 1\ntap cg=16 ns=-: 1\n");
}

TEST(WatchRefusalTest, UnusableSecondsAndNoDisplayEndAtOnceWithOneLine)
{
    TempHome home;
    const struct {
        QStringList arguments;
        QString display;
        int status;
        QByteArray says;
    } cases[] = {
        {{u"--watch"_s, u"inf"_s}, u":0"_s, 2, "needs a number of seconds"},
        {{u"--watch"_s, u"-1"_s}, u":0"_s, 2, "needs a number of seconds"},
        {{u"--watch"_s, u"1e12"_s}, u":0"_s, 2, "needs a number of seconds"},
        {{u"--watch"_s, u"2"_s}, u":4243"_s, 1, "cannot open display :4243"},
    };
    for (const auto& c : cases) {
        QProcessEnvironment env;
        env.insert(u"HOME"_s, home.path());
        env.insert(u"DISPLAY"_s, c.display);
        env.insert(u"XDG_SESSION_TYPE"_s, u"x11"_s);
        env.insert(u"WAYLAND_DISPLAY"_s, QString());
        const ProcessResult run = runPeekwell(c.arguments, env, 10'000);
        EXPECT_EQ(run.exitCode, c.status) << c.arguments.join(u' ').toStdString();
        EXPECT_TRUE(run.err.contains(c.says)) << run.err.constData();
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.constData();
    }
}

} // namespace
