// Text capture end to end: the real executable's "--probe" and "--probe-word" against real
// programs from Debian (Mousepad on GTK 3, Chromium on a local page) and a Qt window of ours,
// on a private X display with a window manager, a session bus and the accessibility bus.
// The desktop and its programs start once for the whole test program; cases that need a
// program of their own (one to kill, one with ten megabytes of text) start it themselves.
#include "tests/support/capturedesktop.h"
#include "tests/support/eventwait.h"
#include "tests/support/processrun.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QProcess>
#include <QRectF>
#include <QSettings>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

using Program = CaptureDesktop::Program;
const Program& kMousepad = CaptureDesktop::mousepad;
const Program& kQt = CaptureDesktop::qt;
const Program& kChromium = CaptureDesktop::chromium;

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kQtWindow = QStringLiteral(PEEKWELL_QT_WINDOW);

struct EndProcess {
    void operator()(QProcess* process) const
    {
        process->kill();
        process->waitForFinished(5000);
        delete process;
    }
};
using OwnedProcess = std::unique_ptr<QProcess, EndProcess>;

// A report's value as text, for readable failures: strings as they are, "true" or "false",
// empty when absent.
std::string field(const QJsonObject& report, const char* key)
{
    return report.value(QLatin1String(key)).toVariant().toString().toStdString();
}

QStringList probeArguments(const QPointF& point)
{
    return {u"--probe"_s, QString::number(point.x()), QString::number(point.y())};
}

QPointF pointOf(const QJsonObject& report)
{
    const QJsonArray point = report.value(u"point"_s).toArray();
    return {point.at(0).toDouble(), point.at(1).toDouble()};
}

// The desktop with its three programs, up and showing their text before the first test.
class Desktop : public ::testing::Environment {
public:
    void SetUp() override
    {
        if (const QString missing = CaptureDesktop::missing(); !missing.isEmpty()) {
            skipReason = u"not installed: "_s + missing;
            return;
        }
        m_desktop = std::make_unique<CaptureDesktop>();
        if (!m_desktop->start(kQtWindow, true, &failure))
            return;
        for (const Program& program : {kMousepad, kQt, kChromium}) {
            if (!spinUntil([&] { return wordAt(program.name, program.word).contains(u"point"_s); },
                           45000))
                failure += program.name + u" shows no text on the accessibility bus. "_s;
        }
    }

    void TearDown() override { m_desktop.reset(); }

    QString skipReason; // why the tests cannot run; empty when they can
    QString failure;    // what went wrong while the desktop started
    const CaptureDesktop& desktop() const { return *m_desktop; }

    // Runs peekwell to the end.
    ProcessResult peekwell(const QStringList& arguments,
                           std::optional<QProcessEnvironment> env = {})
    {
        return runProcess(kPeekwell, arguments, env.value_or(m_desktop->environment()), 30000);
    }
    // "--probe-word": where the program shows the word, and what is read there.
    QJsonObject wordAt(const QString& program, const QString& word)
    {
        return peekwell({u"--probe-word"_s, program, word}).json();
    }
    ProcessResult probe(const QPointF& point) { return peekwell(probeArguments(point)); }
    // Probes under GNU time, for the most memory the probe held at once (resident), in KiB.
    ProcessResult measured(const QPointF& point, long* peakKib)
    {
        const QString peak = m_desktop->home() + u"/peak.txt"_s;
        ProcessResult run = runProcess(u"time"_s,
                                       QStringList{u"-f"_s, u"%M"_s, u"-o"_s, peak, kPeekwell} +
                                           probeArguments(point),
                                       m_desktop->environment(), 30000);
        QFile file(peak);
        *peakKib = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLong() : 0;
        return run;
    }

    // A program of a test's own on the desktop, with the environment of the desktop's
    // programs; killed when it goes.
    OwnedProcess start(const QString& program, const QStringList& arguments)
    {
        OwnedProcess process(new QProcess);
        process->setProcessEnvironment(m_desktop->programEnvironment());
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        process->start(program, arguments);
        return process;
    }
    // A file of the desktop's home with this text; its path.
    QString write(const QString& name, const QByteArray& text) const
    {
        QFile file(m_desktop->home() + u'/' + name);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        return file.fileName();
    }

private:
    std::unique_ptr<CaptureDesktop> m_desktop;
};

// Owned by GoogleTest, which sets it up before the first test and tears it down after the last.
Desktop* const g_desktop = static_cast<Desktop*>(::testing::AddGlobalTestEnvironment(new Desktop));

class CaptureEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!g_desktop->skipReason.isEmpty())
            GTEST_SKIP() << g_desktop->skipReason.toStdString();
        ASSERT_TRUE(g_desktop->failure.isEmpty()) << g_desktop->failure.toStdString();
    }
};

