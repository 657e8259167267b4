#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QUrl>
#include <exception>
#include <functional>
#include <string>
#include <utility>

using HttpHeaders = QList<std::pair<QByteArray, QByteArray>>;

struct HttpRequest {
    QUrl url;
    QByteArray method = "GET";
    HttpHeaders headers; // sent in this order, as given
    QByteArray body;
    // Seconds the transfer may stay idle (nothing sent or received, connecting included)
    // before it fails as timed out. Zero or less: no time-out.
    double timeout = 60;
};

// The status of the final response (after redirects) and, from Http::send, its whole body.
struct HttpResponse {
    int status = 0;  // 0 when the answer was not HTTP
    QByteArray body; // empty from Http::lines
};

// A transport failure: no HTTP answer came back whole. An HTTP status of any value is not an
// error at this level; callers judge statuses themselves.
class HttpError : public std::exception {
public:
    enum Kind {
        CannotConnect,  // connection refused: nothing listens there
        HostNotFound,   // the name did not resolve
        TimedOut,       // idle longer than the request's time-out
        Cancelled,      // the caller's cancellation check said stop
        ConnectionLost, // the server closed the connection before the answer was whole
        TooManyRedirects,
        SecureConnectionFailed,
        BadUrl,     // not an http or https URL
        BadResponse // the server's answer was not valid HTTP
    };

    explicit HttpError(Kind kind, QString detail = {});

    Kind kind() const { return m_kind; }
    // One short sentence for the user, e.g. "Could not connect to the server."
    QString localizedDescription() const;
    // What the underlying library said, for logs; may be empty.
    const QString& detail() const { return m_detail; }
    const char* what() const noexcept override { return m_what.c_str(); }

private:
    Kind m_kind;
    QString m_detail;
    std::string m_what; // localizedDescription() as UTF-8
};

// Polled while a request runs; true means stop now.
using HttpCancelCheck = std::function<bool()>;
// Called for every line of the body as it arrives, without its terminator (LF, CR or CR LF).
// The response carries the final status and headers. Returning false stops the read and
// closes the connection; the call then returns normally.
using HttpLineHandler = std::function<bool(const HttpResponse& head, const QByteArray& line)>;

// The program's HTTP client, for code that runs on worker threads and may block.
//
// Each call is independent: it opens its own connections and closes them before it returns,
// so calls on different threads share nothing. Redirects are followed (never from https to
// http). A call checks `isCancelled` every few milliseconds; when it says stop, the
// connection is closed and the call throws HttpError::Cancelled within about 50 ms.
// On a thread with an event loop of its own (the main thread) a call runs a nested loop
// while it waits, so events of that thread are delivered meanwhile.
class Http {
public:
    virtual ~Http() = default;

    // The process's client. Stateless, so it may be used from any thread at once.
    static Http& shared();

    // Sends the request and waits for the whole answer. Throws HttpError.
    virtual HttpResponse send(const HttpRequest& request,
                              const HttpCancelCheck& isCancelled = {}) const = 0;

    // Sends the request and hands the body to `onLine` line by line as it arrives. A last
    // line without terminator is delivered when the body ends; an empty body delivers
    // nothing. Returns the response head once the body has ended or `onLine` stopped it.
    // Throws HttpError, also after some lines were delivered (a connection lost mid-body);
    // an exception thrown by `onLine` closes the connection and travels out unchanged.
    virtual HttpResponse lines(const HttpRequest& request, const HttpLineHandler& onLine,
                               const HttpCancelCheck& isCancelled = {}) const = 0;
};
