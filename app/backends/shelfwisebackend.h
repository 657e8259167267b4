#pragma once

#include "lookup/lookupbackend.h"
#include "platform/http.h"

#include <QJsonObject>
#include <QUrl>
#include <optional>

// The user's Shelfwise library: documents whose titles match the term, then short excerpts
// around the term from the first three of them, filled in one after another.
//
// The server is reached through its tool endpoint: POST <base>/api/tools/<tool> with the
// arguments as a JSON object; the answer's "structuredContent" is the tool's result. Calls
// run one at a time on the producer's thread, each with the source's time-out.
class ShelfwiseBackend : public LookupBackend {
public:
    // `baseURL` as the user configured it; error messages quote it exactly.
    ShelfwiseBackend(BackendInfo info, QString baseURL);

    const QUrl& baseURL() const { return m_base; }

    // Up to four lists: the titles at once, then the same items after each of the first three
    // excerpts.
    LookupStream lookup(const LookupQuery& query) const override;

    // The titles matching `text` with an excerpt for every one of them, one read at a time.
    // Blocks: call it from a worker thread. Throws as lookup()'s first step does: BackendError
    // ("Shelfwise isn't running at …", "Shelfwise sw_search failed", an answer that is not
    // JSON) or HttpError (time-out, cancellation, other transport failures).
    LookupItems search(const QString& text, int limit,
                       const HttpCancelCheck& isCancelled = {}) const;

private:
    LookupItems titles(const QString& text, int limit, const HttpCancelCheck& isCancelled) const;
    // Nothing on any failure, cancellation included.
    std::optional<QString> excerpt(const QString& id, const QString& term,
                                   const HttpCancelCheck& isCancelled) const;
    QJsonObject call(const QString& tool, const QJsonObject& arguments,
                     const HttpCancelCheck& isCancelled) const;
    LookupItem item(const QJsonObject& result) const;

    QString m_baseText;
    QUrl m_base;
};
