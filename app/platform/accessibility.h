#pragma once

#include "platform/pointertarget.h"
#include "platform/runningapplication.h"

#include <QLatin1String>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <memory>
#include <optional>
#include <variant>

// The user interface of other programs, element by element, as the desktop's accessibility
// interface shows it: the element under a point, attributes read by name, and the two
// switches that make web views expose their pages.
//
// Every read fails by returning nothing: an element that is gone, an attribute it does not
// have, a program that does not answer within the messaging time-out. Nothing throws.
// Main thread only (the AT-SPI adapter's connection lives there).
class Accessibility {
public:
    // What an adapter keeps for one element; callers only hand it back. Elements are shared:
    // a copy names the same element, and the last copy lets it go.
    class Node {
    public:
        virtual ~Node() = default;
    };
    using Element = std::shared_ptr<Node>;

    // A stretch of an element's text in UTF-16 code units, whatever the program counts in.
    struct TextRange {
        qsizetype location = 0;
        qsizetype length = 0;
        friend bool operator==(const TextRange&, const TextRange&) = default;
    };
    // A position in an element's text, and a stretch between two positions, in the element's
    // own units: only the adapter that made them reads the offsets.
    struct TextMarker {
        Element element;
        qsizetype offset = 0;
    };
    struct TextMarkerRange {
        Element element;
        qsizetype start = 0;
        qsizetype end = 0;
    };
    using Value = std::variant<bool, qint64, QString, QPointF, TextRange, QRectF, Element,
                               QList<Element>, TextMarker, TextMarkerRange>;

    virtual ~Accessibility() = default;

    // The session's adapter (AT-SPI 2), made on first use, unless a test replaced it. The
    // replacement must outlive its use; null puts the adapter back.
    static Accessibility& standard();
    static void setStandard(Accessibility* replacement);

    // Bounds each request to another program from now on.
    virtual void setMessagingTimeout(double seconds) = 0;

    // The deepest element under the target that shows text (or the deepest element when none
    // does); null over the desktop, over a window whose program is not on the accessibility
    // bus, and over this process's own windows.
    virtual Element elementAt(const PointerTarget& target) = 0;
    // The element that stands for the application with this process id; null when no such
    // program is on the accessibility bus.
    virtual Element application(qint64 pid) = 0;
    virtual std::optional<qint64> processId(const Element& element) = 0;

    // Reads by name:
    //   plain: "AXNumberOfCharacters" (integer), "AXParent" (element), "AXRole" (string;
    //     "AXStaticText" for labels), "AXValue" (the text, string), "AXFocusedUIElement"
    //     (on an application: element), "AXSelectedText" (string), "AXChildren" (elements);
    //   parameterised: "AXRangeForPosition" (screen point → TextRange), "AXStringForRange"
    //     (TextRange → string), "AXBoundsForRange" (TextRange → screen rectangle),
    //     "AXTextMarkerForPosition" (screen point → TextMarker),
    //     "AXRightWordTextMarkerRangeForTextMarker", "AXLeftWordTextMarkerRangeForTextMarker",
    //     "AXSentenceTextMarkerRangeForTextMarker" (TextMarker → TextMarkerRange),
    //     "AXStringForTextMarkerRange" (TextMarkerRange → string).
    virtual std::optional<Value> attribute(const Element& element, QLatin1String name) = 0;
    virtual std::optional<Value> parameterizedAttribute(const Element& element, QLatin1String name,
                                                        const Value& parameter) = 0;
    // The two writes, on an application element: "AXEnhancedUserInterface" (Chromium
    // browsers) and "AXManualAccessibility" (Electron applications). Whether the program took
    // it is not reported. A null element still turns on what the session as a whole needs.
    virtual void setAttribute(const Element& element, QLatin1String name, bool value) = 0;

    // The programs on the accessibility bus, in the order the bus lists them.
    virtual QList<RunningApplication> applications() = 0;
    // The program with this process id, named as applications() names it; nothing when no
    // such process runs.
    virtual std::optional<RunningApplication> runningApplication(qint64 pid) = 0;

    // The accessibility bus answers and says accessibility is on.
    virtual bool isTrusted() = 0;
    // Turns accessibility on for the session; true when it is on afterwards.
    virtual bool requestTrust() = 0;

    // The value as a T, or nothing when it is absent or of another type.
    template <typename T> static std::optional<T> as(const std::optional<Value>& value)
    {
        if (value) {
            if (const T* inside = std::get_if<T>(&*value))
                return *inside;
        }
        return std::nullopt;
    }
};
