#include "capture/textcapture.h"

#include "LookupCore/graphemes.h"
#include "LookupCore/textalias.h"
#include "LookupCore/textspanfinder.h"
#include "LookupCore/unicodetext.h"
#include "platform/accessibility.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSet>
#include <unicode/rbbi.h>

// Debug messages time each step of a capture: QT_LOGGING_RULES="peekwell.capture.debug=true".
Q_LOGGING_CATEGORY(lcCapture, "peekwell.capture", QtWarningMsg)

namespace TextCapture {

namespace {

using Element = Accessibility::Element;
using TextRange = Accessibility::TextRange;

constexpr double kMessagingTimeout = 0.25;
constexpr qsizetype kBeforeIndex = 400;
constexpr qsizetype kLongestFetch = 800;
constexpr int kTextMarkerTries = 6;
constexpr qsizetype kLongestStaticText = 3999;
constexpr double kWidenX = 1;
constexpr double kWidenY = 2;
constexpr qsizetype kLongestSelection = 80;

template <typename T> std::optional<T> as(const std::optional<Accessibility::Value>& value)
{
    return Accessibility::as<T>(value);
}

std::optional<TextSpan> viaRange(Accessibility& ax, const Element& element, const QPointF& point)
{
    const auto range = as<TextRange>(
        ax.parameterizedAttribute(element, QLatin1String("AXRangeForPosition"), point));
    if (!range || range->location < 0)
        return std::nullopt;
    const qsizetype index = range->location;
    const qsizetype total = as<qint64>(ax.attribute(element, QLatin1String("AXNumberOfCharacters")))
                                .value_or(index + kBeforeIndex);
    const qsizetype start = index < kBeforeIndex ? 0 : index - kBeforeIndex;
    const qsizetype length = std::min(total - start, kLongestFetch);
    if (length < 1)
        return std::nullopt;
    const auto text = as<QString>(ax.parameterizedAttribute(
        element, QLatin1String("AXStringForRange"), TextRange{start, length}));
    if (!text)
        return std::nullopt;
    return TextSpanFinder::span(*text, index - start);
}

std::optional<TextSpan> viaTextMarker(Accessibility& ax, const Element& element,
                                      const QPointF& point)
{
    const std::optional<Accessibility::Value> marker =
        ax.parameterizedAttribute(element, QLatin1String("AXTextMarkerForPosition"), point);
    if (!marker)
        return std::nullopt;
    const auto textOf = [&](const char* attribute) -> std::optional<QString> {
        const std::optional<Accessibility::Value> range =
            ax.parameterizedAttribute(element, QLatin1String(attribute), *marker);
        if (!range)
            return std::nullopt;
        return as<QString>(ax.parameterizedAttribute(
            element, QLatin1String("AXStringForTextMarkerRange"), *range));
    };
    QString word = TextSpanFinder::normalizeWord(
        textOf("AXRightWordTextMarkerRangeForTextMarker").value_or(QString()));
    if (word.isEmpty())
        word = TextSpanFinder::normalizeWord(
            textOf("AXLeftWordTextMarkerRangeForTextMarker").value_or(QString()));
    return TextSpanFinder::span(word, textOf("AXSentenceTextMarkerRangeForTextMarker"));
}

// The rectangle holds the point: left and top edges in, right and bottom edges out.
bool holds(const QRectF& rect, const QPointF& point)
{
    return point.x() >= rect.left() && point.x() < rect.right() && point.y() >= rect.top() &&
           point.y() < rect.bottom();
}

std::optional<TextSpan> viaWordBounds(Accessibility& ax, const Element& element,
                                      const QPointF& point)
{
    if (as<QString>(ax.attribute(element, QLatin1String("AXRole"))) !=
        QLatin1String("AXStaticText"))
        return std::nullopt;
    const auto value = as<QString>(ax.attribute(element, QLatin1String("AXValue")));
    if (!value || value->isEmpty() || value->size() > kLongestStaticText)
        return std::nullopt;

    std::unique_ptr<icu::BreakIterator> words = UnicodeText::wordIterator();
    TextAlias alias(*value);
    if (!words || !alias.attach(*words))
        return std::nullopt;
    for (int32_t start = words->first(), end = words->next(); end != icu::BreakIterator::DONE;
         start = end, end = words->next()) {
        if (words->getRuleStatus() == UBRK_WORD_NONE)
            continue;
        const auto bounds = as<QRectF>(ax.parameterizedAttribute(
            element, QLatin1String("AXBoundsForRange"), TextRange{start, end - start}));
        if (bounds && holds(bounds->adjusted(-kWidenX, -kWidenY, kWidenX, kWidenY), point))
            return TextSpanFinder::span(*value, start);
    }
    return std::nullopt;
}

std::optional<TextSpan> selection(Accessibility& ax, const Element& element)
{
    const std::optional<qint64> pid = ax.processId(element);
    if (!pid)
        return std::nullopt;
    const Element application = ax.application(*pid);
    const auto focused =
        as<Element>(ax.attribute(application, QLatin1String("AXFocusedUIElement")));
    if (!focused || !*focused)
        return std::nullopt;
    const auto selected = as<QString>(ax.attribute(*focused, QLatin1String("AXSelectedText")));
    if (!selected)
        return std::nullopt;
    Graphemes characters(*selected);
    if (characters.forward(0, kLongestSelection) < selected->size())
        return std::nullopt;
    return TextSpanFinder::span(*selected, std::nullopt);
}

std::optional<QString> appName(Accessibility& ax, const Element& element)
{
    const std::optional<qint64> pid = ax.processId(element);
    if (!pid)
        return std::nullopt;
    const std::optional<RunningApplication> application = ax.runningApplication(*pid);
    if (!application || application->name.isEmpty())
        return std::nullopt;
    return application->name;
}

bool isChromiumBrowser(const QString& executable)
{
    static const QSet<QString> names = {
        QStringLiteral("chromium"), QStringLiteral("chromium-browser"),
        QStringLiteral("chrome"),   QStringLiteral("brave"),
        QStringLiteral("msedge"),   QStringLiteral("vivaldi-bin"),
        QStringLiteral("opera"),
    };
    return names.contains(QFileInfo(executable).fileName());
}

bool isElectronApplication(const QString& executable)
{
    if (executable.isEmpty())
        return false;
    const QDir folder = QFileInfo(executable).dir();
    return QFileInfo::exists(folder.filePath(QStringLiteral("resources/app.asar"))) ||
           QFileInfo(folder.filePath(QStringLiteral("resources/app"))).isDir();
}

} // namespace

std::optional<CapturedText> capture(const PointerTarget& target)
{
    QElapsedTimer clock;
    clock.start();
    const auto step = [&](const char* what) {
        qCDebug(lcCapture, "%s after %.1f ms", what, double(clock.nsecsElapsed()) / 1e6);
    };
    Accessibility& ax = Accessibility::standard();
    ax.setMessagingTimeout(kMessagingTimeout);
    const Element hit = ax.elementAt(target);
    step(hit ? "element found" : "no element");
    if (!hit || ax.processId(hit) == QCoreApplication::applicationPid())
        return std::nullopt;
    const std::optional<QString> app = appName(ax, hit);
    const auto found = [&](const TextSpan& span, const char* method) {
        step(method);
        return CapturedText{span, app, QString::fromLatin1(method)};
    };

    if (const std::optional<TextSpan> span = viaRange(ax, hit, target.screen))
        return found(*span, "range");
    step("no range");
    Element current = hit;
    for (int tries = 1; tries <= kTextMarkerTries; ++tries) {
        if (const std::optional<TextSpan> span = viaTextMarker(ax, current, target.screen))
            return found(*span, "textmarker");
        if (tries == kTextMarkerTries)
            break;
        const auto parent = as<Element>(ax.attribute(current, QLatin1String("AXParent")));
        if (!parent || !*parent)
            break;
        current = *parent;
    }
    step("no text marker");
    if (const std::optional<TextSpan> span = viaWordBounds(ax, hit, target.screen))
        return found(*span, "bounds");
    step("no word bounds");
    if (const std::optional<TextSpan> span = selection(ax, hit))
        return found(*span, "selection");
    step("no selection");
    return std::nullopt;
}

void enableWebAccessibility(const RunningApplication& application)
{
    static QSet<qint64> enabledPIDs;
    if (enabledPIDs.contains(application.pid))
        return;
    enabledPIDs.insert(application.pid);

    const bool browser = isChromiumBrowser(application.executable);
    if (!browser && !isElectronApplication(application.executable))
        return;
    Accessibility& ax = Accessibility::standard();
    ax.setMessagingTimeout(kMessagingTimeout);
    ax.setAttribute(ax.application(application.pid),
                    QLatin1String(browser ? "AXEnhancedUserInterface" : "AXManualAccessibility"),
                    true);
}

bool trusted()
{
    return Accessibility::standard().isTrusted();
}

bool requestAccess()
{
    return Accessibility::standard().requestTrust();
}

} // namespace TextCapture
