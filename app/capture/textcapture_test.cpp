// The four capture strategies against a scripted accessibility tree.
#include "capture/textcapture.h"
#include "platform/fake/scriptedaccessibility.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;
using Element = ScriptedAccessibility::ScriptedElement;
using TextRange = Accessibility::TextRange;
using Value = Accessibility::Value;

namespace {

constexpr qint64 kPid = 4242;
const QPointF kPoint(50, 20);

class TextCaptureTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Accessibility::setStandard(&m_ax);
        m_ax.addApplication({kPid, u"Editor"_s, u"/usr/bin/editor"_s, u"editor"_s}, m_app);
    }
    void TearDown() override { Accessibility::setStandard(nullptr); }

    // An element whose text answers character-range requests, with the pointer at `index`.
    Element rangeElement(const QString& text, qsizetype index, std::optional<qint64> count,
                         const Element& parent = nullptr)
    {
        Element element = m_ax.add(kPid, parent ? parent : m_app);
        element->parameterized[u"AXRangeForPosition"_s] = [index](const Value& point) {
            EXPECT_EQ(std::get<QPointF>(point), kPoint);
            return std::optional<Value>(TextRange{index, 1});
        };
        if (count)
            element->attributes[u"AXNumberOfCharacters"_s] = *count;
        element->parameterized[u"AXStringForRange"_s] = [text](const Value& range) {
            const auto [location, length] = std::get<TextRange>(range);
            return std::optional<Value>(text.mid(location, length));
        };
        return element;
    }

    // An element that answers text-marker requests with these texts (absent: the request fails).
    Element markerElement(const Element& parent, std::optional<QString> right,
                          std::optional<QString> left, std::optional<QString> sentence)
    {
        Element element = m_ax.add(kPid, parent);
        const std::weak_ptr<ScriptedAccessibility::ScriptedNode> self = element;
        element->parameterized[u"AXTextMarkerForPosition"_s] = [self](const Value&) {
            return std::optional<Value>(Accessibility::TextMarker{self.lock(), 7});
        };
        const auto rangeOf = [self](std::optional<QString> text, qsizetype id) {
            return [self, text, id](const Value&) -> std::optional<Value> {
                if (!text)
                    return std::nullopt;
                return Accessibility::TextMarkerRange{self.lock(), id, id};
            };
        };
        element->parameterized[u"AXRightWordTextMarkerRangeForTextMarker"_s] = rangeOf(right, 1);
        element->parameterized[u"AXLeftWordTextMarkerRangeForTextMarker"_s] = rangeOf(left, 2);
        element->parameterized[u"AXSentenceTextMarkerRangeForTextMarker"_s] = rangeOf(sentence, 3);
        element->parameterized[u"AXStringForTextMarkerRange"_s] =
            [right, left, sentence](const Value& range) -> std::optional<Value> {
            const qsizetype id = std::get<Accessibility::TextMarkerRange>(range).start;
            return id == 1 ? *right : id == 2 ? *left : *sentence;
        };
        return element;
    }

    // A label whose words sit side by side on one line, 10 points per character, at y 100–120.
    Element staticText(const QString& text)
    {
        Element element = m_ax.add(kPid, m_app);
        element->attributes[u"AXRole"_s] = u"AXStaticText"_s;
        element->attributes[u"AXValue"_s] = text;
        element->parameterized[u"AXBoundsForRange"_s] = [](const Value& range) {
            const auto [location, length] = std::get<TextRange>(range);
            return std::optional<Value>(QRectF(10.0 * location, 100, 10.0 * length, 20));
        };
        return element;
    }

    void focusWithSelection(const QString& selected)
    {
        Element focused = m_ax.add(kPid, m_app);
        focused->attributes[u"AXSelectedText"_s] = selected;
        m_app->attributes[u"AXFocusedUIElement"_s] = Accessibility::Element(focused);
    }

    std::optional<CapturedText> captureAt(const Element& hit, const QPointF& point = kPoint)
    {
        m_ax.setElementAt(hit);
        return TextCapture::capture(PointerTarget{point, std::nullopt});
    }

    // The stretches the range strategy fetched.
    QList<TextRange> fetched() const
    {
        QList<TextRange> ranges;
        for (const ScriptedAccessibility::Read& read : m_ax.reads())
            if (read.name == u"AXStringForRange"_s)
                ranges.append(std::get<TextRange>(read.parameter));
        return ranges;
    }

    ScriptedAccessibility m_ax;
    Element m_app = m_ax.add(kPid);
};