TEST_F(CaptureEndToEndTest, EachProgramsWordIsFoundThenReadBackAtItsCentre)
{
    for (const Program& program : {kMousepad, kQt, kChromium}) {
        SCOPED_TRACE(program.name.toStdString());
        const QJsonObject found = g_desktop->wordAt(program.name, program.word);
        // What it read there is the probe's, checked below.
        EXPECT_EQ(field(found, "ok"), "true") << field(found, "word");
        EXPECT_EQ(field(found, "app"), program.name.toStdString());

        const ProcessResult probed = g_desktop->probe(pointOf(found));
        ASSERT_EQ(probed.exitCode, 0) << probed.err.toStdString();
        EXPECT_EQ(field(probed.json(), "trusted"), "true");
        EXPECT_EQ(field(probed.json(), "word"), program.word.toStdString());
        EXPECT_EQ(field(probed.json(), "sentence"), program.sentence.toStdString());
        EXPECT_EQ(field(probed.json(), "app"), program.app.toStdString());
        EXPECT_EQ(field(probed.json(), "method"), "range");
        EXPECT_TRUE(probed.json().value(u"ms"_s).isDouble());
    }

    // Finding a word and reading it back convert offsets both ways, so a conversion left out
    // would cancel itself. Here the point comes from the screen instead: the first word of
    // Mousepad's third line lies below the first words of the lines above it, which no astral
    // letter precedes.
    const QPointF alpha = pointOf(g_desktop->wordAt(kMousepad.name, u"Alpha"_s));
    const QPointF bravo = pointOf(g_desktop->wordAt(kMousepad.name, u"Bravo"_s));
    ASSERT_GT(bravo.y(), alpha.y());
    const ProcessResult delta = g_desktop->probe({alpha.x(), 2 * bravo.y() - alpha.y()});
    EXPECT_EQ(field(delta.json(), "word"), "Delta");
    EXPECT_EQ(field(delta.json(), "sentence"), kMousepad.sentence.toStdString());
}

// Over the bare desktop, without an accessibility bus, without a display, and for a word a
// program does not show.
TEST_F(CaptureEndToEndTest, WhereNothingCanBeReadTheProbeSaysSo)
{
    // Below Chromium, right of the Qt window: the bare desktop.
    const ProcessResult empty = g_desktop->probe({1250, 780});
    ASSERT_EQ(empty.exitCode, 0) << empty.err.toStdString();
    EXPECT_EQ(empty.json().keys(), (QStringList{u"ms"_s, u"trusted"_s}));
    EXPECT_EQ(field(empty.json(), "trusted"), "true");

    EXPECT_EQ(g_desktop->wordAt(u"Notes"_s, u"Hello"_s),
              (QJsonObject{{u"app"_s, u"Notes"_s},
                           {u"expected"_s, u"Hello"_s},
                           {u"error"_s, u"couldn't find “Hello” in Notes's text"_s}}));

    QProcessEnvironment noBus = g_desktop->desktop().environment();
    noBus.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
    noBus.insert(u"AT_SPI_BUS_ADDRESS"_s, u"unix:path=/nonexistent/a11y"_s);
    const ProcessResult untrusted = g_desktop->peekwell({u"--probe"_s, u"100"_s, u"100"_s}, noBus);
    ASSERT_EQ(untrusted.exitCode, 0) << untrusted.err.toStdString();
    EXPECT_EQ(untrusted.json().keys(), (QStringList{u"ms"_s, u"trusted"_s}));
    EXPECT_EQ(field(untrusted.json(), "trusted"), "false");

    QProcessEnvironment noDisplay = g_desktop->desktop().environment();
    noDisplay.remove(u"DISPLAY"_s);
    for (const QStringList& arguments :
         {QStringList{u"--probe"_s, u"1"_s, u"2"_s}, {u"--probe-word"_s, u"Mousepad"_s, u"x"_s}}) {
        const ProcessResult refused = g_desktop->peekwell(arguments, noDisplay);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_TRUE(refused.json().isEmpty());
        EXPECT_EQ(refused.err, "peekwell: " + arguments.first().toUtf8() +
                                   " needs a display (DISPLAY is not set)\n");
    }
}

