// The GNOME Shell extension's cost and speed, in a headless GNOME Shell with Mousepad under the
// pointer: how often the extension wakes (its own sample count, from its Stats method) while
// input is quiet, while the pointer moves and while the left button is held still; and how long
// a press takes from Mutter's input to Peekwell's InputEvents stream (extension + D-Bus hop),
// after a quiet spell and during motion. Prints a Markdown table.
#include "platform/gnome/gnomeshellextension.h"
#include "platform/gnome/gnomeshellinputevents.h"
#include "tests/support/gnomeshellsession.h"

#include <QApplication>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <algorithm>
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
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
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
    text.write("Hold the pointer still on a word to look it up.\n");
    text.close();
    QProcess editor;
    editor.setProcessEnvironment(session.clientEnvironment());
    editor.start(QStringLiteral("mousepad"), {text.fileName()});
    QDBusConnection connection = session.connect(QStringLiteral("bench"));
    bus = &connection;
    GnomeShellInputEvents service(connection);
    if (!service.install()) {
        std::fprintf(stderr, "%s\n", qPrintable(service.problem()));
        return 1;
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
    const QPointF point(640, 400);
    session.movePointer(point);
    QTest::qWait(3000); // Mousepad maps

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
    editor.kill();
    editor.waitForFinished();
    return 0;
}
