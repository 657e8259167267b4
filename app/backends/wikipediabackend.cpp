#include "backends/wikipediabackend.h"

#include "settings/pref.h"

#include "backends/jsonbody.h"
#include "lookup/backenderror.h"
#include "platform/preferences.h"

namespace {

const QString kDefaultBase = QStringLiteral("https://en.wikipedia.org");
const QByteArray kUserAgent = "Peekwell/0.1 (personal Linux lookup tool)";

std::optional<QString> stringAt(const QJsonObject& object, const QString& key)
{
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

} // namespace

WikipediaBackend::WikipediaBackend(BackendInfo info)
    : WikipediaBackend(std::move(info), Preferences::standard())
{
}

WikipediaBackend::WikipediaBackend(BackendInfo info, const Preferences& preferences)
    : LookupBackend(std::move(info)), m_preferences(&preferences)
{
}

QString WikipediaBackend::slug(const QString& term)
{
    return QString(term).replace(QLatin1Char(' '), QLatin1Char('_'));
}

std::optional<QUrl> WikipediaBackend::summaryUrl(const QString& base, const QString& term)
{
    QString prefix = base;
    if (prefix.endsWith(QLatin1Char('/')))
        prefix.chop(1);
    const QByteArray encoded = slug(term).toUtf8().toPercentEncoding("!$&'()*+,/:;=@");
    const QUrl url(prefix + QStringLiteral("/api/rest_v1/page/summary/") +
                       QString::fromLatin1(encoded),
                   QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return url;
}

LookupItem WikipediaBackend::item(const QJsonObject& summary, const QString& term)
{
    const std::optional<QString> title = stringAt(summary, QStringLiteral("title"));
    LookupItem item;
    item.id = title.value_or(slug(term));
    item.title = title.value_or(term);
    item.detail = stringAt(summary, QStringLiteral("description"));
    item.body = stringAt(summary, QStringLiteral("extract"));
    const QJsonObject desktop = summary.value(QStringLiteral("content_urls"))
                                    .toObject()
                                    .value(QStringLiteral("desktop"))
                                    .toObject();
    if (const std::optional<QString> page = stringAt(desktop, QStringLiteral("page"))) {
        const QUrl url(*page, QUrl::StrictMode);
        if (url.isValid() && !url.isEmpty())
            item.url = url;
    }
    return item;
}

LookupItems WikipediaBackend::fetch(const QString& base, const QString& term, double timeout,
                                    const HttpCancelCheck& isCancelled)
{
    const std::optional<QUrl> url = summaryUrl(base, term);
    if (!url)
        return {};
    HttpRequest request;
    request.url = *url;
    request.headers = {{"User-Agent", kUserAgent}};
    request.timeout = timeout > 0 ? timeout : 60;

    const HttpResponse response = Http::shared().send(request, isCancelled);
    if (response.status == 404)
        return {};
    if (response.status != 200)
        throw BackendError(QStringLiteral("Wikipedia returned %1").arg(response.status));
    const QJsonValue summary = JsonBody::parse(response.body);
    if (!summary.isObject())
        throw BackendError(QStringLiteral("Wikipedia returned 200"));
    return {item(summary.toObject(), term)};
}

LookupStream WikipediaBackend::lookup(const LookupQuery& query) const
{
    const QString base = m_preferences->stringValue(Pref::wikipediaURL).value_or(kDefaultBase);
    return stream([base, term = query.term, timeout = timeout()](StreamContext& context) {
        const LookupItems items =
            fetch(base, term, timeout, [&context] { return context.isCanceled(); });
        if (!items.isEmpty())
            context.yield(items);
    });
}
