// GNOME on Wayland, in a headless GNOME Shell with Mousepad under the pointer. `extension`: how
// often the extension wakes (its own sample count, from its Stats method) while input is quiet,
// while the pointer moves and while the left button is held still, and how long a press takes
// from Mutter's input to Peekwell's InputEvents stream (extension + D-Bus hop), after a quiet
// spell and during motion. `panel`: force click to panel on screen with the peekwell executable,
// as the Shell sees it. Prints Markdown tables; without an argument, both.
#include "platform/gnome/gnomeshellextension.h"
#include "platform/gnome/gnomeshellinputevents.h"
#include "tests/support/gnomeshellsession.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

GnomeShellSession* shell = nullptr;
QDBusConnection* bus = nullptr;

// The extension's own wake-ups (its idle watch firing) and its samples of the button state.
std::pair<quint32, quint32> stats()
{
    const QDBusMessage reply = bus->call(QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.Shell"), QStringLiteral("/io/github/peekwell/Shell"),
        QStringLiteral("io.github.peekwell.Shell"), QStringLiteral("Stats")));
    return {reply.arguments().value(0).toUInt(), reply.arguments().value(1).toUInt()};
}

struct Rates {
    double wakeups = 0;
    double samples = 0;
};

// Per second over `ms`, while `input` runs every 10 ms (or nothing, when null).
Rates rates(int ms, const std::function<void()>& input)
{
    const auto before = stats();
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms) {
        if (input)
            input();
        QTest::qWait(10);
    }
    const auto after = stats();
    const double seconds = clock.elapsed() / 1000.0;
    return {(after.first - before.first) / seconds, (after.second - before.second) / seconds};
}

