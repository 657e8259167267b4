#include "platform/http.h"

namespace {

QString describe(HttpError::Kind kind)
{
    switch (kind) {
    case HttpError::CannotConnect:
        return QStringLiteral("Could not connect to the server.");
    case HttpError::HostNotFound:
        return QStringLiteral("A server with the specified hostname could not be found.");
    case HttpError::TimedOut:
        return QStringLiteral("The request timed out.");
    case HttpError::Cancelled:
        return QStringLiteral("The request was cancelled.");
    case HttpError::ConnectionLost:
        return QStringLiteral("The network connection was lost.");
    case HttpError::TooManyRedirects:
        return QStringLiteral("The server redirected too many times.");
    case HttpError::SecureConnectionFailed:
        return QStringLiteral("A secure connection to the server could not be made.");
    case HttpError::BadUrl:
        return QStringLiteral("The address is not a web address this program can open.");
    case HttpError::BadResponse:
        return QStringLiteral("The server sent an answer that could not be read.");
    }
    return QStringLiteral("The request failed.");
}

} // namespace

HttpError::HttpError(Kind kind, QString detail)
    : m_kind(kind), m_detail(std::move(detail)), m_what(describe(kind).toStdString())
{
}

QString HttpError::localizedDescription() const
{
    return describe(m_kind);
}
