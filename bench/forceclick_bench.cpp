// The force click as a user meets it: the real desktop application on the end-to-end tests'
// desktop (tests/support/capturedesktop.h: Xvfb, openbox, the accessibility bus, Mousepad, a
// Qt window, Chromium), long-pressed with xdotool on a word of each program, N times. The
// application logs its moments (the peekwell.timing category, steady-clock milliseconds) and
// this prints, per step, the median and 90th percentile over the presses:
//
//   deep press → captured → lookup (the panel's controller called) → panel shown (mapped by
//   the program) → panel exposed (the X server and window manager have put it on screen) →
//   panel drawn (its first frame painted and handed to the server); with --home, also the
//   Chats tab final.
//
// Side by side in the same run: a plain Qt window of the panel's size (peekwell_plainwindow)
// shown by a running trivial program after each press, from its trigger to its first frame;
// with --home, `rg -l -i -F WORD` over the same transcripts after each press.
//
//   forceclick_bench [--presses N] [--home DIR]
//
// --home: the application runs with HOME=DIR, whose transcripts are already indexed in
// DIR/.local/share/peekwell/chats.sqlite (bench/corpusgen/corpusgen.py and `peekwell --index`
// make both; bench/README.md has the commands).
#include "tests/support/capturedesktop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QPointF>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>

using namespace Qt::Literals::StringLiterals;

namespace {

using Program = CaptureDesktop::Program;
using Marks = QMap<QString, double>; // moment → steady-clock ms

struct Target {
    const Program* program;
    QString word;
};

double steadyMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::milli>(now).count();
}

// Collects the timing lines a running process writes (its channels merged).
class MarkReader {
public:
    explicit MarkReader(QProcess& process) : m_process(process) {}

    void clear()
    {
        m_marks.clear();
        m_phases.clear();
    }
    const Marks& marks() const { return m_marks; }

    // Reads until every moment in `wanted` has been logged; false after `ms`. A final tab is
    // logged as "ID final, PHASE": wanting "ID final" waits for any phase.
    bool waitFor(const QStringList& wanted, int ms)
    {
        QDeadlineTimer deadline(ms);
        while (true) {
            read();
            if (std::all_of(wanted.begin(), wanted.end(),
                            [&](const QString& m) { return m_marks.contains(m); }))
                return true;
            if (deadline.hasExpired() || m_process.state() != QProcess::Running)
                return false;
            m_process.waitForReadyRead(50);
        }
    }

    // The phase a final tab was logged with ("done", "empty", "failed: …").
    QString phase(const QString& tab) const { return m_phases.value(tab); }

private:
    void read()
    {
        static const QRegularExpression line(u"timing: (.+) at ([0-9.]+) ms$"_s);
        m_pending += m_process.readAll();
        qsizetype end;
        while ((end = m_pending.indexOf('\n')) >= 0) {
            const QString text = QString::fromUtf8(m_pending.left(end));
            m_pending.remove(0, end + 1);
            const QRegularExpressionMatch match = line.match(text);
            if (!match.hasMatch())
                continue;
            QString moment = match.captured(1);
            if (const qsizetype comma = moment.indexOf(u" final, "_s); comma > 0) {
                m_phases.insert(moment.left(comma), moment.mid(comma + 8));
                moment.truncate(comma + 6);
            }
            m_marks.insert(moment, match.captured(2).toDouble());
        }
    }

    QProcess& m_process;
    QByteArray m_pending;
    Marks m_marks;
    QMap<QString, QString> m_phases;
};

struct Figures {
    QMap<QString, QList<double>> steps; // step → ms per press
    int failures = 0;
    QMap<QString, int> chatsPhases; // the Chats tab's final phase → presses
};

