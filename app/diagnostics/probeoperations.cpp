#include "diagnostics/probeoperations.h"

#include "LookupCore/graphemes.h"
#include "LookupCore/textsearch.h"
#include "capture/textcapture.h"
#include "diagnostics/arguments.h"
#include "platform/accessibility.h"
#include "platform/x11/x11windows.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <cstdio>
#include <deque>

namespace ProbeOperations {

namespace {

constexpr int kLocateBudget = 3000;

void requireDisplay(const QString& operation)
{
    if (const std::optional<QString> problem = X11Windows::displayProblem()) {
        std::fprintf(stderr, "peekwell: %s needs a display (%s)\n", qPrintable(operation),
                     qPrintable(*problem));
        Diagnostics::finish(1);
    }
}

QJsonValue orNull(const std::optional<QString>& text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

double millisecondsSince(const QElapsedTimer& clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

std::optional<QPointF> locate(const QString& word, const QString& application)
{
    Accessibility& ax = Accessibility::standard();
    ax.setMessagingTimeout(0.25);
    std::optional<qint64> pid;
    for (const RunningApplication& running : ax.applications()) {
        if (running.name == application || running.accessibilityName == application) {
            pid = running.pid;
            break;
        }
    }
    if (!pid)
        return std::nullopt;
    std::deque<Accessibility::Element> queue;
    if (Accessibility::Element root = ax.application(*pid))
        queue.push_back(std::move(root));
    for (int budget = kLocateBudget; budget > 0 && !queue.empty(); --budget) {
        const Accessibility::Element element = std::move(queue.front());
        queue.pop_front();
        const auto value =
            Accessibility::as<QString>(ax.attribute(element, QLatin1String("AXValue")));
        if (value) {
            Graphemes graphemes(*value);
            if (const auto match = TextSearch::canonical(*value, word, graphemes)) {
                const auto bounds = Accessibility::as<QRectF>(ax.parameterizedAttribute(
                    element, QLatin1String("AXBoundsForRange"),
                    Accessibility::TextRange{match->start, match->end - match->start}));
                if (bounds && bounds->width() > 0)
                    return bounds->center();
            }
        }
        const auto children = Accessibility::as<QList<Accessibility::Element>>(
            ax.attribute(element, QLatin1String("AXChildren")));
        if (children)
            queue.insert(queue.end(), children->begin(), children->end());
    }
    return std::nullopt;
}

Diagnostics::Outcome probe(const Arguments& arguments)
{
    requireDisplay(QStringLiteral("--probe"));
    const QPointF point(*arguments.number(QStringLiteral("--probe"), 1),
                        *arguments.number(QStringLiteral("--probe"), 2));
    QJsonObject report{{QStringLiteral("trusted"), TextCapture::trusted()}};
    QElapsedTimer clock;
    clock.start();
    const std::optional<CapturedText> captured = TextCapture::capture({point, std::nullopt});
    report.insert(QStringLiteral("ms"), millisecondsSince(clock));
    if (captured) {
        report.insert(QStringLiteral("word"), captured->span.word);
        report.insert(QStringLiteral("sentence"), captured->span.sentence);
        report.insert(QStringLiteral("app"), orNull(captured->app));
        report.insert(QStringLiteral("method"), captured->method);
    }
    Diagnostics::emit(report, QStringLiteral("probe.json"));
    Diagnostics::finish(0);
}

Diagnostics::Outcome probeWord(const Arguments& arguments)
{
    requireDisplay(QStringLiteral("--probe-word"));
    const QString application = *arguments.value(QStringLiteral("--probe-word"), 1);
    const QString word = *arguments.value(QStringLiteral("--probe-word"), 2);
    QJsonObject report{{QStringLiteral("app"), application}, {QStringLiteral("expected"), word}};
    const std::optional<QPointF> point = locate(word, application);
    if (!point) {
        report.insert(QStringLiteral("error"), QStringLiteral("couldn't find “") + word +
                                                   QStringLiteral("” in ") + application +
                                                   QStringLiteral("'s text"));
        Diagnostics::emit(report, QStringLiteral("probe-word.json"));
        Diagnostics::finish(0);
    }
    report.insert(QStringLiteral("point"), QJsonArray{point->x(), point->y()});
    QElapsedTimer clock;
    clock.start();
    const std::optional<CapturedText> captured = TextCapture::capture({*point, std::nullopt});
    report.insert(QStringLiteral("ms"), millisecondsSince(clock));
    const QJsonValue null(QJsonValue::Null);
    report.insert(QStringLiteral("word"), captured ? QJsonValue(captured->span.word) : null);
    report.insert(QStringLiteral("sentence"),
                  captured ? QJsonValue(captured->span.sentence) : null);
    report.insert(QStringLiteral("method"), captured ? QJsonValue(captured->method) : null);
    report.insert(QStringLiteral("ok"), captured && captured->span.word == word);
    Diagnostics::emit(report, QStringLiteral("probe-word.json"));
    Diagnostics::finish(0);
}

} // namespace ProbeOperations
