#pragma once

#include "platform/http.h"

// Http over QtNetwork. Every call makes its own QNetworkAccessManager and runs a local event
// loop on the calling thread until the answer is whole, the call is cancelled or it times out;
// the manager, and with it every connection it opened, is gone when the call returns.
//
// A body cut short by the server fails as ConnectionLost when its length was announced
// (Content-Length); QtNetwork reads a chunked body whose connection closes early as ended.
class QtHttp final : public Http {
public:
    HttpResponse send(const HttpRequest& request,
                      const HttpCancelCheck& isCancelled = {}) const override;
    HttpResponse lines(const HttpRequest& request, const HttpLineHandler& onLine,
                       const HttpCancelCheck& isCancelled = {}) const override;
};
