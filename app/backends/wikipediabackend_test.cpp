#include "backenderror.h"
#include "eventwait.h"
#include "http.h"
#include "httptestserver.h"
#include "jsonbody.h"
#include "preferences.h"
#include "wikipediabackend.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Reply = HttpTestServer::Reply;

namespace {

const QByteArray kSummaryPath = "/api/rest_v1/page/summary/";

QJsonObject summary(const QString& title)
{
    return QJsonObject{
        {QStringLiteral("title"), title},
        {QStringLiteral("description"), QStringLiteral("field of study")},
        {QStringLiteral("extract"), QStringLiteral("An extract about ") + title + '.'},
        {QStringLiteral("type"), QStringLiteral("standard")},
        {QStringLiteral("content_urls"),
         QJsonObject{{QStringLiteral("desktop"),
                      QJsonObject{{QStringLiteral("page"),
                                   QStringLiteral("https://en.wikipedia.org/wiki/") +
                                       WikipediaBackend::slug(title)}}}}},
    };
}

class WikipediaBackendTest : public ::testing::Test {
protected:
    WikipediaBackendTest()
    {
        preferences.setValue(QStringLiteral("backend.wikipedia.url"), server.base());
    }

    WikipediaBackend backend(double timeout = 10) const
    {
        return WikipediaBackend(BackendInfo{QStringLiteral("wikipedia"),
                                            QStringLiteral("Wikipedia"), QStringLiteral("globe"),
                                            timeout},
                                preferences);
    }

    LookupStream start(const QString& term, double timeout = 10) const
    {
        return backend(timeout).lookup(LookupQuery{term, std::nullopt, std::nullopt});
    }
    // The lists the lookup of `term` yielded.
    QList<LookupItems> look(const QString& term) const { return start(term).waitForAll(); }

