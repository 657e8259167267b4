#pragma once

#include "lookup/lookupbackend.h"
#include "platform/http.h"

#include <QJsonObject>
#include <optional>

class Preferences;

// The English Wikipedia's page summary for the term: one item, or none when there is no page.
//
// The server's scheme and host come from the preference "backend.wikipedia.url", read each
// time lookup() is called. One request per lookup, no retry; its idle time-out is the
// source's time-out. Transport failures reach the tab as HttpError's sentence.
class WikipediaBackend : public LookupBackend {
public:
    // `preferences` must outlive the backend.
    explicit WikipediaBackend(BackendInfo info);
    WikipediaBackend(BackendInfo info, const Preferences& preferences);

    LookupStream lookup(const LookupQuery& query) const override;

    // The term with every blank turned into "_", nothing else changed.
    static QString slug(const QString& term);
    // base (without a trailing "/") + "/api/rest_v1/page/summary/" + the slug percent-encoded
    // as a URL path ("/" stays, other bytes of the UTF-8 outside the path set are escaped).
    // Nothing when that is not a valid URL.
    static std::optional<QUrl> summaryUrl(const QString& base, const QString& term);
    // The one item of a summary, each field falling back when its key is missing or mistyped.
    static LookupItem item(const QJsonObject& summary, const QString& term);

    // The producer's work, on the calling thread: the items to show (none or one). Throws
    // BackendError for a status other than 200 and 404 or an answer that is not a JSON object,
    // HttpError for transport failures.
    static LookupItems fetch(const QString& base, const QString& term, double timeout,
                             const HttpCancelCheck& isCancelled);

private:
    const Preferences* m_preferences;
};
