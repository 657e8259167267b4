#include "panel/highlighted.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(HighlightedTest, MatchesIgnoreCaseAndDiacriticsAndNeverOverlap)
{
    const struct {
        QString text, term;
        QStringList emphasised;
    } cases[] = {
        // Inside words too; the term's accent is optional in the text and a combining accent
        // (U+0308) belongs to the match.
        {"Café, CAFE and cafeteria", "cafe", {"Café", "CAFE", "cafe"}},
        {"naive and nai\u0308ve", "na\u00efve", {"naive", "nai\u0308ve"}},
        {"aaaaa", "aa", {"aa", "aa"}},
        {"some text", QString(), {}},
        {QString(), "word", {}},
    };
    for (const auto& c : cases) {
        const AttributedText text = highlighted(c.text, c.term);
        EXPECT_EQ(text.text, c.text);
        EXPECT_EQ(text.emphasisedTexts(), c.emphasised) << c.text.toStdString();
    }
    EXPECT_EQ(highlighted(u"aaaaa"_s, u"aa"_s).emphasised,
              (QList<AttributedText::Range>{{0, 2}, {2, 2}}));
}

} // namespace
