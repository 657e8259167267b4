// Text capture end to end: the real executable's "--probe" and "--probe-word" against real
// programs from Debian (Mousepad on GTK 3, Chromium on a local page) and a Qt window of ours,
// on a private X display with a window manager, a session bus and the accessibility bus.
// The desktop and its programs start once for the whole test program.
#include "a11ysession.h"
#include "xsession.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kQtWindow = QStringLiteral(PEEKWELL_QT_WINDOW);

// Six letters outside the Basic Multilingual Plane before the last line: GTK counts them as
// six characters, the capture as twelve UTF-16 units.
const QString kMousepadText =
    u"Alpha words lead.\nBravo \U0001D400\U0001D401\U0001D402\U0001D403"
    u"\U0001D404\U0001D405 follow.\nDelta serendipity arrives unbidden.\n"_s;
const QString kQtLabel = u"Labels hold quiet words."_s;
const QString kQtEditor = u"Quixotic plans rarely survive contact. The editor shows more."_s;
const QByteArray kPage = "<!doctype html><html><head><title>Capture page</title></head>"
                         "<body style=\"font-size: 20px\"><p>An ephemeral page lives briefly. "
                         "Browsers show paragraphs.</p></body></html>";

struct Program {
    QString name; // as --probe-word is given it: the desktop's name or the bus's
    QString word;
    QString sentence;
    QString app; // as the capture reports it: the desktop entry's name where there is one
};

const Program kMousepad{u"Mousepad"_s, u"serendipity"_s, u"Delta serendipity arrives unbidden."_s,
                        u"Mousepad"_s};
const Program kQt{u"Peekwell Qt window"_s, u"Quixotic"_s,
                  u"Quixotic plans rarely survive contact."_s, u"Peekwell Qt window"_s};
const Program kChromium{u"Chromium"_s, u"ephemeral"_s, u"An ephemeral page lives briefly."_s,
                        u"Chromium Web Browser"_s};

struct ProbeRun {
    int exitCode = -1;
    bool finished = false;
    QJsonObject report;
    QByteArray err;
    qint64 wallMs = 0;
};

// The desktop: the display, the buses, and the three programs laid out side by side.
class Desktop : public ::testing::Environment {
public:
    void SetUp() override
    {
        for (const char* program : {"Xvfb", "openbox", "xdotool", "mousepad", "chromium"}) {
            if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
                m_missing += QString::fromLatin1(program) + u' ';
        }
        if (!A11ySession::installed())
            m_missing += u"dbus-daemon/at-spi-bus-launcher"_s;
        if (!m_missing.isEmpty())
            return;
        QString error;
        if (!m_x.start(&error) || !m_bus.start(m_x, &error)) {
            m_failure = error;
            return;
        }
        writeFile(u"doc.txt"_s, kMousepadText.toUtf8());
        writeFile(u"page.html"_s, kPage);

        QProcessEnvironment env = environment();
        env.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
        env.insert(u"LANG"_s, u"C.UTF-8"_s);
        launch(u"mousepad"_s, {m_home.filePath(u"doc.txt"_s)}, env);
        env.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
        launch(kQtWindow, {kQtLabel, kQtEditor}, env);
        launch(u"chromium"_s,
               {u"--no-sandbox"_s, u"--force-renderer-accessibility"_s,
                u"--user-data-dir="_s + m_home.filePath(u"chromium"_s), u"--no-first-run"_s,
                u"--no-default-browser-check"_s, u"--password-store=basic"_s, u"--disable-gpu"_s,
                u"--window-position=660,0"_s, u"--window-size=600,560"_s,
                u"file://"_s + m_home.filePath(u"page.html"_s)},
               env);
        place(u"doc.txt - Mousepad"_s, 0, 0, 620, 380);
        place(u"Peekwell Qt window"_s, 0, 440, 600, 300);
        for (const Program& program : {kMousepad, kQt, kChromium}) {
            QDeadlineTimer deadline(45000);
            while (!deadline.hasExpired() &&
                   !peekwell({u"--probe-word"_s, program.name, program.word})
                        .report.contains(u"point"_s))
                QThread::msleep(250);
            if (deadline.hasExpired())
                m_failure += program.name + u" did not show its text on the accessibility bus. "_s;
        }
    }

    void TearDown() override
    {
        for (const auto& process : m_programs) {
            ::kill(pid_t(process->processId()), SIGCONT);
            process->kill();
            process->waitForFinished(5000);
        }
        m_programs.clear();
    }

    // Why the tests cannot run; empty when they can.
    QString skipReason() const
    {
        return m_missing.isEmpty()
                   ? QString()
                   : u"not installed: "_s + m_missing + u" (scripts/debian-packages.txt)"_s;
    }
    QString failure() const { return m_failure; }

    QProcessEnvironment environment() const { return m_bus.environment(m_home.path()); }

