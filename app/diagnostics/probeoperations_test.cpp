#include "diagnostics/probeoperations.h"
#include "platform/fake/scriptedaccessibility.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

using Element = ScriptedAccessibility::ScriptedElement;

class LocateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Accessibility::setStandard(&m_ax);
        m_ax.addApplication({7, u"Mousepad"_s, u"/usr/bin/mousepad"_s, u"mousepad"_s}, m_root);
    }
    void TearDown() override { Accessibility::setStandard(nullptr); }

    // A child of the root showing `text`, each character 10 points wide (0 wide: `flat`).
    Element textChild(const QString& text, bool flat = false)
    {
        Element element = m_ax.add(7, m_root);
        element->attributes[u"AXValue"_s] = text;
        element->parameterized[u"AXBoundsForRange"_s] = [flat](const Accessibility::Value& v) {
            const auto [location, length] = std::get<Accessibility::TextRange>(v);
            return std::optional<Accessibility::Value>(
                QRectF(10.0 * location, 40, flat ? 0 : 10.0 * length, 20));
        };
        return element;
    }

    ScriptedAccessibility m_ax;
    Element m_root = m_ax.add(7);
};

TEST_F(LocateTest, FindsTheFirstVisibleOccurrenceByEitherName)
{
    textChild(u"Hello there"_s, true); // found, but without width: passed over
    textChild(u"Well, Hello"_s);
    for (const QString& name : {u"Mousepad"_s, u"mousepad"_s})
        EXPECT_EQ(ProbeOperations::locate(u"Hello"_s, name), QPointF(85, 50));
    EXPECT_FALSE(ProbeOperations::locate(u"hello"_s, u"Mousepad"_s)); // case counts
}

TEST_F(LocateTest, LooksAt3000ElementsBreadthFirst)
{
    // The root is the first element looked at, so the 2,999th child is the last one reached.
    for (int i = 0; i < 2998; ++i)
        m_ax.add(7, m_root);
    textChild(u"Serendipity"_s);
    EXPECT_TRUE(ProbeOperations::locate(u"Serendipity"_s, u"Mousepad"_s));
    m_root->children.insert(m_root->children.begin(), m_ax.add(7));
    EXPECT_FALSE(ProbeOperations::locate(u"Serendipity"_s, u"Mousepad"_s));
}

} // namespace
