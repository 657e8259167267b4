#include "platform/qt/qthttp.h"

#include "platform/qt/linesplitter.h"

#include <QEventLoop>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <exception>
#include <optional>

Q_LOGGING_CATEGORY(lcHttp, "peekwell.platform.http", QtWarningMsg)

namespace {

// How often a running call looks at its cancellation check.
constexpr int kCancelPollMs = 10;

HttpError::Kind kindOf(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return HttpError::CannotConnect;
    case QNetworkReply::HostNotFoundError:
        return HttpError::HostNotFound;
    case QNetworkReply::TimeoutError:
        return HttpError::TimedOut;
    case QNetworkReply::OperationCanceledError:
        return HttpError::Cancelled;
    case QNetworkReply::TooManyRedirectsError:
    case QNetworkReply::InsecureRedirectError:
        return HttpError::TooManyRedirects;
    case QNetworkReply::SslHandshakeFailedError:
        return HttpError::SecureConnectionFailed;
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError:
        return HttpError::BadUrl;
    case QNetworkReply::ProtocolFailure:
        return HttpError::BadResponse;
    default:
        return HttpError::ConnectionLost;
    }
}

// Errors QtNetwork reports for an answer that did arrive whole but carries a status of 4xx or
// 5xx. At this level those are answers, not failures.
bool isStatusError(QNetworkReply::NetworkError error)
{
    return (error >= QNetworkReply::ContentAccessDenied &&
            error <= QNetworkReply::UnknownContentError) ||
           (error >= QNetworkReply::InternalServerError &&
            error <= QNetworkReply::UnknownServerError);
}

HttpResponse headOf(QNetworkReply* reply)
{
    HttpResponse head;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    head.status = status.isValid() ? status.toInt() : 0;
    return head;
}

// One request from start to end on the calling thread.
HttpResponse run(const HttpRequest& request, const HttpLineHandler* onLine,
                 const HttpCancelCheck& isCancelled)
{
    const QString scheme = request.url.scheme();
    if (!request.url.isValid() || request.url.host().isEmpty() ||
        (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        throw HttpError(HttpError::BadUrl, request.url.toString());
    if (isCancelled && isCancelled())
        throw HttpError(HttpError::Cancelled);

    QNetworkAccessManager manager;
    manager.setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkRequest qrequest(request.url);
    qrequest.setTransferTimeout(0); // the idle timer below does this, so it can be told apart
    for (const auto& [name, value] : request.headers)
        qrequest.setRawHeader(name, value);

    QNetworkReply* reply = request.body.isEmpty() && request.method == "GET"
                               ? manager.get(qrequest)
                               : manager.sendCustomRequest(qrequest, request.method, request.body);

    enum class Stop { None, Cancelled, TimedOut, ByHandler, HandlerThrew };
    Stop stop = Stop::None;
    std::exception_ptr handlerError;
    QEventLoop loop;

    QTimer idle;
    idle.setSingleShot(true);
    const bool hasTimeout = request.timeout > 0;
    const int timeoutMs =
        hasTimeout ? static_cast<int>(std::min(request.timeout * 1000, 2.0e9)) : 0;
    QObject::connect(&idle, &QTimer::timeout, reply, [&] {
        stop = Stop::TimedOut;
        reply->abort();
    });
    auto touch = [&] {
        if (hasTimeout)
            idle.start(timeoutMs);
    };
    touch();

    QTimer poll;
    if (isCancelled) {
        QObject::connect(&poll, &QTimer::timeout, reply, [&] {
            if (stop == Stop::None && isCancelled()) {
                stop = Stop::Cancelled;
                reply->abort();
            }
        });
        poll.start(kCancelPollMs);
    }

    QObject::connect(reply, &QNetworkReply::uploadProgress, reply, touch);
    QObject::connect(reply, &QNetworkReply::redirected, reply, touch);
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, touch);

    LineSplitter splitter;
    std::optional<HttpResponse> head;
    LineSplitter::Sink sink = [&](const QByteArray& line) {
        try {
            if ((*onLine)(*head, line))
                return true;
            stop = Stop::ByHandler;
        } catch (...) {
            handlerError = std::current_exception();
            stop = Stop::HandlerThrew;
        }
        return false;
    };
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [&] {
        touch();
        if (!onLine || stop != Stop::None)
            return;
        if (!head)
            head = headOf(reply);
        if (!splitter.feed(reply->readAll(), sink))
            reply->abort();
    });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    idle.stop();
    poll.stop();

    const QNetworkReply::NetworkError error = reply->error();
    const QString detail = reply->errorString();
    if (!head)
        head = headOf(reply);
    const bool answered =
        error == QNetworkReply::NoError || (head->status != 0 && isStatusError(error));
    HttpResponse response = *head;
    if (!onLine && stop == Stop::None)
        response.body = reply->readAll();
    else if (stop == Stop::None && answered && splitter.feed(reply->readAll(), sink))
        splitter.finish(sink);
    delete reply; // before the manager, which closes its connections as it goes

    switch (stop) {
    case Stop::Cancelled:
        throw HttpError(HttpError::Cancelled);
    case Stop::TimedOut:
        throw HttpError(HttpError::TimedOut);
    case Stop::HandlerThrew:
        std::rethrow_exception(handlerError);
    case Stop::ByHandler:
        return response;
    case Stop::None:
        break;
    }
    if (!answered) {
        qCDebug(lcHttp) << request.method << request.url << "failed:" << error << detail;
        throw HttpError(kindOf(error), detail);
    }
    return response;
}

} // namespace

Http& Http::shared()
{
    // Never destroyed: a request still running on the I/O pool when the process ends uses it.
    static QtHttp* instance = new QtHttp;
    return *instance;
}

HttpResponse QtHttp::send(const HttpRequest& request, const HttpCancelCheck& isCancelled) const
{
    return run(request, nullptr, isCancelled);
}

HttpResponse QtHttp::lines(const HttpRequest& request, const HttpLineHandler& onLine,
                           const HttpCancelCheck& isCancelled) const
{
    return run(request, &onLine, isCancelled);
}
