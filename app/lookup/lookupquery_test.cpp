#include "lookup/lookupquery.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(LookupQueryTest, JsonHoldsOnlyThePresentFields)
{
    const LookupQuery bare{u"word"_s, std::nullopt, std::nullopt};
    EXPECT_EQ(bare.toJson(), (QJsonObject{{u"term"_s, u"word"_s}}));

    const LookupQuery full{u"word"_s, u"A word."_s, u"Kate"_s};
    const QJsonObject json = full.toJson();
    EXPECT_EQ(json.keys(), (QStringList{u"appName"_s, u"context"_s, u"term"_s}));
    EXPECT_EQ(LookupQuery::fromJson(json), full);
}

TEST(LookupQueryTest, DecodingNeedsTermAndIgnoresUnknownKeys)
{
    EXPECT_FALSE(LookupQuery::fromJson(QJsonObject{{u"context"_s, u"x"_s}}));
    EXPECT_FALSE(LookupQuery::fromJson(QJsonObject{{u"term"_s, 5}}));
    const auto query = LookupQuery::fromJson(
        QJsonDocument::fromJson(R"({"term":"café","extra":[1,2],"appName":"Firefox"})").object());
    ASSERT_TRUE(query);
    EXPECT_EQ(query->term, u"café"_s);
    EXPECT_EQ(query->appName, u"Firefox"_s);
    EXPECT_FALSE(query->context);
}

} // namespace
