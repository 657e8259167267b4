#include "diagnostics/lookupoperations.h"

#include "backends/backends.h"

#include "diagnostics/arguments.h"
#include "panel/lookuppanel.h"
#include "panel/lookuppanelcontroller.h"
#include "panel/lookupview.h"
#include "platform/preferences.h"

#include <QCursor>
#include <QGuiApplication>
#include <QImage>
#include <QJsonValue>
#include <QTimer>
#include <cmath>

namespace LookupOperations {

namespace {

constexpr double kWaitSeconds = 30;

std::function<BackendList(Preferences&)>& backendSource()
{
    static std::function<BackendList(Preferences&)> source;
    return source;
}

LookupQuery queryFrom(const Arguments& arguments, const QString& term)
{
    return LookupQuery{term, arguments.value(QStringLiteral("--context")),
                       QStringLiteral("Peekwell test")};
}

// The pointer's position from the window system, or (400, 300) when there is none to ask.
QPointF pointerPosition()
{
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        return QCursor::pos();
    return {400, 300};
}

QString number(double value)
{
    return QString::number(value, 'g', 15);
}

} // namespace

BackendList enabledBackends(Preferences& preferences)
{
    if (backendSource())
        return backendSource()(preferences);
    return Backends::enabled(preferences);
}

void setBackendSource(std::function<BackendList(Preferences&)> source)
{
    backendSource() = std::move(source);
}

QString rectText(const QRectF& rect)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(number(rect.x()), number(rect.y()), number(rect.width()), number(rect.height()));
}

QString snapshotFileName(QString path, const QString& tabId)
{
    return path.replace(QStringLiteral(".png"), QLatin1Char('-') + tabId + QStringLiteral(".png"));
}

Diagnostics::Outcome lookup(const Arguments& arguments)
{
    const LookupQuery query = queryFrom(arguments, *arguments.value(QStringLiteral("--lookup")));
    QPointF point = pointerPosition();
    const auto atX = arguments.number(QStringLiteral("--at"), 1);
    const auto atY = arguments.number(QStringLiteral("--at"), 2);
    if (atX && atY)
        point = QPointF(*atX, *atY);
    const std::optional<double> hold = arguments.number(QStringLiteral("--hold"));

    QTimer::singleShot(0, qApp, [query, point, hold] {
        LookupPanelController& controller = LookupPanelController::shared();
        const std::shared_ptr<LookupModel> model =
            controller.show(query, point, enabledBackends(Preferences::standard()));
        model->waitUntilFinished(kWaitSeconds);
        QJsonObject report = model->report();
        LookupPanel* panel = controller.panel();
        report.insert(QStringLiteral("panelFrame"),
                      panel ? QJsonValue(rectText(QRectF(panel->geometry())))
                            : QJsonValue(QJsonValue::Null));
        Diagnostics::emit(report, QStringLiteral("lookup.json"));
        if (hold) {
            const double ms = std::clamp(*hold * 1000.0, 0.0, 2e9);
            QTimer::singleShot(static_cast<int>(ms), Qt::PreciseTimer, qApp,
                               [] { Diagnostics::finish(0); });
        }
    });
    return Diagnostics::Outcome::TookOver;
}

Diagnostics::Outcome snapshot(const Arguments& arguments)
{
    const QString path = *arguments.value(QStringLiteral("--snapshot"), 1);
    const LookupQuery query =
        queryFrom(arguments, *arguments.value(QStringLiteral("--snapshot"), 2));

    QTimer::singleShot(0, qApp, [query, path] {
        LookupModel model(query, enabledBackends(Preferences::standard()));
        model.waitUntilFinished(kWaitSeconds);
        const QList<LookupModel::Tab> tabs = model.tabs();
        for (const LookupModel::Tab& tab : tabs) {
            model.pickTab(tab.id);
            const QImage image = LookupView::image(&model, Appearance::Dark, 2.0);
            if (image.isNull())
                continue;
            image.save(snapshotFileName(path, tab.id), "PNG"); // a failed write is ignored
        }
        Diagnostics::emit(model.report(), QStringLiteral("snapshot.json"));
        Diagnostics::finish(0);
    });
    return Diagnostics::Outcome::TookOver;
}

} // namespace LookupOperations