double median(std::vector<double> values)
{
    if (values.empty())
        return -1;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

const QPointF kPoint(640, 400);
const QString kWord = QStringLiteral("serendipity");

void extensionFigures(GnomeShellSession& session)
{
    QDBusConnection connection = session.connect(QStringLiteral("bench"));
    bus = &connection;
    GnomeShellInputEvents service(connection);
    if (!service.install()) {
        std::fprintf(stderr, "%s\n", qPrintable(service.problem()));
        return;
    }
    QElapsedTimer clock;
    qint64 downAt = -1;
    qint64 deepAt = -1;
    QObject::connect(&service, &InputEvents::delivered, [&](const InputEvent& e, bool) {
        if (e.type == InputEvent::LeftMouseDown)
            downAt = clock.nsecsElapsed();
        if (e.type == InputEvent::Pressure && e.stage == 2)
            deepAt = clock.nsecsElapsed();
    });
    const QPointF point = kPoint;
    session.movePointer(point);
    QTest::qWait(1000); // the move's own idle watch fires before the quiet spell is measured

    int step = 1;
    const Rates idle = rates(5000, nullptr);
    int events = 0;
    QElapsedTimer moveClock;
    moveClock.start();
    const Rates moving = rates(5000, [&] {
        ++events;
        session.movePointerBy(QPointF(step, 0));
        step = -step;
    });
    const double eventRate = events * 1000.0 / moveClock.elapsed();
    int keys = 0;
    QElapsedTimer keyClock;
    keyClock.start();
    const Rates typing = rates(5000, [&] {
        // A key (Shift, which types nothing) every 100 ms: ten a second, a brisk typist.
        if (keyClock.elapsed() >= 100 * keys) {
            session.key(42, true);
            session.key(42, false);
            ++keys;
        }
    });
    session.movePointer(point);
    QTest::qWait(300);
    session.button(272, true);
    const Rates holding = rates(5000, nullptr);
    session.button(272, false);

    // Press latency: from handing the press to Mutter to LeftMouseDown in this process.
    auto latency = [&](bool moving) {
        std::vector<double> pressMs;
        std::vector<double> deepMs;
        for (int i = 0; i < 15; ++i) {
            session.movePointer(point);
            if (moving) {
                for (int k = 0; k < 30; ++k) {
                    session.movePointerBy(QPointF(k % 2 ? 1 : -1, 0));
                    QTest::qWait(10);
                }
            } else {
                QTest::qWait(400);
            }
            downAt = deepAt = -1;
            clock.start();
            session.button(272, true);
            while (deepAt < 0 && clock.elapsed() < 3000)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            session.button(272, false);
            if (downAt >= 0)
                pressMs.push_back(downAt / 1e6);
            if (deepAt >= 0)
                deepMs.push_back(deepAt / 1e6);
            QTest::qWait(200);
        }
        return std::pair(median(pressMs), median(deepMs));
    };
    const auto [quietPress, quietDeep] = latency(false);
    const auto [movingPress, movingDeep] = latency(true);

    std::printf("| What | Wake-ups/s | Samples/s |\n|---|---:|---:|\n");
    std::printf("| no input for 5 s | %.1f | %.1f |\n", idle.wakeups, idle.samples);
    std::printf("| pointer moving, %.0f motion events/s | %.1f | %.1f |\n", eventRate,
                moving.wakeups, moving.samples);
    std::printf("| typing, 10 keys/s | %.1f | %.1f |\n", typing.wakeups, typing.samples);
    std::printf("| left button held still | %.1f | %.1f |\n\n", holding.wakeups, holding.samples);
    std::printf("| What | Median of 15 |\n|---|---:|\n");
    std::printf("| press to LeftMouseDown, after a quiet spell | %.1f ms |\n", quietPress);
    std::printf("| press to Pressure stage 2, after a quiet spell | %.1f ms |\n", quietDeep);
    std::printf("| press to LeftMouseDown, 10 ms after the last motion | %.1f ms |\n", movingPress);
    std::printf("| press to Pressure stage 2, 10 ms after the last motion | %.1f ms |\n",
                movingDeep);
}

// Microseconds of CLOCK_MONOTONIC, the clock of the Shell's GLib.get_monotonic_time().
qint64 monotonicUs()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Force click to panel with the peekwell executable. The clock starts when the hold becomes a
// force click: the press handed to Mutter plus the 0.5 s hold, so the extension's noticing of
// the press and the D-Bus hop count. It stops when the Shell creates the panel's window and when
// it has drawn the window's first frame (listeners installed through Eval). Escape closes the
// panel between runs.
void panelFigures(GnomeShellSession& session, qint64 editorPid, int runs)
{
    QProcessEnvironment env = session.clientEnvironment();
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("peekwell.capture.debug=true"));
    QProcess peekwell;
    peekwell.setProcessEnvironment(env);
    peekwell.start(QStringLiteral(PEEKWELL_EXECUTABLE), {});
    QByteArray log;
    QObject::connect(&peekwell, &QProcess::readyReadStandardError,
                     [&] { log += peekwell.readAllStandardError(); });
    auto listening = [&] {
        QFile file(session.home() + QStringLiteral("/.local/state/peekwell/logs/status.json"));
        return file.open(QIODevice::ReadOnly) &&
               QJsonDocument::fromJson(file.readAll())
                       .object()
                       .value(QStringLiteral("listeningThrough"))
                       .toString() == QLatin1String("the GNOME Shell extension");
    };
    QDeadlineTimer started(30'000);
    while (!listening() && !started.hasExpired())
        QTest::qWait(100);
    if (started.hasExpired()) {
        std::fprintf(stderr, "peekwell never listened: %s\n", log.constData());
        return;
    }

    // Where the word is: GTK 3 on Wayland reports it in its surface, which the Shell places.
    QProcess probe;
    probe.setProcessEnvironment(env);
    probe.start(QStringLiteral(PEEKWELL_EXECUTABLE),
                {QStringLiteral("--probe-word"), QStringLiteral("mousepad"), kWord});
    probe.waitForFinished(30'000);
    const QJsonArray inSurface = QJsonDocument::fromJson(probe.readAllStandardOutput())
                                     .object()
                                     .value(QStringLiteral("point"))
                                     .toArray();
    const QJsonArray surface =
        session
            .eval(QStringLiteral("(r => [r.x, r.y])(global.get_window_actors()"
                                 ".map(a => a.meta_window).find(w => w.get_pid() === %1)"
                                 ".get_buffer_rect())")
                      .arg(editorPid))
            .value_or(QJsonValue())
            .toArray();
    if (inSurface.size() != 2 || surface.size() != 2) {
        std::fprintf(stderr, "the word is not on screen\n");
        return;
    }
    const QPointF word(qRound(surface[0].toDouble() + inSurface[0].toDouble()),
                       qRound(surface[1].toDouble() + inSurface[1].toDouble()));
    session.eval(
        QStringLiteral("globalThis.peekwellBench = []; "
                       "global.display.connect('window-created', (display, window) => { "
                       "  if (window.get_title() !== 'Peekwell') return; "
                       "  const created = GLib.get_monotonic_time(); "
                       "  window.get_compositor_private().connect('first-frame', "
                       "    () => peekwellBench.push([created, GLib.get_monotonic_time()])); "
                       "}); true"));

    std::vector<double> created;
    std::vector<double> drawn;
    int missed = 0;
    for (int i = 0; i < runs; ++i) {
        session.movePointer(word);
        QTest::qWait(400);
        const qint64 pressedUs = monotonicUs();
        session.button(272, true);
        QTest::qWait(700);
        session.button(272, false);
        QJsonArray times;
        QDeadlineTimer deadline(3000);
        while (times.isEmpty() && !deadline.hasExpired()) {
            times = session.eval(QStringLiteral("peekwellBench.shift() ?? null"))
                        .value_or(QJsonValue())
                        .toArray();
            QTest::qWait(20);
        }
        if (times.size() == 2) {
            const double forceClickUs = pressedUs + 500'000.0;
            created.push_back((times[0].toDouble() - forceClickUs) / 1000);
            drawn.push_back((times[1].toDouble() - forceClickUs) / 1000);
            std::fprintf(stderr, "force click %d: window %.1f ms, first frame %.1f ms\n", i + 1,
                         created.back(), drawn.back());
        } else {
            ++missed;
            std::fprintf(stderr, "force click %d: no panel\n", i + 1);
        }
        session.key(1, true);
        session.key(1, false);
        QTest::qWait(300);
    }
    std::vector<double> capture;
    static const QRegularExpression captured(
        QStringLiteral("peekwell.capture: range after ([0-9.]+) ms"));
    for (auto it = captured.globalMatch(QString::fromUtf8(log)); it.hasNext();)
        capture.push_back(it.next().captured(1).toDouble());
    peekwell.terminate();
    peekwell.waitForFinished(5000);

    auto range = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values.empty() ? QString()
                              : QStringLiteral("%1–%2 ms")
                                    .arg(values.front(), 0, 'f', 1)
                                    .arg(values.back(), 0, 'f', 1);
    };
    std::printf("\n| Force click (press + 0.5 s) to | Median of %zu | Range |\n|---|---:|---:|\n",
                drawn.size());
    std::printf("| the panel's window created by the Shell | %.1f ms | %s |\n", median(created),
                qPrintable(range(created)));
    std::printf("| the panel's first frame drawn | %.1f ms | %s |\n", median(drawn),
                qPrintable(range(drawn)));
    std::printf("| (inside it: the capture in Peekwell) | %.1f ms | %s |\n", median(capture),
                qPrintable(range(capture)));
    if (missed)
        std::printf("\n%d of %d force clicks opened no panel.\n", missed, runs);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString only = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    GnomeShellSession session;
    QString error;
    if (!session.start(QStringLiteral(PEEKWELL_GNOME_EXTENSION_DIR), GnomeShellExtension::uuid(),
                       &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    shell = &session;
    QFile text(session.home() + QStringLiteral("/bench.txt"));
    text.open(QIODevice::WriteOnly);
    text.write("Hold the pointer still on serendipity to look it up.\n");
    text.close();
    QProcess editor;
    editor.setProcessEnvironment(session.clientEnvironment());
    editor.start(QStringLiteral("mousepad"), {text.fileName()});
    QTest::qWait(3000); // Mousepad maps

    if (only.isEmpty() || only == QLatin1String("extension"))
        extensionFigures(session);
    if (only.isEmpty() || only == QLatin1String("panel"))
        panelFigures(session, editor.processId(), 21);
    editor.kill();
    editor.waitForFinished();
    return 0;
}
