#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <optional>

// One row of a source's answer. `id` identifies the row within its source's list, so a
// streamed update keeps the panel's rows (and scroll position) in place.
struct LookupItem {
    QString id;
    QString title;
    std::optional<QString> detail;
    std::optional<QString> body;
    std::optional<QUrl> url; // compared as a URL value

    friend bool operator==(const LookupItem&, const LookupItem&) = default;
};

using LookupItems = QList<LookupItem>;
