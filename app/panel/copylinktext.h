#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// The shell command a "peekwell-copy" link carries (the path of the URL, percent-decoded),
// or nothing for a link of any other scheme.
std::optional<QString> copyLinkText(const QUrl& url);