double percentile(QList<double> values, double p)
{
    if (values.isEmpty())
        return NAN;
    std::sort(values.begin(), values.end());
    if (p == 50 && values.size() % 2 == 0)
        return (values[values.size() / 2 - 1] + values[values.size() / 2]) / 2;
    const auto rank = static_cast<qsizetype>(std::ceil(p / 100 * double(values.size())));
    return values[std::clamp<qsizetype>(rank - 1, 0, values.size() - 1)];
}

bool waitUntil(const std::function<bool()>& condition, int ms)
{
    QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(20);
    }
    return true;
}

// What the bench does on the desktop with the X tools and the word probe.
class DesktopTools {
public:
    explicit DesktopTools(const CaptureDesktop& desktop) : m_desktop(desktop) {}

    QString xdotool(const QStringList& arguments)
    {
        QProcess tool;
        tool.setProcessEnvironment(m_desktop.environment());
        tool.start(u"xdotool"_s, arguments);
        tool.waitForFinished(10000);
        return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
    }

    // What `peekwell --probe X Y` reads, its report on one line.
    QString probe(const QString& x, const QString& y)
    {
        QProcess probe;
        probe.setProcessEnvironment(m_desktop.environment());
        probe.start(QStringLiteral(PEEKWELL_EXECUTABLE), {u"--probe"_s, x, y});
        probe.waitForFinished(30000);
        return QString::fromUtf8(
            QJsonDocument::fromJson(probe.readAllStandardOutput()).toJson(QJsonDocument::Compact));
    }

    // The word's centre on screen, as the word probe finds it.
    std::optional<QPointF> locate(const Target& target)
    {
        QDeadlineTimer deadline(45000);
        while (!deadline.hasExpired()) {
            QProcess probe;
            probe.setProcessEnvironment(m_desktop.environment());
            probe.start(QStringLiteral(PEEKWELL_EXECUTABLE),
                        {u"--probe-word"_s, target.program->name, target.word});
            probe.waitForFinished(30000);
            const QJsonObject report =
                QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
            if (report.value(u"ok"_s).toBool()) {
                const QJsonArray point = report.value(u"point"_s).toArray();
                return QPointF(point.at(0).toDouble(), point.at(1).toDouble());
            }
            QThread::msleep(250);
        }
        return std::nullopt;
    }

    bool panelShown()
    {
        return !xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Peekwell$"_s}).isEmpty();
    }

private:
    const CaptureDesktop& m_desktop;
};

