#include "diagnostics/eventwatch.h"

#include "capture/textcapture.h"
#include "diagnostics/arguments.h"
#include "diagnostics/watchlog.h"
#include "platform/desktopsession.h"
#include "platform/inputevents.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace EventWatch {

namespace {

constexpr int kCountsEveryMs = 2000;

WatchLog*& log()
{
    static WatchLog* watchLog = nullptr;
    return watchLog;
}

int signalPipe[2] = {-1, -1};

void onSignal(int number)
{
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

void finish()
{
    log()->writeCounts();
    log()->close();
    std::printf("%s\n", qPrintable(log()->linesPath()));
    Diagnostics::finish(0);
}

// SIGINT and SIGTERM end the recording from the event loop, through a pipe the handler writes
// a byte into.
void finishOnSignals()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, [] { finish(); });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

QString unheard(InputEvents* source)
{
    if (source)
        return source->problem().isEmpty() ? source->sourceName() + QStringLiteral(" refused")
                                           : source->problem();
    switch (DesktopSession::current()) {
    case DesktopSession::Kind::None:
        return QStringLiteral("DISPLAY is not set");
    case DesktopSession::Kind::OtherWayland:
        return QStringLiteral("this Wayland desktop lets no program watch the pointer");
    default:
        return QStringLiteral("no input source for this session");
    }
}

} // namespace

Diagnostics::Outcome operation(const Arguments& arguments)
{
    const std::optional<double> seconds = arguments.number(QStringLiteral("--watch"));
    if (!seconds || *seconds < 0 || *seconds > kMaxSeconds) {
        std::fprintf(stderr, "peekwell: --watch needs a number of seconds from 0 to %.0f, not %s\n",
                     kMaxSeconds,
                     qPrintable(arguments.value(QStringLiteral("--watch")).value_or(QString())));
        Diagnostics::finish(2);
    }
    run(*seconds);
    return Diagnostics::Outcome::TookOver;
}

void run(double seconds)
{
    InputEvents* source = InputEvents::session();
    const bool installed = source && source->install();
    if (!installed) {
        std::fprintf(stderr, "peekwell: --watch cannot hear the pointer: %s\n",
                     qPrintable(unheard(source)));
        Diagnostics::finish(1);
    }
    log() = new WatchLog(Diagnostics::logDir());
    QObject::connect(source, &InputEvents::rawEvent, qApp,
                     [](int rawType, int mappedType, int, bool bulk) {
                         log()->rawEvent(rawType, mappedType, bulk);
                     });
    QObject::connect(source, &InputEvents::delivered, qApp,
                     [](const InputEvent& event, bool) { log()->delivered(event); });
    log()->append(
        QStringLiteral("tap installed: %1, trusted: %2, recording %3 s")
            .arg(installed ? QStringLiteral("true") : QStringLiteral("false"),
                 TextCapture::trusted() ? QStringLiteral("true") : QStringLiteral("false"))
            .arg(static_cast<qint64>(seconds)));

    auto* counts = new QTimer(qApp);
    QObject::connect(counts, &QTimer::timeout, [] { log()->writeCounts(); });
    counts->start(kCountsEveryMs);
    QTimer::singleShot(static_cast<int>(std::llround(seconds * 1000)), qApp, [] { finish(); });
    finishOnSignals();
}

} // namespace EventWatch
