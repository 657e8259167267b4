#include "backenderror.h"
#include "lookupitem.h"
#include "lookupquery.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

TEST(LookupQueryTest, JsonHoldsOnlyThePresentFields)
{
    const LookupQuery bare{QStringLiteral("word"), std::nullopt, std::nullopt};
    EXPECT_EQ(bare.toJson(), (QJsonObject{{QStringLiteral("term"), QStringLiteral("word")}}));

    const LookupQuery full{QStringLiteral("word"), QStringLiteral("A word."),
                           QStringLiteral("Kate")};
    const QJsonObject json = full.toJson();
    EXPECT_EQ(json.keys(), (QStringList{QStringLiteral("appName"), QStringLiteral("context"),
                                        QStringLiteral("term")}));
    EXPECT_EQ(LookupQuery::fromJson(json), full);
}

TEST(LookupQueryTest, DecodingNeedsTermAndIgnoresUnknownKeys)
{
    EXPECT_FALSE(
        LookupQuery::fromJson(QJsonObject{{QStringLiteral("context"), QStringLiteral("x")}}));
    EXPECT_FALSE(LookupQuery::fromJson(QJsonObject{{QStringLiteral("term"), 5}}));
    const auto query = LookupQuery::fromJson(
        QJsonDocument::fromJson(R"({"term":"café","extra":[1,2],"appName":"Firefox"})").object());
    ASSERT_TRUE(query);
    EXPECT_EQ(query->term, QStringLiteral("café"));
    EXPECT_EQ(query->appName, QStringLiteral("Firefox"));
    EXPECT_FALSE(query->context);
}

TEST(LookupItemTest, EveryFieldTakesPartInEquality)
{
    const LookupItem a{QStringLiteral("1"), QStringLiteral("T"), std::nullopt, QStringLiteral("b"),
                       QUrl(QStringLiteral("https://example.org/a"))};
    LookupItem b = a;
    EXPECT_EQ(a, b);
    b.url.reset();
    EXPECT_NE(a, b);
    b = a;
    b.detail = QString();
    EXPECT_NE(a, b) << "an empty detail is not an absent one";
    b = a;
    b.url = QUrl(QStringLiteral("https://example.org/a"));
    EXPECT_EQ(a, b) << "URLs compare as values";
}

TEST(BackendErrorTest, DescriptionIsTheTextShown)
{
    const BackendError error(QStringLiteral("Wikipedia returned 500"));
    EXPECT_EQ(error.localizedDescription(), QStringLiteral("Wikipedia returned 500"));
    EXPECT_STREQ(error.what(), "Wikipedia returned 500");
    EXPECT_FALSE(BackendError(std::nullopt).localizedDescription().isEmpty());
}

} // namespace
