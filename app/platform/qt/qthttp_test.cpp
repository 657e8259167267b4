#include "platform/http.h"
#include "tests/support/httptestserver.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <optional>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using Reply = HttpTestServer::Reply;

namespace {

HttpRequest get(const QUrl& url, double timeout = 10)
{
    HttpRequest request;
    request.url = url;
    request.timeout = timeout;
    return request;
}

// The kind of HttpError the call throws; nothing when it returns.
template <typename Call> std::optional<HttpError::Kind> failureOf(Call call)
{
    try {
        call();
    } catch (const HttpError& error) {
        return error.kind();
    }
    return std::nullopt;
}

// Runs a call on a thread of its own, as producers do, so the test's thread stays free to
// watch the server and to cancel. std::future hands the outcome over where ThreadSanitizer sees
// it (it does not see QThread::wait).
std::future<void> background(std::function<void()> call)
{
    return std::async(std::launch::async, std::move(call));
}

// Waits for the call to end and returns the kind of HttpError it threw.
std::optional<HttpError::Kind> failureOf(std::future<void>& call)
{
    return failureOf([&] { call.get(); });
}

class HttpTest : public ::testing::Test {
protected:
    // The lines of the body at `path`. Every line must come with the answer's status, 200.
    QList<QByteArray> linesOf(const char* path, double timeout = 10)
    {
        QList<QByteArray> lines;
        QList<int> statuses;
        const HttpResponse response =
            http.lines(get(server.url(QString::fromLatin1(path)), timeout),
                       [&](const HttpResponse& first, const QByteArray& line) {
                           statuses.append(first.status);
                           lines.append(line);
                           return true;
                       });
        EXPECT_EQ(response.status, 200) << path;
        EXPECT_EQ(statuses, QList<int>(lines.size(), 200)) << path;
        return lines;
    }

    HttpTestServer server;
    Http& http = Http::shared();
};

// What goes out (method, target, headers, body) and what comes back (statuses, bodies read
// whole or by lines) are proven through the sources and the model executor, which all call this
// client.
TEST_F(HttpTest, RedirectsAreFollowedUntilTheyLoop)
{
    server.on("/old", Reply::text(301, {}).header("Location", "/new"));
    server.on("/new",
              Reply::text(307, {}).header("Location", server.url(u"/newest"_s).toEncoded()));
    server.on("/newest", Reply::text(200, "here"));
    const HttpResponse response = http.send(get(server.url(u"/old"_s)));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, QByteArray("here"));
    // QtNetwork may send a redirected request twice when it drops the connection the
    // redirect came on; what counts is the way from the old address to the newest.
    QList<QByteArray> way;
    for (const HttpTestServer::Request& request : server.requests()) {
        if (way.isEmpty() || way.back() != request.path())
            way.append(request.path());
    }
    EXPECT_EQ(way, (QList<QByteArray>{"/old", "/new", "/newest"}));

    server.on("/loop", Reply::text(302, {}).header("Location", "/loop"));
    EXPECT_EQ(failureOf([&] { http.send(get(server.url(u"/loop"_s))); }),
              HttpError::TooManyRedirects);
}

TEST_F(HttpTest, LinesEndAtLfCrOrCrLfEvenWhenSplitAcrossPieces)
{
    server.on("/lines", Reply::stream()
                            .send("one\ntwo\r")
                            .pause(20ms)
                            .send("\nthree\rfour\r\n\nfi")
                            .pause(20ms)
                            .send("ve\r")
                            .send("\r\nsix"));
    EXPECT_EQ(linesOf("/lines"),
              (QList<QByteArray>{"one", "two", "three", "four", "", "five", "", "six"}));

    server.on("/empty", Reply::text(200, {}));
    EXPECT_TRUE(linesOf("/empty").isEmpty());
}

// A body that never ends still delivers its lines as they come; the reader may stop it, or
// throw, and either way the connection is closed.
TEST_F(HttpTest, LinesArriveAsTheyComeAndTheReaderMayStopOrThrow)
{
    server.on("/endless", Reply::stream().line("first").line("second").neverEnd());
    QList<QByteArray> lines;
    const HttpResponse response = http.lines(get(server.url(u"/endless"_s)),
                                             [&](const HttpResponse&, const QByteArray& line) {
                                                 lines.append(line);
                                                 return line != "second";
                                             });
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(lines, (QList<QByteArray>{"first", "second"}));
    EXPECT_TRUE(server.waitForClientClose(1));

    EXPECT_THROW(http.lines(get(server.url(u"/endless"_s)),
                            [](const HttpResponse&, const QByteArray&) -> bool {
                                throw std::runtime_error("reader failed");
                            }),
                 std::runtime_error);
    EXPECT_TRUE(server.waitForClientClose(2));
}