TEST_F(CaptureEndToEndTest, AHangingProgramKeepsTheCaptureShort)
{
    const QPointF point = pointOf(g_desktop->wordAt(kMousepad.name, kMousepad.word));
    const auto mousepad = pid_t(g_desktop->desktop().pid(kMousepad));
    ::kill(mousepad, SIGSTOP);
    const ProcessResult hung = g_desktop->probe(point);
    ::kill(mousepad, SIGCONT);
    ASSERT_TRUE(!hung.timedOut);
    EXPECT_EQ(hung.exitCode, 0) << hung.err.toStdString();
    EXPECT_FALSE(hung.json().contains(u"word"_s));
    // Each request gives up after 0.25 s and the program is not asked again.
    EXPECT_LT(hung.json().value(u"ms"_s).toDouble(), 1000);

    // Woken, it answers again.
    EXPECT_TRUE(spinUntil([&] {
        return field(g_desktop->probe(point).json(), "word") == kMousepad.word.toStdString();
    }));
}

// A program that leaves the bus while the probe waits for its answer. libatspi (2.46) handles
// the departure as the answer comes in, clearing what it knew of the program, and its own
// reads of the toolkit crash when they look at that again: the probe must end as over the
// bare desktop. (A hanging program, above, is a time-out instead: nothing leaves.)
TEST_F(CaptureEndToEndTest, AProgramLeavingMidRequestEndsTheCaptureEmpty)
{
    const OwnedProcess program = g_desktop->start(
        kQtWindow, {u"--file"_s, g_desktop->write(u"leaving.txt"_s,
                                                  "Leaving programs take their words along.")});
    QJsonObject found;
    ASSERT_TRUE(spinUntil(
        [&] {
            return (found = g_desktop->wordAt(u"leaving.txt"_s, u"Leaving"_s)).contains(u"point"_s);
        },
        45000))
        << "the window never showed its text";

    // The first thing a capture asks a program is its toolkit (org.a11y.atspi.Application).
    const QProcessEnvironment env = g_desktop->desktop().environment();
    const ProcessResult address =
        runProcess(u"dbus-send"_s,
                   {u"--session"_s, u"--print-reply"_s, u"--dest=org.a11y.Bus"_s,
                    u"/org/a11y/bus"_s, u"org.a11y.Bus.GetAddress"_s},
                   env, 5000);
    QProcess monitor;
    monitor.start(u"dbus-monitor"_s,
                  {u"--address"_s, QString::fromUtf8(address.out).section(u'"', 1, 1),
                   u"type='method_call',member='Get',arg0='org.a11y.atspi.Application'"_s});
    QByteArray seen;
    auto waitToSee = [&](const char* what) {
        for (QDeadlineTimer deadline(10000); !seen.contains(what) && !deadline.hasExpired();)
            if (monitor.waitForReadyRead(100))
                seen += monitor.readAll();
        return seen.contains(what);
    };
    ASSERT_TRUE(waitToSee("NameLost")) << "dbus-monitor did not start: " << seen.toStdString();

    ::kill(pid_t(program->processId()), SIGSTOP);
    QProcess probe;
    probe.setProcessEnvironment(env);
    probe.start(kPeekwell, probeArguments(pointOf(found)));
    ASSERT_TRUE(waitToSee("method call")) << "the probe never asked the program";
    ::kill(pid_t(program->processId()), SIGKILL);

    ASSERT_TRUE(probe.waitForFinished(30000));
    ASSERT_EQ(probe.exitStatus(), QProcess::NormalExit) << "signal " << probe.exitCode();
    EXPECT_EQ(probe.exitCode(), 0) << probe.readAllStandardError().toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(probe.readAllStandardOutput()).object().keys(),
              (QStringList{u"ms"_s, u"trusted"_s}));
}

// Ten megabytes in one text element, shown at its end, in the Qt window (which counts UTF-16
// units) and in Mousepad (which counts code points, here with letters outside the Basic
// Multilingual Plane throughout). The capture reads the word under the pointer and its
// sentence from a few hundred characters around it; reading the text up to the pointer (to
// convert offsets) or all of it would hold it in memory at least once, 10 MB as UTF-8.
TEST_F(CaptureEndToEndTest, InTenMegabytesOfTextOnlyTheStretchUnderThePointerIsRead)
{
    const QByteArray last = "Zebras graze past \U0001D419 the last line.";
    const QByteArray filler = "Filler \U0001D400\U0001D401 words pad the long document.\n";
    QByteArray text = filler.repeated(10'000'000 / filler.size());
    text += (last + '\n').repeated(200);
    const QString file = g_desktop->write(u"big.txt"_s, text);

    long smallKib = 0;
    const ProcessResult small =
        g_desktop->measured(pointOf(g_desktop->wordAt(kMousepad.name, kMousepad.word)), &smallKib);
    ASSERT_EQ(field(small.json(), "word"), kMousepad.word.toStdString());
    ASSERT_GT(smallKib, 0) << "GNU time (Debian package time) did not measure the probe";

    const std::pair<QString, QStringList> programs[] = {
        {kQtWindow, {u"--file"_s, file}},
        {u"mousepad"_s, {u"--disable-server"_s, u"--line=-1"_s, file}},
    };
    for (const auto& [name, arguments] : programs) {
        SCOPED_TRACE(name.toStdString());
        const OwnedProcess program = g_desktop->start(name, arguments);
        const XSession& x = g_desktop->desktop().x();
        QString id;
        ASSERT_TRUE(spinUntil(
            [&] {
                id = x.window({u"--pid"_s, QString::number(program->processId())});
                return !id.isEmpty();
            },
            60000))
            << "no window";
        // Any line in view is the last sentence; its first word starts at the left.
        const QRectF window = x.geometry(id);
        const QPointF point(window.left() + 12, window.center().y());
        ProcessResult probed;
        long probedKib = 0;
        spinUntil(
            [&] {
                probed = g_desktop->measured(point, &probedKib);
                return field(probed.json(), "sentence") == last.toStdString();
            },
            60000);
        ASSERT_EQ(probed.exitCode, 0) << probed.err.toStdString();
        EXPECT_EQ(field(probed.json(), "word"), "Zebras");
        EXPECT_EQ(field(probed.json(), "sentence"), last.toStdString());
        EXPECT_EQ(field(probed.json(), "method"), "range");
        EXPECT_LT(probedKib - smallKib, text.size() / 2 / 1024);
    }
}

