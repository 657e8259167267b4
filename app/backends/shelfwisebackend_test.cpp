#include "LookupCore/textspanfinder.h"
#include "backends/jsonbody.h"
#include "backends/shelfwisebackend.h"
#include "lookup/backenderror.h"
#include "platform/http.h"
#include "tests/support/eventwait.h"
#include "tests/support/httptestserver.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using Reply = HttpTestServer::Reply;

namespace {

const QString kTerm = u"entropy"_s;

QString document(int n)
{
    return u"Chapter %1. "_s.arg(n) + QString(150, QLatin1Char('x')) +
           u" In thermodynamics, Entropy measures disorder (doc %1). "_s.arg(n) +
           QString(150, QLatin1Char('y'));
}

QJsonObject result(const QString& id, const QString& title, const QStringList& tags = {})
{
    return QJsonObject{
        {u"id"_s, id}, {u"title"_s, title}, {u"tags"_s, QJsonArray::fromStringList(tags)}};
}

QJsonObject toolAnswer(const QJsonObject& content)
{
    return QJsonObject{{u"isError"_s, false}, {u"structuredContent"_s, content}};
}

// A Shelfwise server under /shelf on the test server (a base address with a path of its own):
// sw_search answers the results; sw_read answers each document's text, or the reply scripted
// for that id. Every change installs fresh handlers holding copies, so the server's thread
// shares nothing with the test.
class FakeLibrary {
public:
    explicit FakeLibrary(HttpTestServer& server) : m_server(server) { serve(); }

    // A search result with this id, title and tags, and the document's text.
    void add(const QString& id, const QString& title, const QString& text = {},
             const QStringList& tags = {})
    {
        m_texts.insert(id, text);
        add(result(id, title, tags));
    }
    void add(const QJsonObject& searchResult)
    {
        m_results.append(searchResult);
        serve();
    }
    void setRead(const QString& id, Reply reply)
    {
        m_reads.insert(id, reply);
        serve();
    }
    // Replaces the whole sw_search answer; nothing goes back to the results.
    void setSearch(std::optional<Reply> reply)
    {
        m_search = std::move(reply);
        serve();
    }

    // Ids of the documents read, in order.
    QStringList reads() const
    {
        QStringList ids;
        for (const HttpTestServer::Request& request : m_server.requests()) {
            if (request.path().endsWith("/sw_read"))
                ids.append(request.json().value(u"id"_s).toString());
        }
        return ids;
    }

private:
    void serve()
    {
        m_server.on(
            "/shelf/api/tools/sw_search",
            m_search.value_or(Reply::json(toolAnswer(QJsonObject{{u"items"_s, m_results}}))));
        m_server.on("/shelf/api/tools/sw_read", [texts = m_texts, reads = m_reads](
                                                    const HttpTestServer::Request& request) {
            const QString id = request.json().value(u"id"_s).toString();
            return reads.value(
                id, Reply::json(toolAnswer(QJsonObject{
                        {u"artifact"_s, QJsonObject{{u"content"_s, texts.value(id)}}}})));
        });
    }

    HttpTestServer& m_server;
    QJsonArray m_results;
    QMap<QString, QString> m_texts;
    QMap<QString, Reply> m_reads;
    std::optional<Reply> m_search;
};

class ShelfwiseBackendTest : public ::testing::Test {
protected:
    static ShelfwiseBackend backend(const QString& base)
    {
        return ShelfwiseBackend(BackendInfo{u"shelfwise"_s, u"Library"_s, u"books.vertical"_s, 60},
                                base);
    }
    ShelfwiseBackend backend() const { return backend(server.base() + u"/shelf"_s); }

    LookupStream look(const ShelfwiseBackend& source, const QString& term = kTerm) const
    {
        return source.lookup(LookupQuery{term, std::nullopt, std::nullopt});
    }

