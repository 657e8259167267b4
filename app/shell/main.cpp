#include "diagnostics.h"
#include "pref.h"
#include "x11desktop.h"

#include <QApplication>
#include <QCoreApplication>
#include <cstdio>
#include <memory>

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));

    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        std::fputs(qPrintable(Diagnostics::helpText()), stdout);
        return 0;
    }
    if (arguments.contains(QStringLiteral("--version"))) {
        std::puts(qPrintable(Diagnostics::versionText()));
        return 0;
    }

    // Operations that show nothing run without a display; the rest need a QApplication.
    const Diagnostics::Operation* operation = Diagnostics::takingOver(arguments);
    if (operation && operation->kind == Diagnostics::Kind::Windowed) {
        if (const std::optional<QString> problem = X11Desktop::displayProblem()) {
            // A snapshot needs no screen; everything else that shows a window does.
            if (operation->name != QLatin1String("--snapshot")) {
                std::fprintf(stderr, "peekwell: %s needs a display (%s)\n",
                             qPrintable(operation->name), qPrintable(*problem));
                return 1;
            }
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    }
    std::unique_ptr<QCoreApplication> app;
    if (operation && operation->kind == Diagnostics::Kind::Headless)
        app = std::make_unique<QCoreApplication>(argc, argv);
    else
        app = std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("peekwell"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PEEKWELL_VERSION));

    Pref::registerDefaults();
    if (Diagnostics::runCommandLine(arguments))
        return app->exec();

    // The desktop application (force-click listener, tray menu) is not part of this build yet.
    std::fputs(qPrintable(Diagnostics::helpText()), stdout);
    return 0;
}