void printRow(const QString& name, const QList<double>& values)
{
    std::printf("  %-34s %9.1f %9.1f %5lld\n", qPrintable(name), percentile(values, 50),
                percentile(values, 90), static_cast<long long>(values.size()));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    int presses = 15;
    QString transcripts;
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == u"--presses"_s)
            presses = arguments[i + 1].toInt();
        else if (arguments[i] == u"--home"_s)
            transcripts = QDir(arguments[i + 1]).absolutePath();
    }
    if (const QString missing = CaptureDesktop::missing(); !missing.isEmpty()) {
        std::fprintf(stderr, "forceclick_bench: not installed: %s\n", qPrintable(missing));
        return 1;
    }
    if (!transcripts.isEmpty() &&
        !QFile::exists(transcripts + u"/.local/share/peekwell/chats.sqlite"_s)) {
        std::fprintf(stderr, "forceclick_bench: %s holds no index (run peekwell --index there)\n",
                     qPrintable(transcripts));
        return 1;
    }

    CaptureDesktop desktop;
    QString error;
    if (!desktop.start(QStringLiteral(PEEKWELL_QT_WINDOW), true, &error)) {
        std::fprintf(stderr, "forceclick_bench: %s\n", qPrintable(error));
        return 1;
    }
    DesktopTools tools(desktop);
    // The application's home: the desktop's, or the one with the indexed transcripts.
    const QString home = transcripts.isEmpty() ? desktop.home() : transcripts;
    // A word of each program, and "The" (in nearly every transcript: the Chats tab's slowest
    // search) in the Qt window.
    const QList<Target> targets = {{&CaptureDesktop::mousepad, CaptureDesktop::mousepad.word},
                                   {&CaptureDesktop::qt, CaptureDesktop::qt.word},
                                   {&CaptureDesktop::qt, u"The"_s},
                                   {&CaptureDesktop::chromium, CaptureDesktop::chromium.word}};
    QList<QPointF> points;
    for (const Target& target : targets) {
        const std::optional<QPointF> point = tools.locate(target);
        if (!point) {
            std::fprintf(stderr, "forceclick_bench: %s shows no “%s”\n",
                         qPrintable(target.program->name), qPrintable(target.word));
            return 1;
        }
        points.append(*point);
    }

    // The application, with its timing marks on.
    QProcessEnvironment env = desktop.environment();
    env.insert(u"HOME"_s, home);
    env.insert(u"QT_LOGGING_RULES"_s, u"peekwell.timing.info=true"_s);
    env.insert(u"QT_FORCE_STDERR_LOGGING"_s, u"1"_s);
    QProcess app;
    app.setProcessEnvironment(env);
    app.setProcessChannelMode(QProcess::MergedChannels);
    const QString statusFile = home + u"/.local/state/peekwell/logs/status.json"_s;
    QFile::remove(statusFile);
    app.start(QStringLiteral(PEEKWELL_EXECUTABLE), {});
    if (!app.waitForStarted(5000)) {
        std::fprintf(stderr, "forceclick_bench: %s did not start\n", PEEKWELL_EXECUTABLE);
        return 1;
    }
    MarkReader appMarks(app);
    const bool listening = waitUntil(
        [&] {
            QFile file(statusFile);
            return file.open(QIODevice::ReadOnly) && QJsonDocument::fromJson(file.readAll())
                                                         .object()
                                                         .value(u"tapInstalled"_s)
                                                         .toBool();
        },
        20000);
    if (!listening) {
        std::fprintf(stderr, "forceclick_bench: the application never started listening\n%s",
                     app.readAll().constData());
        return 1;
    }
    // Without a tray the menu opens at start; it goes out of the way. The start-up index pass
    // (nothing changed: about 0.1 s) is over before the first press.
    waitUntil(
        [&] {
            return !tools
                        .xdotool(
                            {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Peekwell menu$"_s})
                        .isEmpty();
        },
        10000);
    tools.xdotool({u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^Peekwell menu$"_s,
                   u"windowminimize"_s, u"--sync"_s});
    QThread::msleep(3000);

    // The yardstick, running beside it.
    QProcess plain;
    plain.setProcessEnvironment(desktop.environment());
    plain.setProcessChannelMode(QProcess::MergedChannels);
    plain.start(QStringLiteral(PEEKWELL_PLAIN_WINDOW), {u"--wait"_s});
    MarkReader plainMarks(plain);
    if (!plain.waitForStarted(5000)) {
        std::fprintf(stderr, "forceclick_bench: %s did not start\n", PEEKWELL_PLAIN_WINDOW);
        return 1;
    }

    QStringList folders;
    for (const char* agent : {"/.claude/projects", "/.codex/sessions", "/.pi/agent/sessions",
                              "/.zenith/agent/sessions"})
        if (!transcripts.isEmpty() && QDir(transcripts + QLatin1String(agent)).exists())
            folders.append(transcripts + QLatin1String(agent));

    QList<Figures> figures(targets.size());
    Figures yardsticks;
    const QStringList panelSteps = {u"deep press"_s,  u"captured"_s,      u"lookup"_s,
                                    u"panel shown"_s, u"panel exposed"_s, u"panel drawn"_s};
    // Round 0 is the first force click after the start on each word (and the yardstick's first
    // window); it is reported apart, the other rounds give the figures.
    Figures firstRound;
    for (int press = 0; press <= presses; ++press) {
        for (qsizetype p = 0; p < targets.size(); ++p) {
            const QPointF point = points[p];
            const QString x = QString::number(qRound(point.x()));
            const QString y = QString::number(qRound(point.y()));
            Figures& f = press == 0 ? firstRound : figures[p];

            appMarks.clear();
            tools.xdotool({u"mousemove"_s, x, y, u"mousedown"_s, u"1"_s, u"sleep"_s, u"0.8"_s,
                           u"mouseup"_s, u"1"_s});
            QStringList wanted = panelSteps;
            if (!folders.isEmpty())
                wanted.append(u"chats final"_s);
            if (!appMarks.waitFor(wanted, 10000)) {
                ++f.failures;
                std::fprintf(stderr,
                             "forceclick_bench: a press on “%s” logged only: %s; a probe there "
                             "reads %s\n",
                             qPrintable(targets[p].word),
                             qPrintable(appMarks.marks().keys().join(u", "_s)),
                             qPrintable(tools.probe(x, y)));
            } else {
                const Marks& m = appMarks.marks();
                for (qsizetype s = 1; s < panelSteps.size(); ++s)
                    f.steps[panelSteps[s - 1] + u" → "_s + panelSteps[s]].append(
                        m[panelSteps[s]] - m[panelSteps[s - 1]]);
                f.steps[u"deep press → panel drawn"_s].append(m[u"panel drawn"_s] -
                                                              m[u"deep press"_s]);
                f.steps[u"captured → panel drawn"_s].append(m[u"panel drawn"_s] - m[u"captured"_s]);
                if (!folders.isEmpty()) {
                    f.steps[u"deep press → chats final"_s].append(m[u"chats final"_s] -
                                                                  m[u"deep press"_s]);
                    ++f.chatsPhases[appMarks.phase(u"chats"_s)];
                }
            }
            // A click closes the panel.
            tools.xdotool({u"click"_s, u"1"_s});
            waitUntil([&] { return !tools.panelShown(); }, 10000);

            // The plain window where the panel was, then ripgrep for the word.
            plainMarks.clear();
            plain.write(QStringLiteral("show %1 %2\n")
                            .arg(qRound(point.x()) - 36)
                            .arg(qRound(point.y()) + 16)
                            .toUtf8());
            const bool plainDrawn =
                plainMarks.waitFor({u"trigger"_s, u"shown"_s, u"exposed"_s, u"drawn"_s}, 10000);
            if (!plainDrawn) {
                ++yardsticks.failures;
            } else if (press > 0) {
                const Marks& m = plainMarks.marks();
                yardsticks.steps[u"trigger → shown"_s].append(m[u"shown"_s] - m[u"trigger"_s]);
                yardsticks.steps[u"shown → exposed"_s].append(m[u"exposed"_s] - m[u"shown"_s]);
                yardsticks.steps[u"exposed → drawn"_s].append(m[u"drawn"_s] - m[u"exposed"_s]);
                yardsticks.steps[u"trigger → drawn"_s].append(m[u"drawn"_s] - m[u"trigger"_s]);
            }
            plain.write("hide\n");
            if (press > 0 && !folders.isEmpty()) {
                QProcess rg;
                const double start = steadyMs();
                rg.setStandardOutputFile(QProcess::nullDevice());
                rg.start(u"rg"_s, QStringList{u"-l"_s, u"-i"_s, u"-F"_s, u"--"_s, targets[p].word} +
                                      folders);
                rg.waitForFinished(60000);
                yardsticks.steps[u"rg -l -i -F "_s + targets[p].word].append(steadyMs() - start);
            }
            QThread::msleep(300);
        }
    }
    app.kill();
    app.waitForFinished(5000);
    plain.closeWriteChannel();
    plain.waitForFinished(5000);

    double loads[3] = {};
    if (QFile loadavg(u"/proc/loadavg"_s); loadavg.open(QIODevice::ReadOnly))
        std::sscanf(loadavg.readAll().constData(), "%lf %lf %lf", &loads[0], &loads[1], &loads[2]);
    std::printf("%d long presses per word, load average %.2f (1 min) %.2f (5 min)\n", presses,
                loads[0], loads[1]);
    std::printf("  %-34s %9s %9s %5s\n", "step (ms)", "median", "p90", "n");
    const QStringList order = {u"deep press → captured"_s,       u"captured → lookup"_s,
                               u"lookup → panel shown"_s,        u"panel shown → panel exposed"_s,
                               u"panel exposed → panel drawn"_s, u"captured → panel drawn"_s,
                               u"deep press → panel drawn"_s,    u"deep press → chats final"_s};
    QList<double> allPanels, allAfterCapture, allChats;
    for (qsizetype p = 0; p < targets.size(); ++p) {
        std::printf("%s, “%s”%s\n", qPrintable(targets[p].program->name),
                    qPrintable(targets[p].word),
                    figures[p].failures
                        ? qPrintable(u" (%1 presses gave no panel)"_s.arg(figures[p].failures))
                        : "");

        for (const QString& step : order)
            if (figures[p].steps.contains(step))
                printRow(step, figures[p].steps[step]);
        for (auto phase = figures[p].chatsPhases.cbegin(); phase != figures[p].chatsPhases.cend();
             ++phase)
            std::printf("  the Chats tab final as “%s” %d times\n", qPrintable(phase.key()),
                        phase.value());
        allPanels += figures[p].steps[u"deep press → panel drawn"_s];
        allAfterCapture += figures[p].steps[u"captured → panel drawn"_s];
        allChats += figures[p].steps[u"deep press → chats final"_s];
    }
    std::printf("plain Qt window of a running trivial program%s\n",
                yardsticks.failures ? qPrintable(u" (%1 failed)"_s.arg(yardsticks.failures)) : "");
    for (const QString& step :
         {u"trigger → shown"_s, u"shown → exposed"_s, u"exposed → drawn"_s, u"trigger → drawn"_s})
        printRow(step, yardsticks.steps.value(step));
    for (auto step = yardsticks.steps.cbegin(); step != yardsticks.steps.cend(); ++step)
        if (step.key().startsWith(u"rg "_s))
            printRow(step.key(), step.value());

    const QList<double>& plainTotal = yardsticks.steps[u"trigger → drawn"_s];
    std::printf("\ndeep press → panel drawn, all words: median %.1f ms, p90 %.1f ms "
                "(goal: median under 50 ms)\n",
                percentile(allPanels, 50), percentile(allPanels, 90));
    std::printf("the first press on each word after the start (ms, in the order above):\n");
    for (const QString& step : order) {
        QStringList each;
        for (const double ms : firstRound.steps.value(step))
            each.append(QString::number(ms, 'f', 1));
        if (!each.isEmpty())
            std::printf("  %-34s %s\n", qPrintable(step), qPrintable(each.join(u", "_s)));
    }
    const double plainMedian = percentile(plainTotal, 50);
    std::printf("plain window trigger → drawn: median %.1f ms; captured → panel drawn takes "
                "%.1f× as long (median %.1f ms), deep press → panel drawn %.1f×\n",
                plainMedian, percentile(allAfterCapture, 50) / plainMedian,
                percentile(allAfterCapture, 50), percentile(allPanels, 50) / plainMedian);
    if (!allChats.isEmpty()) {
        QList<double> rgAll;
        for (auto step = yardsticks.steps.cbegin(); step != yardsticks.steps.cend(); ++step)
            if (step.key().startsWith(u"rg "_s))
                rgAll += step.value();
        std::printf("deep press → Chats tab final, all words: median %.1f ms, p90 %.1f ms "
                    "(goal: under 100 ms); rg median %.1f ms, %.1f× as long\n",
                    percentile(allChats, 50), percentile(allChats, 90), percentile(rgAll, 50),
                    percentile(rgAll, 50) / percentile(allChats, 50));
    }
    return 0;
}
