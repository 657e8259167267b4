#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// Links that carry a shell command to copy rather than a page to open: scheme
// "peekwell-copy", the command as the (percent-encoded) path. The panel copies the command
// when the user opens such a link.
namespace CopyLink {

// The link for a command; none when no URL can be formed from it.
std::optional<QUrl> url(const QString& command);
// The command carried by a copy link; none for a link of any other scheme.
std::optional<QString> text(const QUrl& url);

} // namespace CopyLink
