// The yardstick for the panel: a trivial Qt program that opens a plain window with a label,
// the size of the panel and with its window flags, and nothing else.
//
//   peekwell_plainwindow          shows the window at once (a cold start's yardstick)
//   peekwell_plainwindow --wait   reads commands on standard input: "show X Y" makes a new
//                                 window at X Y and shows it, "hide" destroys it
//
// Each shown window logs to standard error, in the format of the program's peekwell.timing
// category (steady-clock milliseconds): "trigger" (the command read), "shown" (show()
// returned), "exposed" (the first expose event) and "drawn" (back in the event loop after the
// frame that expose triggered).
#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QPointer>
#include <QSocketNotifier>
#include <QVBoxLayout>
#include <QWindow>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

void mark(const char* moment)
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    std::fprintf(stderr, "plain.timing: %s at %.3f ms\n", moment,
                 std::chrono::duration<double, std::milli>(now).count());
}

class PlainWindow : public QWidget {
public:
    PlainWindow()
        : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                               Qt::WindowDoesNotAcceptFocus)
    {
        setWindowTitle(QStringLiteral("Plain window"));
        setAttribute(Qt::WA_ShowWithoutActivating);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel(QStringLiteral("serendipity\nthe occurrence and "
                                                    "development of events by chance in a happy "
                                                    "or beneficial way")));
        setFixedSize(470, 340);
    }

    void present(int x, int y)
    {
        move(x, y);
        winId();
        windowHandle()->installEventFilter(this);
        show();
        mark("shown");
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == windowHandle() && event->type() == QEvent::Expose &&
            windowHandle()->isExposed()) {
            windowHandle()->removeEventFilter(this);
            mark("exposed");
            QMetaObject::invokeMethod(
                this, [] { mark("drawn"); }, Qt::QueuedConnection);
        }
        return QWidget::eventFilter(watched, event);
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QPointer<PlainWindow> window;
    if (!QApplication::arguments().contains(QStringLiteral("--wait"))) {
        window = new PlainWindow;
        window->present(100, 100);
        return application.exec();
    }
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[256];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            QApplication::quit();
            return;
        }
        pending.append(buffer, n);
        qsizetype end;
        while ((end = pending.indexOf('\n')) >= 0) {
            const QList<QByteArray> words = pending.left(end).split(' ');
            pending.remove(0, end + 1);
            if (words.value(0) == "show" && !window) {
                mark("trigger");
                window = new PlainWindow;
                window->present(words.value(1).toInt(), words.value(2).toInt());
            } else if (words.value(0) == "hide") {
                delete window;
            }
        }
    });
    return application.exec();
}