    ProbeRun peekwell(const QStringList& arguments, std::optional<QProcessEnvironment> env = {})
    {
        QProcess process;
        process.setProcessEnvironment(env ? *env : environment());
        QElapsedTimer clock;
        clock.start();
        process.start(kPeekwell, arguments);
        ProbeRun run;
        run.finished = process.waitForFinished(30000);
        run.wallMs = clock.elapsed();
        if (!run.finished)
            process.kill();
        process.waitForFinished(5000);
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        run.report = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
        run.err = process.readAllStandardError();
        return run;
    }

    qint64 mousepadPid() const { return m_programs.front()->processId(); }

private:
    void writeFile(const QString& name, const QByteArray& contents)
    {
        QFile file(m_home.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(contents);
    }

    void launch(const QString& program, const QStringList& arguments,
                const QProcessEnvironment& env)
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(env);
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        process->start(program, arguments);
        if (!process->waitForStarted(10000))
            m_failure += program + u" did not start. "_s;
        m_programs.push_back(std::move(process));
    }

    // Moves the window titled `title` (waiting for it) so that no program covers another.
    void place(const QString& title, int x, int y, int width, int height)
    {
        QString id;
        QDeadlineTimer deadline(20000);
        while (id.isEmpty() && !deadline.hasExpired()) {
            id = m_x.tool(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title})
                     .section(u'\n', 0, 0)
                     .trimmed();
            if (id.isEmpty())
                QThread::msleep(100);
        }
        if (id.isEmpty()) {
            m_failure += u"no window titled "_s + title + u". "_s;
            return;
        }
        m_x.tool(u"xdotool"_s,
                 {u"windowsize"_s, id, QString::number(width), QString::number(height),
                  u"windowmove"_s, id, QString::number(x), QString::number(y)});
    }

    QString m_missing;
    QString m_failure;
    QTemporaryDir m_home;
    XSession m_x;
    A11ySession m_bus;
    std::vector<std::unique_ptr<QProcess>> m_programs;
};

// Owned by GoogleTest, which sets it up before the first test and tears it down after the last.
// A report's value as text, for readable failures: "<absent>", "null", strings as they are.
std::string field(const QJsonObject& report, const char* key)
{
    const QJsonValue value = report.value(QLatin1String(key));
    if (value.isUndefined())
        return "<absent>";
    if (value.isNull())
        return "null";
    if (value.isBool())
        return value.toBool() ? "true" : "false";
    return value.isString() ? value.toString().toStdString() : std::to_string(value.toDouble());
}

Desktop* const g_desktop = static_cast<Desktop*>(::testing::AddGlobalTestEnvironment(new Desktop));

class CaptureEndToEndTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!g_desktop->skipReason().isEmpty())
            GTEST_SKIP() << g_desktop->skipReason().toStdString();
        ASSERT_TRUE(g_desktop->failure().isEmpty()) << g_desktop->failure().toStdString();
    }

    static QPointF pointOf(const QJsonObject& report)
    {
        const QJsonArray point = report.value(u"point"_s).toArray();
        return {point.at(0).toDouble(), point.at(1).toDouble()};
    }
    static QStringList probeArguments(const QPointF& point)
    {
        return {u"--probe"_s, QString::number(point.x()), QString::number(point.y())};
    }
};

TEST_F(CaptureEndToEndTest, EachProgramsWordIsFoundThenReadBackAtItsCentre)
{
    for (const Program& program : {kMousepad, kQt, kChromium}) {
        SCOPED_TRACE(program.name.toStdString());
        const ProbeRun found = g_desktop->peekwell({u"--probe-word"_s, program.name, program.word});
        ASSERT_EQ(found.exitCode, 0) << found.err.toStdString();
        EXPECT_EQ(field(found.report, "ok"), "true");
        EXPECT_EQ(field(found.report, "word"), program.word.toStdString());
        EXPECT_EQ(field(found.report, "sentence"), program.sentence.toStdString());
        EXPECT_EQ(field(found.report, "method"), "range");
        EXPECT_EQ(field(found.report, "app"), program.name.toStdString());

        const ProbeRun probed = g_desktop->peekwell(probeArguments(pointOf(found.report)));
        ASSERT_EQ(probed.exitCode, 0) << probed.err.toStdString();
        EXPECT_EQ(field(probed.report, "trusted"), "true");
        EXPECT_EQ(field(probed.report, "word"), program.word.toStdString());
        EXPECT_EQ(field(probed.report, "sentence"), program.sentence.toStdString());
        EXPECT_EQ(field(probed.report, "app"), program.app.toStdString());
        EXPECT_EQ(field(probed.report, "method"), "range");
        EXPECT_TRUE(probed.report.value(u"ms"_s).isDouble());
    }
    // The program also answers to the name it gives the accessibility bus.
    const ProbeRun byBusName = g_desktop->peekwell({u"--probe-word"_s, u"mousepad"_s, u"Delta"_s});
    EXPECT_EQ(field(byBusName.report, "ok"), "true");
}