    HttpTestServer server;
    FakeLibrary library{server};
};

// The titles come at once, then the first three documents are read one after another, each
// read adding its excerpt to a list of its own.
TEST_F(ShelfwiseBackendTest, TitlesComeFirstThenExcerptsOfTheFirstThree)
{
    library.add(u"d1"_s, u"Heat"_s, document(1),
                {u"comment:great"_s, u"physics"_s, u"thermo"_s, u"comment:x"_s, u"notes"_s,
                 u"2024"_s, u"fifth"_s});
    for (int n = 2; n <= 4; ++n)
        library.add(u"d%1"_s.arg(n), u"Doc %1"_s.arg(n), document(n));

    const QList<LookupItems> lists = look(backend()).waitForAll();
    ASSERT_EQ(lists.size(), 4);
    for (int step = 0; step < 4; ++step) {
        ASSERT_EQ(lists[step].size(), 4);
        for (int i = 0; i < 4; ++i) {
            const std::optional<QString> excerpt =
                i < step ? std::optional(TextSpanFinder::snippet(document(i + 1), kTerm, 90))
                         : std::nullopt;
            EXPECT_EQ(lists[step][i].body, excerpt) << "list " << step << " item " << i;
        }
    }
    const LookupItem& first = lists[0][0];
    EXPECT_EQ(first.id, u"d1"_s);
    EXPECT_EQ(first.title, u"Heat"_s);
    EXPECT_EQ(first.detail, u"physics · thermo · notes · 2024"_s);
    EXPECT_EQ(first.url, server.url(u"/shelf/a/d1"_s));
    EXPECT_EQ(lists[0][1].detail, QString());
    EXPECT_TRUE(lists[1][0].body->contains(u"Entropy measures"_s));

    const HttpTestServer::Request search = server.requests().first();
    EXPECT_EQ(search.method, QByteArray("POST"));
    EXPECT_EQ(search.target, QByteArray("/shelf/api/tools/sw_search"));
    EXPECT_EQ(search.header("Content-Type"), QByteArray("application/json"));
    EXPECT_EQ(search.json(), (QJsonObject{{u"text"_s, kTerm}, {u"limit"_s, 8}}));
    EXPECT_EQ(library.reads(), (QStringList{u"d1"_s, u"d2"_s, u"d3"_s}));
}

TEST_F(ShelfwiseBackendTest, OddResultsAreDroppedOrFallBack)
{
    library.add(QJsonObject{{u"title"_s, u"no id"_s}});
    library.add(QJsonObject{{u"id"_s, 7}, {u"title"_s, u"number"_s}});
    library.add(QJsonObject{{u"id"_s, u"untitled"_s}, {u"tags"_s, QJsonArray{u"ok"_s, 3}}});
    library.add(
        QJsonObject{{u"id"_s, u"odd id?#"_s}, {u"title"_s, 12}, {u"tags"_s, u"not a list"_s}});
    library.add(u"notes"_s, u"Notes"_s, {}, {u"comment:a"_s});
    const QList<LookupItems> lists = look(backend()).waitForAll();
    ASSERT_FALSE(lists.isEmpty());
    const LookupItems& items = lists.first();
    ASSERT_EQ(items.size(), 3);
    EXPECT_EQ(items[0].id, u"untitled"_s);
    EXPECT_EQ(items[0].title, u"untitled"_s);
    EXPECT_EQ(items[0].detail, QString()); // one tag is not a string: no tags at all
    EXPECT_EQ(items[1].title, u"odd id?#"_s);
    EXPECT_EQ(items[1].detail, QString());
    EXPECT_EQ(items[1].url->toEncoded(), server.base().toUtf8() + "/shelf/a/odd%20id%3F%23");
    EXPECT_EQ(items[2].detail, QString());

    // "items" that is not an array of objects, or no "structuredContent": an empty tab.
    const QList<Reply> empty = {
        Reply::json(toolAnswer(QJsonObject{{u"items"_s, QJsonArray{result(u"a"_s, u"A"_s), 5}}})),
        Reply::json(QJsonObject{{u"isError"_s, false}}),
        Reply::json(QJsonArray{1, 2}),
    };
    for (const Reply& reply : empty) {
        library.setSearch(reply);
        EXPECT_EQ(look(backend()).waitForAll(), QList<LookupItems>{LookupItems{}});
    }
}

TEST_F(ShelfwiseBackendTest, AReadThatFailsLeavesThatItemWithoutBody)
{
    for (const char* id : {"ok1", "broken", "error", "empty", "garbage", "ok2"})
        library.add(QString::fromLatin1(id), QString::fromLatin1(id), document(1));
    library.setRead(u"broken"_s, Reply::text(500, "{}"));
    library.setRead(
        u"error"_s,
        Reply::json(QJsonObject{
            {u"isError"_s, true},
            {u"structuredContent"_s,
             QJsonObject{{u"artifact"_s, QJsonObject{{u"content"_s, u"entropy"_s}}}}}}));
    library.setRead(u"empty"_s, Reply::json(toolAnswer({})));
    library.setRead(u"garbage"_s, Reply::text(200, "<html>"));

    const LookupItems items = backend().search(kTerm, 10);
    ASSERT_EQ(items.size(), 6);
    const QString excerpt = TextSpanFinder::snippet(document(1), kTerm, 90);
    for (qsizetype i = 0; i < items.size(); ++i) {
        const bool readable = i == 0 || i == 5;
        EXPECT_EQ(items[i].body, readable ? std::optional(excerpt) : std::nullopt)
            << items[i].id.toStdString();
    }
    EXPECT_EQ(server.requests().first().json().value(u"limit"_s).toInt(), 10);
    EXPECT_EQ(library.reads().size(), 6);
}

TEST_F(ShelfwiseBackendTest, SearchFailuresFailTheTab)
{
    const QString closed = u"http://127.0.0.1:%1/"_s.arg(HttpTestServer::closedPort());
    EXPECT_EQ(failureOf(look(backend(closed))), u"Shelfwise isn't running at "_s + closed);

    const QList<std::pair<Reply, QString>> cases = {
        {Reply::json(QJsonObject{{u"isError"_s, true}}), u"Shelfwise sw_search failed"_s},
        {Reply::json(toolAnswer({}), 500), u"Shelfwise sw_search failed"_s},
        {Reply::text(200, "Bad Gateway"), JsonBody::parseErrorText()},
    };
    for (const auto& [reply, message] : cases) {
        library.setSearch(reply);
        EXPECT_EQ(failureOf(look(backend())), message);
    }

    EXPECT_THROW(backend().search(kTerm, 5, [] { return true; }), HttpError);
    EXPECT_TRUE(library.reads().isEmpty());
}

TEST_F(ShelfwiseBackendTest, CancellingWhileWaitingStopsTheProducerAndClosesTheConnection)
{
    // Waiting on the search.
    library.setSearch(Reply::silence());
    LookupStream searching = look(backend());
    ASSERT_TRUE(server.waitForRequests(1));
    searching.cancel();
    QFuture<LookupItems>(searching.future()).waitForFinished();
    EXPECT_TRUE(server.waitForClientClose(1));
    EXPECT_THROW(std::rethrow_exception(searching.error()), HttpError);

    // Waiting on the first read: no other read follows.
    library.setSearch(std::nullopt);
    library.add(u"slow"_s, u"Slow"_s);
    library.add(u"next"_s, u"Next"_s);
    library.setRead(u"slow"_s, Reply::silence());
    const int closedBefore = server.connectionsClosedByClient();
    LookupStream reading = look(backend());
    ASSERT_TRUE(server.waitForRequests(3));
    reading.cancel();
    QFuture<LookupItems>(reading.future()).waitForFinished();
    EXPECT_TRUE(server.waitForClientClose(closedBefore + 1));
    EXPECT_EQ(reading.error(), nullptr);
    EXPECT_EQ(library.reads(), QStringList{u"slow"_s});
}

} // namespace
