#include "copylinktext.h"

std::optional<QString> copyLinkText(const QUrl& url)
{
    if (!url.isValid() || url.scheme() != QLatin1String("peekwell-copy"))
        return std::nullopt;
    return url.path(QUrl::FullyDecoded);
}
