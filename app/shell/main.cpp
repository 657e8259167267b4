#include "diagnostics/diagnostics.h"
#include "platform/desktopsession.h"
#include "platform/x11/x11desktop.h"
#include "settings/pref.h"
#include "shell/appstatus.h"
#include "shell/peekwellapp.h"
#include "shell/singleinstance.h"

#include <QApplication>
#include <QCoreApplication>
#include <cstdio>
#include <memory>

namespace {

// On a Wayland desktop our windows go through Xwayland when there is one: a Wayland client
// cannot place its own windows, and the panel must open beside the pointer without taking the
// keyboard focus. Whoever sets QT_QPA_PLATFORM decides instead.
void preferXwayland()
{
    const DesktopSession::Kind session = DesktopSession::current();
    const bool wayland = session == DesktopSession::Kind::GnomeWayland ||
                         session == DesktopSession::Kind::OtherWayland;
    if (wayland && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") &&
        !qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

// The desktop application: one per session; a later start opens the running one's menu.
int runApplication(QApplication& app)
{
    SingleInstance instance;
    QString error;
    switch (instance.claim(&error)) {
    case SingleInstance::Role::Later:
        if (instance.askToOpenMenu(&error))
            return 0;
        std::fprintf(stderr, "peekwell: %s\n", qPrintable(error));
        return 1;
    case SingleInstance::Role::Unknown:
        std::fprintf(stderr, "peekwell: %s; a second start will not find this one\n",
                     qPrintable(error));
        break;
    case SingleInstance::Role::First:
        break;
    }
    app.setQuitOnLastWindowClosed(false);

    AppStatus& status = AppStatus::shared();
    QObject::connect(&status, &AppStatus::displayLost, &app, [](const QString& reason) {
        std::fprintf(stderr, "peekwell: %s; ending\n", qPrintable(reason));
        QCoreApplication::exit(1);
    });
    PeekwellApp shell(status);
    QObject::connect(&instance, &SingleInstance::openMenuRequested, &shell, &PeekwellApp::showMenu);
    status.start();
    shell.start();
    return app.exec();
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));

    const Diagnostics::Request request = Diagnostics::request(arguments);
    if (request.help) {
        std::fputs(qPrintable(Diagnostics::helpText()), stdout);
        return 0;
    }
    if (request.version) {
        std::puts(qPrintable(Diagnostics::versionText()));
        return 0;
    }
    if (request.unknownOption) {
        std::fprintf(stderr, "peekwell: unknown option %s\n\n%s",
                     qPrintable(*request.unknownOption), qPrintable(Diagnostics::helpText()));
        return 2;
    }

    preferXwayland();
    // Operations that show nothing run without a display; the rest need a QApplication.
    const Diagnostics::Operation* operation = Diagnostics::takingOver(arguments);
    if (!operation) {
        if (const std::optional<QString> problem = X11Desktop::displayProblem()) {
            // Settings given on the command line are stored, and that was all there was to do.
            QCoreApplication app(argc, argv);
            Pref::registerDefaults();
            Diagnostics::runCommandLine(arguments);
            if (Diagnostics::changesSettings(arguments))
                return 0;
            std::fprintf(stderr,
                         "peekwell: the desktop application needs a display (%s); --help lists "
                         "the operations that run without one\n",
                         qPrintable(*problem));
            return 1;
        }
    }
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

    return runApplication(static_cast<QApplication&>(*app));
}
