#include "lookup/copylink.h"

namespace CopyLink {

namespace {
const QString kScheme = QStringLiteral("peekwell-copy");
}

std::optional<QUrl> url(const QString& command)
{
    // Keeps the characters a URL path may hold; everything else is percent-encoded.
    QByteArray path = command.toUtf8().toPercentEncoding("!$&'()*+,/:;=@");
    // "//" right after the scheme would start a host name.
    if (path.startsWith("//"))
        path.replace(0, 1, "%2F");
    const QUrl link(kScheme + QLatin1Char(':') + QString::fromLatin1(path), QUrl::StrictMode);
    if (!link.isValid())
        return std::nullopt;
    return link;
}

std::optional<QString> text(const QUrl& url)
{
    if (!url.isValid() || url.scheme() != kScheme)
        return std::nullopt;
    return url.path(QUrl::FullyDecoded);
}

} // namespace CopyLink