// The whole path: the desktop application hears a long press through XInput 2, reads the
// word under it from each program and opens the panel; a short click opens nothing, and
// switching "enabled" off in the settings takes effect at the next press without a restart.
TEST_F(CaptureEndToEndTest, AForceClickOnAWordOpensThePanelWithIt)
{
    const QProcessEnvironment env = g_desktop->desktop().environment();
    const QString home = env.value(u"HOME"_s);
    const XSession& x = g_desktop->desktop().x();
    QFile::remove(home + u"/.local/state/peekwell/logs/status.json"_s);
    auto status = [&] { return logReport(home, u"status.json"_s); };
    auto xdotool = [&](const QStringList& arguments) { return x.tool(u"xdotool"_s, arguments); };
    auto panelShown = [&] { return !x.window({u"--name"_s, u"^Peekwell$"_s}).isEmpty(); };
    auto longPress = [&](const QPointF& point) {
        xdotool({u"mousemove"_s, QString::number(qRound(point.x())),
                 QString::number(qRound(point.y())), u"mousedown"_s, u"1"_s, u"sleep"_s, u"0.8"_s,
                 u"mouseup"_s, u"1"_s});
    };

    QProcess app;
    app.setProcessEnvironment(env);
    app.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    app.start(kPeekwell, {});
    ASSERT_TRUE(app.waitForStarted(5000));
    ASSERT_TRUE(spinUntil([&] { return status().value(u"tapInstalled"_s).toBool(); }, 20000))
        << "the application never started listening";
    EXPECT_EQ(status().value(u"lastCapture"_s).toString(), QString());

    // Without a tray the menu opens at start; it goes where it covers none of the programs.
    ASSERT_TRUE(spinUntil([&] {
        return !x.window({u"--name"_s, u"^Peekwell menu$"_s}).isEmpty();
    }));
    xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Peekwell menu$"_s,
             u"windowminimize"_s, u"--sync"_s});

    int presses = 0;
    QPointF point;
    for (const Program& program : {kMousepad, kQt, kChromium}) {
        SCOPED_TRACE(program.name.toStdString());
        point = pointOf(g_desktop->wordAt(program.name, program.word));
        longPress(point);
        ++presses;
        EXPECT_TRUE(spinUntil([&] { return status().value(u"forceClicks"_s).toInt() == presses; }));
        EXPECT_EQ(status().value(u"lastCapture"_s).toString(),
                  program.word + u" via range in "_s + program.app);
        EXPECT_TRUE(spinUntil(panelShown)) << "no panel after the force click";

        // A click (which also closes the panel) is no force click: counted, it would throw
        // out the count at the next press.
        xdotool({u"click"_s, u"1"_s});
        EXPECT_TRUE(spinUntil([&] { return !panelShown(); }));
    }

    // Off in the settings: the press still counts, nothing is read, nothing opens.
    QSettings(home + u"/.config/peekwell/peekwell.conf"_s, QSettings::IniFormat)
        .setValue(u"enabled"_s, false);
    const QString last = status().value(u"lastCapture"_s).toString();
    longPress(point);
    EXPECT_TRUE(spinUntil([&] { return status().value(u"forceClicks"_s).toInt() == presses + 1; }));
    EXPECT_EQ(status().value(u"lastCapture"_s).toString(), last);
    EXPECT_FALSE(panelShown());

    app.kill();
    app.waitForFinished(5000);
}

} // namespace
