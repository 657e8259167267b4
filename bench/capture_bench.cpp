// Text capture in real programs, in process: from the call to TextCapture::capture to its
// CapturedText, at a word's centre in Mousepad (GTK 3), a Qt window and Chromium, on a
// private desktop (tests/support/capturedesktop.h). Chromium runs without
// --force-renderer-accessibility: TextCapture::enableWebAccessibility switches its page on,
// as the running application does when the browser becomes active. Finding the word
// breadth-first (ProbeOperations::locate, the word probe's first step) is measured beside it.
#include "capture/textcapture.h"
#include "diagnostics/probeoperations.h"
#include "tests/support/capturedesktop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QThread>
#include <benchmark/benchmark.h>
#include <cstdio>

namespace {

using Program = CaptureDesktop::Program;

void capture(benchmark::State& state, const Program* program, QPointF point)
{
    for (auto _ : state) {
        const std::optional<CapturedText> captured = TextCapture::capture({point, std::nullopt});
        if (!captured || captured->span.word != program->word) {
            state.SkipWithError("the capture did not read the word");
            break;
        }
    }
}

void locate(benchmark::State& state, const Program* program)
{
    for (auto _ : state) {
        if (!ProbeOperations::locate(program->word, program->name)) {
            state.SkipWithError("the word was not found");
            break;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (const QString missing = CaptureDesktop::missing(); !missing.isEmpty()) {
        std::fprintf(stderr, "capture_bench: not installed: %s\n", qPrintable(missing));
        return 1;
    }
    CaptureDesktop desktop;
    QString error;
    if (!desktop.start(QStringLiteral(PEEKWELL_QT_WINDOW), false, &error)) {
        std::fprintf(stderr, "capture_bench: %s\n", qPrintable(error));
        return 1;
    }
    // This process joins the desktop before its first request to the display or a bus.
    const QProcessEnvironment env = desktop.environment();
    for (const char* name : {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "HOME"})
        qputenv(name, env.value(QString::fromLatin1(name)).toLocal8Bit());
    qunsetenv("AT_SPI_BUS_ADDRESS");

    const qint64 browser = desktop.pid(CaptureDesktop::chromium);
    TextCapture::enableWebAccessibility(
        {browser,
         CaptureDesktop::chromium.name,
         QFileInfo(QStringLiteral("/proc/%1/exe").arg(browser)).symLinkTarget(),
         {}});

    for (const Program* program :
         {&CaptureDesktop::mousepad, &CaptureDesktop::qt, &CaptureDesktop::chromium}) {
        std::optional<QPointF> point;
        QDeadlineTimer deadline(45000);
        while (!(point = ProbeOperations::locate(program->word, program->name)) &&
               !deadline.hasExpired())
            QThread::msleep(250);
        if (!point) {
            std::fprintf(stderr, "capture_bench: %s shows no “%s”\n", qPrintable(program->name),
                         qPrintable(program->word));
            return 1;
        }
        const std::string name = program->name.toStdString();
        benchmark::RegisterBenchmark(("capture/" + name).c_str(), capture, program, *point)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("locate/" + name).c_str(), locate, program)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