TEST_F(HttpTest, BadAddressesAndCallsCancelledBeforeTheyStartSendNothing)
{
    for (const char* text : {"ftp://127.0.0.1/file", "not a url", "http://"}) {
        EXPECT_EQ(failureOf([&] { http.send(get(QUrl(QString::fromLatin1(text)))); }),
                  HttpError::BadUrl)
            << text;
    }
    EXPECT_EQ(failureOf([&] { http.send(get(server.url(u"/any"_s)), [] { return true; }); }),
              HttpError::Cancelled);
    EXPECT_EQ(server.connectionsOpened(), 0);
}

TEST_F(HttpTest, AServerThatClosesEarlyLosesTheConnection)
{
    server.on("/half", Reply::text(200, "a body that is cut in half").closeEarly());
    server.on("/nothing", Reply::raw({}));
    // Something that is not an HTTP server answers and hangs up.
    server.on("/garbage", Reply::raw("SSH-2.0-OpenSSH_9.2\r\nProtocol mismatch.\r\n"));
    for (const char* path : {"/half", "/nothing", "/garbage"}) {
        EXPECT_EQ(failureOf([&] { http.send(get(server.url(QString::fromLatin1(path)))); }),
                  HttpError::ConnectionLost)
            << path;
    }
    // A stream cut before its last chunk is not a whole answer, however much of it came.
    server.on("/cut", Reply::stream().line("first").pause(20ms).line("second").closeEarly());
    EXPECT_EQ(failureOf([&] { linesOf("/cut"); }), HttpError::ConnectionLost);
    EXPECT_EQ(failureOf([&] { http.send(get(server.url(u"/cut"_s))); }), HttpError::ConnectionLost);
}

TEST_F(HttpTest, IdleLongerThanTheTimeOutTimesOutAndCloses)
{
    server.on("/silent", Reply::silence());
    EXPECT_EQ(failureOf([&] { http.send(get(server.url(u"/silent"_s), 0.2)); }),
              HttpError::TimedOut);
    EXPECT_TRUE(server.waitForClientClose(1));

    // The time-out counts idleness, not the whole transfer: a slow but steady stream finishes.
    server.on("/slow", Reply::stream().line("a").pause(100ms).line("b").pause(100ms).line("c"));
    EXPECT_EQ(linesOf("/slow", 5), (QList<QByteArray>{"a", "b", "c"}));

    server.on("/stalls", Reply::stream().line("a").neverEnd());
    QList<QByteArray> lines;
    EXPECT_EQ(failureOf([&] {
                  http.lines(get(server.url(u"/stalls"_s), 0.2),
                             [&](const HttpResponse&, const QByteArray& line) {
                                 lines.append(line);
                                 return true;
                             });
              }),
              HttpError::TimedOut);
    EXPECT_EQ(lines, QList<QByteArray>{"a"});
    EXPECT_TRUE(server.waitForClientClose(2));
}

// Both a call waiting for its answer and a read of a body that never ends stop when cancelled.
TEST_F(HttpTest, CancellingStopsTheCallOrTheReadAndClosesTheConnection)
{
    server.on("/silent", Reply::silence());
    server.on("/endless", Reply::stream().line("first").neverEnd());
    std::atomic<bool> cancelled{false};
    const auto isCancelled = [&] { return cancelled.load(); };
    std::atomic<int> lines{0};
    const QList<std::function<void()>> calls = {
        [&] { http.send(get(server.url(u"/silent"_s), 0), isCancelled); },
        [&] {
            http.lines(
                get(server.url(u"/endless"_s), 0),
                [&](const HttpResponse&, const QByteArray&) { return ++lines > 0; }, isCancelled);
        },
    };
    for (int i = 0; i < calls.size(); ++i) {
        cancelled = false;
        std::future<void> call = background(calls[i]);
        ASSERT_TRUE(server.waitForRequests(i + 1));
        cancelled = true;
        EXPECT_EQ(failureOf(call), HttpError::Cancelled) << i;
        EXPECT_TRUE(server.waitForClientClose(i + 1)) << i;
    }
    EXPECT_LE(lines.load(), 1);
}

// Calls on several threads at once share nothing: each gets its own answer.
TEST_F(HttpTest, CallsOnManyThreadsAtOnceEachGetTheirOwnAnswer)
{
    server.on("/who", [](const HttpTestServer::Request& request) {
        return Reply::stream().pause(20ms).send(request.header("X-Caller"));
    });
    constexpr int kCalls = 8;
    std::vector<QByteArray> answers(kCalls);
    std::vector<std::future<void>> calls;
    for (int i = 0; i < kCalls; ++i) {
        calls.push_back(background([&, i] {
            HttpRequest request = get(server.url(u"/who"_s));
            request.headers = {{"X-Caller", QByteArray::number(i)}};
            answers[i] = http.send(request).body;
        }));
    }
    for (auto& call : calls)
        EXPECT_EQ(failureOf(call), std::nullopt);
    for (int i = 0; i < kCalls; ++i)
        EXPECT_EQ(answers[i], QByteArray::number(i));
    EXPECT_EQ(server.requests().size(), kCalls);
}

} // namespace
