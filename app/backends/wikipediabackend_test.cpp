#include "backends/jsonbody.h"
#include "backends/wikipediabackend.h"
#include "lookup/backenderror.h"
#include "platform/http.h"
#include "platform/preferences.h"
#include "tests/support/eventwait.h"
#include "tests/support/httptestserver.h"

#include <QJsonArray>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using Reply = HttpTestServer::Reply;

namespace {

const QByteArray kSummaryPath = "/api/rest_v1/page/summary/";

QJsonObject summary(const QString& title)
{
    return QJsonObject{
        {u"title"_s, title},
        {u"description"_s, u"field of study"_s},
        {u"extract"_s, u"An extract about "_s + title + '.'},
        {u"type"_s, u"standard"_s},
        {u"content_urls"_s,
         QJsonObject{{u"desktop"_s, QJsonObject{{u"page"_s, u"https://en.wikipedia.org/wiki/"_s +
                                                                WikipediaBackend::slug(title)}}}}},
    };
}

class WikipediaBackendTest : public ::testing::Test {
protected:
    WikipediaBackendTest() { preferences.setValue(u"backend.wikipedia.url"_s, server.base()); }

    WikipediaBackend backend() const
    {
        return WikipediaBackend(BackendInfo{u"wikipedia"_s, u"Wikipedia"_s, u"globe"_s, 60},
                                preferences);
    }

    LookupStream start(const QString& term) const
    {
        return backend().lookup(LookupQuery{term, std::nullopt, std::nullopt});
    }
    // The lists the lookup of `term` yielded.
    QList<LookupItems> look(const QString& term) const { return start(term).waitForAll(); }

    HttpTestServer server;
    QTemporaryDir dir;
    Preferences preferences{dir.path() + u"/peekwell.conf"_s};
};

TEST_F(WikipediaBackendTest, ASummaryBecomesOneItemFromAGetWithTheUserAgent)
{
    server.on(kSummaryPath + "machine_learning", Reply::json(summary(u"Machine learning"_s)));
    const QList<LookupItems> lists = look(u"machine learning"_s);
    ASSERT_EQ(lists.size(), 1);
    ASSERT_EQ(lists[0].size(), 1);
    const LookupItem& item = lists[0][0];
    EXPECT_EQ(item.id, u"Machine learning"_s);
    EXPECT_EQ(item.title, u"Machine learning"_s);
    EXPECT_EQ(item.detail, u"field of study"_s);
    EXPECT_EQ(item.body, u"An extract about Machine learning."_s);
    EXPECT_EQ(item.url, QUrl(u"https://en.wikipedia.org/wiki/Machine_learning"_s));

    ASSERT_EQ(server.requests().size(), 1);
    const HttpTestServer::Request request = server.requests()[0];
    EXPECT_EQ(request.method, QByteArray("GET"));
    EXPECT_EQ(request.target, kSummaryPath + "machine_learning");
    EXPECT_EQ(request.header("User-Agent"),
              QByteArray("Peekwell/0.1 (personal Linux lookup tool)"));
    EXPECT_TRUE(request.body.isEmpty());
}

TEST_F(WikipediaBackendTest, TheRequestPathIsExactlyTheEncodedSlug)
{
    const QList<std::pair<QString, QByteArray>> cases = {
        {u"AC/DC"_s, "AC/DC"},
        {u"what?"_s, "what%3F"},
        {u"100% sure"_s, "100%25_sure"},
        {u"Ça va"_s, "%C3%87a_va"},
        {QString::fromUtf8("\xF0\x9F\x98\x80"), "%F0%9F%98%80"},
        {u"Rock 'n' roll (music)"_s, "Rock_'n'_roll_(music)"},
        {u" two  blanks "_s, "_two__blanks_"},
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
    QJsonObject badPage = summary(u"Bad"_s);
    badPage[u"content_urls"_s] =
        QJsonObject{{u"desktop"_s, QJsonObject{{u"page"_s, u"http://[::1"_s}}}};
    const QJsonObject mistyped{
        {u"title"_s, 42},
        {u"description"_s, QJsonValue::Null},
        {u"extract"_s, QJsonArray{u"text"_s}},
        {u"content_urls"_s, QJsonObject{{u"desktop"_s, u"not an object"_s}}}};
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
    LookupStream missing = start(u"Nowhere"_s);
    EXPECT_EQ(failureOf(missing), QString());
    EXPECT_TRUE(missing.waitForAll().isEmpty());

    const QList<std::tuple<QByteArray, Reply, QString>> cases = {
        {"Broken", Reply::text(500, "oops"), u"Wikipedia returned 500"_s},
        {"Html", Reply::text(200, "<html>maintenance</html>"), JsonBody::parseErrorText()},
        {"Empty", Reply::text(200, {}), JsonBody::parseErrorText()},
        {"List", Reply::json(QJsonArray{1, 2}), u"Wikipedia returned 200"_s},
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
    server.on(kSummaryPath + "Word", Reply::json(summary(u"First"_s)));
    other.on(kSummaryPath + "Word", Reply::json(summary(u"Second"_s)));
    const WikipediaBackend source = backend();
    const LookupQuery query{u"Word"_s, std::nullopt, std::nullopt};
    EXPECT_EQ(source.lookup(query).waitForAll().value(0).value(0).title, u"First"_s);
    preferences.setValue(u"backend.wikipedia.url"_s, other.base() + '/');
    EXPECT_EQ(source.lookup(query).waitForAll().value(0).value(0).title, u"Second"_s);
    EXPECT_EQ(other.requests().value(0).target, kSummaryPath + "Word");

    // Not a URL at all: nothing to show, nothing sent.
    preferences.setValue(u"backend.wikipedia.url"_s, u"no url"_s);
    EXPECT_TRUE(source.lookup(query).waitForAll().isEmpty());
    EXPECT_EQ(server.requests().size() + other.requests().size(), 2);
}

TEST_F(WikipediaBackendTest, CancellingTheLookupStopsTheProducerAndClosesTheConnection)
{
    server.on(kSummaryPath + "Slow", Reply::silence());
    LookupStream stream = start(u"Slow"_s);
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