    HttpTestServer server;
    QTemporaryDir dir;
    Preferences preferences{dir.path() + QStringLiteral("/peekwell.conf")};
};

TEST_F(WikipediaBackendTest, ASummaryBecomesOneItemFromAGetWithTheUserAgent)
{
    server.on(kSummaryPath + "machine_learning",
              Reply::json(summary(QStringLiteral("Machine learning"))));
    const QList<LookupItems> lists = look(QStringLiteral("machine learning"));
    ASSERT_EQ(lists.size(), 1);
    ASSERT_EQ(lists[0].size(), 1);
    const LookupItem& item = lists[0][0];
    EXPECT_EQ(item.id, QStringLiteral("Machine learning"));
    EXPECT_EQ(item.title, QStringLiteral("Machine learning"));
    EXPECT_EQ(item.detail, QStringLiteral("field of study"));
    EXPECT_EQ(item.body, QStringLiteral("An extract about Machine learning."));
    EXPECT_EQ(item.url, QUrl(QStringLiteral("https://en.wikipedia.org/wiki/Machine_learning")));

    ASSERT_EQ(server.requests().size(), 1);
    const HttpTestServer::Request request = server.requests()[0];
    EXPECT_EQ(request.method, QByteArray("GET"));
    EXPECT_EQ(request.target, kSummaryPath + "machine_learning");
    EXPECT_EQ(request.header("User-Agent"),
              QByteArray("Peekwell/0.1 (personal macOS lookup tool)"));
    EXPECT_TRUE(request.body.isEmpty());
}

TEST_F(WikipediaBackendTest, TheRequestPathIsExactlyTheEncodedSlug)
{
    const QList<std::pair<QString, QByteArray>> cases = {
        {QStringLiteral("AC/DC"), "AC/DC"},
        {QStringLiteral("what?"), "what%3F"},
        {QStringLiteral("C#"), "C%23"},
        {QStringLiteral("100% sure"), "100%25_sure"},
        {QStringLiteral("Ça va"), "%C3%87a_va"},
        {QStringLiteral("東京"), "%E6%9D%B1%E4%BA%AC"},
        {QString::fromUtf8("\xF0\x9F\x98\x80"), "%F0%9F%98%80"},
        {QStringLiteral("Rock 'n' roll (music)"), "Rock_'n'_roll_(music)"},
        {QStringLiteral(" two  blanks "), "_two__blanks_"},
    };
    for (const auto& [term, encoded] : cases) {
        server.on(kSummaryPath + encoded, Reply::json(summary(term)));
        const QList<LookupItems> lists = look(term);
        ASSERT_EQ(lists.size(), 1) << term.toStdString();
        EXPECT_EQ(lists[0][0].title, term);
        EXPECT_EQ(server.requests().back().target, kSummaryPath + encoded) << term.toStdString();
    }
}

TEST_F(WikipediaBackendTest, MissingOrMistypedFieldsFallBack)
{
    QJsonObject badPage = summary(QStringLiteral("Bad"));
    badPage[QStringLiteral("content_urls")] =
        QJsonObject{{QStringLiteral("desktop"),
                     QJsonObject{{QStringLiteral("page"), QStringLiteral("http://[::1")}}}};
    const QJsonObject mistyped{
        {QStringLiteral("title"), 42},
        {QStringLiteral("description"), QJsonValue::Null},
        {QStringLiteral("extract"), QJsonArray{QStringLiteral("text")}},
        {QStringLiteral("content_urls"),
         QJsonObject{{QStringLiteral("desktop"), QStringLiteral("not an object")}}}};
    const QList<std::tuple<QString, QByteArray, QJsonObject, LookupItem>> cases = {
        {"deep learning", "deep_learning", {}, {"deep_learning", "deep learning", {}, {}, {}}},
        {"odd", "odd", mistyped, {"odd", "odd", {}, {}, {}}},
        {"Bad",
         "Bad",
         badPage,
         {"Bad", "Bad", "field of study", "An extract about Bad.", std::nullopt}},
    };
    for (const auto& [term, slug, json, expected] : cases) {
        server.on(kSummaryPath + slug, Reply::json(json));
        EXPECT_EQ(look(term), QList<LookupItems>{LookupItems{expected}}) << slug.constData();
    }
}

TEST_F(WikipediaBackendTest, StatusesOtherThan200AndBodiesThatAreNotObjects)
{
    server.on(kSummaryPath + "Nowhere", Reply::text(404, R"({"type":"not_found"})"));
    LookupStream missing = start(QStringLiteral("Nowhere"));
    EXPECT_EQ(failureOf(missing), QString());
    EXPECT_TRUE(missing.waitForAll().isEmpty());

    const QList<std::tuple<QByteArray, Reply, QString>> cases = {
        {"Broken", Reply::text(500, "oops"), QStringLiteral("Wikipedia returned 500")},
        {"Busy", Reply::text(503, {}), QStringLiteral("Wikipedia returned 503")},
        {"Html", Reply::text(200, "<html>maintenance</html>"), JsonBody::parseErrorText()},
        {"Empty", Reply::text(200, {}), JsonBody::parseErrorText()},
        {"List", Reply::json(QJsonArray{1, 2}), QStringLiteral("Wikipedia returned 200")},
        {"Text", Reply::text(200, R"("just a string")"), QStringLiteral("Wikipedia returned 200")},
    };
    for (const auto& [slug, reply, message] : cases) {
        server.on(kSummaryPath + slug, reply);
        LookupStream stream = start(QString::fromLatin1(slug));
        EXPECT_EQ(failureOf(stream), message) << slug.constData();
        EXPECT_TRUE(stream.future().results().isEmpty()) << slug.constData();
    }
}

TEST_F(WikipediaBackendTest, ThePreferenceIsReadAtEveryLookup)
{
    HttpTestServer other;
    server.on(kSummaryPath + "Word", Reply::json(summary(QStringLiteral("First"))));
    other.on(kSummaryPath + "Word", Reply::json(summary(QStringLiteral("Second"))));
    const WikipediaBackend source = backend();
    const LookupQuery query{QStringLiteral("Word"), std::nullopt, std::nullopt};
    EXPECT_EQ(source.lookup(query).waitForAll().value(0).value(0).title, QStringLiteral("First"));
    preferences.setValue(QStringLiteral("backend.wikipedia.url"), other.base() + '/');
    EXPECT_EQ(source.lookup(query).waitForAll().value(0).value(0).title, QStringLiteral("Second"));
    EXPECT_EQ(other.requests().value(0).target, kSummaryPath + "Word");

    // Not a URL at all: nothing to show, nothing sent.
    preferences.setValue(QStringLiteral("backend.wikipedia.url"), QStringLiteral("no url"));
    EXPECT_TRUE(source.lookup(query).waitForAll().isEmpty());
    EXPECT_EQ(server.requests().size() + other.requests().size(), 2);
}

TEST_F(WikipediaBackendTest, AServerThatNeverAnswersTimesOutAndIsHungUpOn)
{
    server.on(kSummaryPath + "Slow", Reply::silence());
    EXPECT_EQ(failureOf(start(QStringLiteral("Slow"), 0.3)),
              QStringLiteral("The request timed out."));
    EXPECT_TRUE(server.waitForClientClose(1));
}

TEST_F(WikipediaBackendTest, CancellingTheLookupStopsTheProducerAndClosesTheConnection)
{
    server.on(kSummaryPath + "Slow", Reply::silence());
    LookupStream stream = start(QStringLiteral("Slow"), 600);
    ASSERT_TRUE(server.waitForRequests(1));
    stream.cancel();
    QFuture<LookupItems> future = stream.future();
    future.waitForFinished();
    try {
        std::rethrow_exception(stream.error());
    } catch (const HttpError& error) {
        EXPECT_EQ(error.kind(), HttpError::Cancelled);
    } catch (...) {
        ADD_FAILURE() << "the producer did not end with its cancellation";
    }
    EXPECT_TRUE(server.waitForClientClose(1));
}

} // namespace