// Finding a word and reading it back convert offsets both ways, so a conversion left out would
// cancel itself. Here the point comes from the screen instead: the first word of the third
// line lies below the first words of the lines above it, which no astral letter precedes.
TEST_F(CaptureEndToEndTest, PastAstralLettersTheWordIsTheOneOnScreen)
{
    const QPointF alpha =
        pointOf(g_desktop->peekwell({u"--probe-word"_s, kMousepad.name, u"Alpha"_s}).report);
    const QPointF bravo =
        pointOf(g_desktop->peekwell({u"--probe-word"_s, kMousepad.name, u"Bravo"_s}).report);
    ASSERT_GT(bravo.y(), alpha.y());
    const QPointF delta(alpha.x(), 2 * bravo.y() - alpha.y());
    const ProbeRun probed = g_desktop->peekwell(probeArguments(delta));
    EXPECT_EQ(field(probed.report, "word"), "Delta");
    EXPECT_EQ(field(probed.report, "sentence"), kMousepad.sentence.toStdString());
}

TEST_F(CaptureEndToEndTest, NothingToReadGivesOnlyTrustAndTime)
{
    // Below Chromium, right of the Qt window: the bare desktop.
    const ProbeRun empty = g_desktop->peekwell({u"--probe"_s, u"1250"_s, u"780"_s});
    ASSERT_EQ(empty.exitCode, 0) << empty.err.toStdString();
    EXPECT_EQ(empty.report.keys(), (QStringList{u"ms"_s, u"trusted"_s}));
    EXPECT_EQ(field(empty.report, "trusted"), "true");

    const ProbeRun missing = g_desktop->peekwell({u"--probe-word"_s, u"Notes"_s, u"Hello"_s});
    ASSERT_EQ(missing.exitCode, 0);
    EXPECT_EQ(missing.report,
              (QJsonObject{{u"app"_s, u"Notes"_s},
                           {u"expected"_s, u"Hello"_s},
                           {u"error"_s, u"couldn't find “Hello” in Notes's text"_s}}));
}

TEST_F(CaptureEndToEndTest, AHangingProgramKeepsTheCaptureShort)
{
    const QPointF point =
        pointOf(g_desktop->peekwell({u"--probe-word"_s, kMousepad.name, kMousepad.word}).report);
    ::kill(pid_t(g_desktop->mousepadPid()), SIGSTOP);
    const ProbeRun hung = g_desktop->peekwell(probeArguments(point));
    ::kill(pid_t(g_desktop->mousepadPid()), SIGCONT);
    ASSERT_TRUE(hung.finished);
    EXPECT_EQ(hung.exitCode, 0) << hung.err.toStdString();
    EXPECT_FALSE(hung.report.contains(u"word"_s));
    // Each request gives up after 0.25 s and the program is not asked again.
    EXPECT_LT(hung.report.value(u"ms"_s).toDouble(), 1000);

    QDeadlineTimer deadline(10000);
    ProbeRun again;
    do
        again = g_desktop->peekwell(probeArguments(point));
    while (!again.report.contains(u"word"_s) && !deadline.hasExpired());
    EXPECT_EQ(field(again.report, "word"), kMousepad.word.toStdString());
}

TEST_F(CaptureEndToEndTest, WithoutABusOrADisplayTheProbeSaysSo)
{
    QProcessEnvironment noBus = g_desktop->environment();
    noBus.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent/bus"_s);
    noBus.insert(u"AT_SPI_BUS_ADDRESS"_s, u"unix:path=/nonexistent/a11y"_s);
    const ProbeRun untrusted = g_desktop->peekwell({u"--probe"_s, u"100"_s, u"100"_s}, noBus);
    ASSERT_EQ(untrusted.exitCode, 0) << untrusted.err.toStdString();
    EXPECT_EQ(untrusted.report.keys(), (QStringList{u"ms"_s, u"trusted"_s}));
    EXPECT_EQ(field(untrusted.report, "trusted"), "false");

    QProcessEnvironment noDisplay = g_desktop->environment();
    noDisplay.remove(u"DISPLAY"_s);
    for (const QStringList& arguments :
         {QStringList{u"--probe"_s, u"1"_s, u"2"_s}, {u"--probe-word"_s, u"Mousepad"_s, u"x"_s}}) {
        const ProbeRun refused = g_desktop->peekwell(arguments, noDisplay);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_TRUE(refused.report.isEmpty());
        EXPECT_EQ(refused.err, "peekwell: " + arguments.first().toUtf8() +
                                   " needs a display (DISPLAY is not set)\n");
    }
}

} // namespace