TEST_F(TextCaptureTest, RangeFetchesAtMost400BeforeAnd800InAllAroundThePointer)
{
    // "w0000 w0001 …", 1,800 units: the word at any offset names its own position.
    QString text;
    for (int i = 0; i < 300; ++i)
        text += u"w%1 "_s.arg(i, 4, 10, QLatin1Char('0'));
    struct Case {
        qsizetype index;
        std::optional<qint64> count;
        std::optional<TextRange> fetch; // nothing: "range" gives up and "selection" answers
    };
    const Case cases[] = {
        {1000, text.size(), TextRange{600, 800}},
        {120, text.size(), TextRange{0, 800}}, // near the start: from 0, the offset is the index
        {1000, std::nullopt, TextRange{600, 800}}, // no count: index − 400 to index + 400
        {120, std::nullopt, TextRange{0, 520}},
        {1798, text.size(), TextRange{1398, 402}}, // the count cuts it
        {1000, 600, std::nullopt},                 // a count no greater than index − 400
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "index " << c.index << " count " << c.count.value_or(-1));
        m_ax = ScriptedAccessibility();
        m_app = m_ax.add(kPid);
        m_ax.addApplication({kPid, u"Editor"_s, {}, {}}, m_app);
        focusWithSelection(u"fallback"_s);
        const std::optional<CapturedText> captured =
            captureAt(rangeElement(text, c.index, c.count));
        ASSERT_TRUE(captured);
        if (!c.fetch) {
            EXPECT_EQ(captured->method, u"selection"_s);
            EXPECT_TRUE(fetched().isEmpty());
            continue;
        }
        EXPECT_EQ(captured->method, u"range"_s);
        EXPECT_EQ(captured->app, u"Editor"_s);
        EXPECT_EQ(captured->span.word, u"w%1"_s.arg(c.index / 6, 4, 10, QLatin1Char('0')));
        EXPECT_EQ(fetched(), QList<TextRange>{*c.fetch});
    }
}

TEST_F(TextCaptureTest, TextMarkersAreTriedOnTheElementAndFiveAncestors)
{
    // Marker-answering ancestor 3 levels up wins; right word blank → left word.
    Element top = markerElement(m_app, u"  , "_s, u"Quixotic"_s, u"Quixotic plans fail."_s);
    Element middle = m_ax.add(kPid, m_ax.add(kPid, top));
    std::optional<CapturedText> captured = captureAt(m_ax.add(kPid, middle));
    ASSERT_TRUE(captured);
    EXPECT_EQ(captured->method, u"textmarker"_s);
    EXPECT_EQ(captured->span, (TextSpan{u"Quixotic"_s, u"Quixotic plans fail."_s}));

    // Six levels up it is never asked.
    Element deep = markerElement(m_app, u"far"_s, std::nullopt, std::nullopt);
    for (int level = 0; level < 6; ++level)
        deep = m_ax.add(kPid, deep);
    EXPECT_FALSE(captureAt(deep));
}

TEST_F(TextCaptureTest, BoundsHitsAWordWithinItsWidenedBoxOfAStaticText)
{
    const Element label = staticText(u"Labels hold quiet words."_s); // "hold" spans x 70–110
    struct Case {
        QPointF point;
        std::optional<QString> word;
    };
    const Case cases[] = {
        {{80, 110}, u"hold"_s},    {{80, 98}, u"hold"_s},  // 2 points above the box
        {{80, 97}, std::nullopt},  {{69, 110}, u"hold"_s}, // 1 point left of it
        {{80, 122}, std::nullopt},                         // the widened box's bottom edge
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.point.x() << "," << c.point.y());
        const std::optional<CapturedText> captured = captureAt(label, c.point);
        EXPECT_EQ(captured ? std::optional(captured->span.word) : std::nullopt, c.word);
        if (captured) {
            EXPECT_EQ(captured->method, u"bounds"_s);
            EXPECT_EQ(captured->span.sentence, u"Labels hold quiet words."_s);
        }
    }
    EXPECT_FALSE(captureAt(staticText(QString(4000, u'a')), {5, 110}));
    EXPECT_TRUE(captureAt(staticText(QString(3999, u'a')), {5, 110}));
}

