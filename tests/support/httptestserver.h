#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

class QThread;

// A real HTTP/1.1 server on 127.0.0.1 for tests, on a free port chosen by the system. It runs
// on a thread of its own, so a test may block its own thread (waiting for a stream, say) while
// the server answers. Every test scripts it afresh: per path, a fixed reply or a function of the
// request. It records every request it received and notices when a client closes a connection.
//
// Connections stay open between requests (keep-alive) unless a reply ends them. Requests to a
// path without a script get a 404. All members may be called from any thread.
class HttpTestServer {
    class Connection;
    struct State;

public:
    using Headers = QList<std::pair<QByteArray, QByteArray>>;

    struct Request {
        QByteArray method;
        QByteArray target; // as sent: path and query, still percent-encoded
        Headers headers;
        QByteArray body;

        QByteArray path() const; // the target without its query
        // The first header of that name, compared without regard to case; empty when absent.
        QByteArray header(const QByteArray& name) const;
        // The body parsed as a JSON object; empty when it is not one.
        QJsonObject json() const;
    };

    // What the server does with one request. Build with one of the static makers, then add to it.
    class Reply {
    public:
        // A body sent whole, with its Content-Length.
        static Reply text(int status, QByteArray body,
                          QByteArray contentType = "text/plain; charset=utf-8");
        // An object or array, serialised compactly, as application/json.
        static Reply json(const QJsonValue& value, int status = 200);
        // A body in chunked transfer encoding, made of send(), line() and pause() steps.
        static Reply stream(int status = 200, QByteArray contentType = "text/event-stream");
        // Reads the request and never answers; the connection stays open.
        static Reply silence();
        // Writes these bytes as they are (no HTTP head of its own) and closes, or with neverEnd()
        // keeps the connection open.
        static Reply raw(QByteArray bytes);

        Reply& header(QByteArray name, QByteArray value);
        // Streamed replies: one chunk of bytes as given; a line and "\n"; a pause between chunks.
        Reply& send(QByteArray bytes);
        Reply& line(const QByteArray& text);
        Reply& pause(std::chrono::milliseconds wait);
        // Ends the body short and closes the connection: a fixed body announces its whole length
        // and sends the first half; a stream stops after its steps without the final chunk.
        Reply& closeEarly();
        // The body never ends: a fixed body sends its first half, a stream its steps, and then
        // the connection stays open without another byte.
        Reply& neverEnd();

    private:
        friend class HttpTestServer::Connection;
        // What a connection does next while answering. A stream's steps are its chunks, already
        // in chunked encoding, and its pauses.
        struct Step {
            enum Kind { Write, Wait, Close, Hang } kind;
            QByteArray bytes{};
            std::chrono::milliseconds wait{0};
        };
        enum class Shape { Fixed, Streamed, Raw };
        enum class End { Whole, Close, Hang };

        Shape m_shape = Shape::Fixed;
        End m_end = End::Whole;
        int m_status = 200;
        Headers m_headers;
        QByteArray m_body;
        std::vector<Step> m_steps;
    };

    using Handler = std::function<Reply(const Request&)>;

    HttpTestServer();
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;

    // "http://127.0.0.1:<port>" without a trailing slash.
    QString base() const;
    // base() + pathAndQuery, which should start with "/".
    QUrl url(const QString& pathAndQuery = QStringLiteral("/")) const;

    // Scripts the path (the request target without its query, exactly as sent). A later script
    // for the same path replaces the earlier one. Handlers run on the server's thread.
    void on(const QByteArray& path, Reply reply);
    void on(const QByteArray& path, Handler handler);

    // Every complete request received so far, in order of arrival.
    QList<Request> requests() const;
    // Waits until at least `count` requests have arrived; false when the limit passed first.
    bool waitForRequests(qsizetype count,
                         std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

    // Connections accepted so far, and how many of them the client (not the server) closed.
    int connectionsOpened() const;
    int connectionsClosedByClient() const;
    // Waits until the client has closed at least `count` connections.
    bool waitForClientClose(int count = 1,
                            std::chrono::milliseconds limit = std::chrono::seconds(10)) const;

    // A port on 127.0.0.1 where nothing listens (it was free a moment ago).
    static quint16 closedPort();

private:
    std::shared_ptr<State> m_state;
    std::unique_ptr<QThread> m_thread; // runs the listening socket and every connection
    quint16 m_port = 0;
};