TEST_F(TextCaptureTest, EachFailureFallsThroughToTheSelectionAndNothingFoundIsNothing)
{
    // Every strategy is offered something it must turn down.
    Element hit = markerElement(m_app, u" "_s, u"."_s, std::nullopt); // words normalise away
    hit->parameterized[u"AXRangeForPosition"_s] = [](const Value&) {
        return std::optional<Value>(TextRange{-1, 1});
    };
    hit->attributes[u"AXRole"_s] = u"AXTextArea"_s;
    hit->attributes[u"AXValue"_s] = u"not a label"_s;
    EXPECT_FALSE(captureAt(hit));

    // The selection is the last resort, up to 80 characters as a reader counts them.
    focusWithSelection(u" serendipity "_s);
    const std::optional<CapturedText> captured = captureAt(hit);
    ASSERT_TRUE(captured);
    EXPECT_EQ(captured->method, u"selection"_s);
    EXPECT_EQ(captured->span.word, u"serendipity"_s);
    focusWithSelection(QString(80, u'x'));
    ASSERT_TRUE(captureAt(hit));
    EXPECT_EQ(captureAt(hit)->span, (TextSpan{QString(80, u'x'), QString(80, u'x')}));
    focusWithSelection(QString(81, u'x'));
    EXPECT_FALSE(captureAt(hit));
    // 80 accented letters of two code points each fit.
    focusWithSelection(QString(80, u'\u00e9').replace(u'\u00e9', u"e\u0301"_s));
    EXPECT_TRUE(captureAt(hit));

    EXPECT_FALSE(captureAt(nullptr));
    // Never our own windows, whatever they show.
    Element ours = rangeElement(u"our own words"_s, 2, 13);
    ours->pid = QCoreApplication::applicationPid();
    EXPECT_FALSE(captureAt(ours));
    // An application the desktop does not know leaves the name out.
    Element stranger = rangeElement(u"strange words"_s, 2, 13);
    stranger->pid = kPid + 1;
    ASSERT_TRUE(captureAt(stranger));
    EXPECT_EQ(captureAt(stranger)->app, std::nullopt);
}

TEST_F(TextCaptureTest, WebAccessibilityIsSwitchedOnOncePerProcess)
{
    QTemporaryDir folder;
    const QString electron = folder.filePath(u"code"_s);
    QDir(folder.path()).mkpath(u"resources"_s);
    QFile(folder.filePath(u"resources/app.asar"_s)).open(QIODevice::WriteOnly);
    const Element browser = m_ax.add(101);
    const Element editor = m_ax.add(102);
    m_ax.addApplication({101, u"Chromium"_s, u"/usr/lib/chromium/chromium"_s, {}}, browser);
    m_ax.addApplication({102, u"Code"_s, electron, {}}, editor);

    TextCapture::enableWebAccessibility({101, u"Chromium"_s, u"/usr/lib/chromium/chromium"_s, {}});
    TextCapture::enableWebAccessibility({101, u"Chromium"_s, u"/usr/lib/chromium/chromium"_s, {}});
    TextCapture::enableWebAccessibility({102, u"Code"_s, electron, {}});
    // A program seen once as neither is not examined again, whatever it looks like later.
    TextCapture::enableWebAccessibility({103, u"Mousepad"_s, u"/usr/bin/mousepad"_s, {}});
    TextCapture::enableWebAccessibility({103, u"Mousepad"_s, electron, {}});

    ASSERT_EQ(m_ax.writes().size(), 2);
    EXPECT_EQ(m_ax.writes()[0].element, Accessibility::Element(browser));
    EXPECT_EQ(m_ax.writes()[0].name, u"AXEnhancedUserInterface"_s);
    EXPECT_EQ(m_ax.writes()[1].element, Accessibility::Element(editor));
    EXPECT_EQ(m_ax.writes()[1].name, u"AXManualAccessibility"_s);
    EXPECT_TRUE(m_ax.writes()[1].value);
}

} // namespace
