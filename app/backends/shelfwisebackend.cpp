#include "backends/shelfwisebackend.h"

#include "LookupCore/textspanfinder.h"
#include "backends/jsonbody.h"
#include "lookup/backenderror.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

constexpr int kLookupLimit = 8;
constexpr int kExcerptsInLookup = 3;
constexpr qsizetype kExcerptRadius = 90;
constexpr int kTagsShown = 4;

// `base` with `path` appended as path segments: one "/" between them.
QUrl appendingPath(const QUrl& base, const QString& path)
{
    QUrl url = base;
    QString joined = base.path(QUrl::FullyDecoded);
    if (!joined.endsWith(QLatin1Char('/')))
        joined += QLatin1Char('/');
    url.setPath(joined + path, QUrl::DecodedMode);
    return url;
}

// The value when it is an array of objects only; nothing otherwise.
std::optional<QJsonArray> arrayOfObjects(const QJsonValue& value)
{
    if (!value.isArray())
        return std::nullopt;
    const QJsonArray array = value.toArray();
    for (const QJsonValue& element : array) {
        if (!element.isObject())
            return std::nullopt;
    }
    return array;
}

// The value when it is an array of strings only; empty otherwise.
QStringList stringsOf(const QJsonValue& value)
{
    QStringList strings;
    for (const QJsonValue& element : value.toArray()) {
        if (!element.isString())
            return {};
        strings.append(element.toString());
    }
    return strings;
}

} // namespace

ShelfwiseBackend::ShelfwiseBackend(BackendInfo info, QString baseURL)
    : LookupBackend(std::move(info)), m_baseText(std::move(baseURL)), m_base(m_baseText)
{
}

QJsonObject ShelfwiseBackend::call(const QString& tool, const QJsonObject& arguments,
                                   const HttpCancelCheck& isCancelled) const
{
    HttpRequest request;
    request.url = appendingPath(m_base, QStringLiteral("api/tools/") + tool);
    request.method = "POST";
    request.headers = {{"Content-Type", "application/json"}};
    request.body = QJsonDocument(arguments).toJson(QJsonDocument::Compact);
    request.timeout = timeout() > 0 ? timeout() : 60;

    HttpResponse response;
    try {
        response = Http::shared().send(request, isCancelled);
    } catch (const HttpError& error) {
        if (error.kind() == HttpError::CannotConnect)
            throw BackendError(QStringLiteral("Shelfwise isn't running at ") + m_baseText);
        throw;
    }
    const QJsonValue body = JsonBody::parse(response.body);
    const QJsonObject object = body.toObject();
    if (response.status != 200 || object.value(QStringLiteral("isError")) == QJsonValue(true))
        throw BackendError(QStringLiteral("Shelfwise ") + tool + QStringLiteral(" failed"));
    return object.value(QStringLiteral("structuredContent")).toObject();
}

LookupItem ShelfwiseBackend::item(const QJsonObject& result) const
{
    const QString id = result.value(QStringLiteral("id")).toString();
    const QJsonValue title = result.value(QStringLiteral("title"));
    QStringList tags;
    for (const QString& tag : stringsOf(result.value(QStringLiteral("tags")))) {
        if (!tag.startsWith(QStringLiteral("comment:")))
            tags.append(tag);
    }
    LookupItem item;
    item.id = id;
    item.title = title.isString() ? title.toString() : id;
    item.detail = tags.mid(0, kTagsShown).join(QStringLiteral(" · "));
    item.url = appendingPath(m_base, QStringLiteral("a/") + id);
    return item;
}

LookupItems ShelfwiseBackend::titles(const QString& text, int limit,
                                     const HttpCancelCheck& isCancelled) const
{
    const QJsonObject result = call(
        QStringLiteral("sw_search"),
        QJsonObject{{QStringLiteral("text"), text}, {QStringLiteral("limit"), limit}}, isCancelled);
    LookupItems items;
    const std::optional<QJsonArray> found = arrayOfObjects(result.value(QStringLiteral("items")));
    if (!found)
        return items;
    for (const QJsonValue& value : *found) {
        const QJsonObject object = value.toObject();
        if (object.value(QStringLiteral("id")).isString())
            items.append(item(object));
    }
    return items;
}

std::optional<QString> ShelfwiseBackend::excerpt(const QString& id, const QString& term,
                                                 const HttpCancelCheck& isCancelled) const
{
    QJsonObject result;
    try {
        result =
            call(QStringLiteral("sw_read"), QJsonObject{{QStringLiteral("id"), id}}, isCancelled);
    } catch (const std::exception&) {
        return std::nullopt;
    }
    const QJsonValue content =
        result.value(QStringLiteral("artifact")).toObject().value(QStringLiteral("content"));
    if (!content.isString())
        return std::nullopt;
    return TextSpanFinder::snippet(content.toString(), term, kExcerptRadius);
}

LookupItems ShelfwiseBackend::search(const QString& text, int limit,
                                     const HttpCancelCheck& isCancelled) const
{
    LookupItems items = titles(text, limit, isCancelled);
    for (LookupItem& item : items)
        item.body = excerpt(item.id, text, isCancelled);
    return items;
}

LookupStream ShelfwiseBackend::lookup(const LookupQuery& query) const
{
    return stream([self = *this, term = query.term](StreamContext& context) {
        const HttpCancelCheck isCancelled = [&context] { return context.isCanceled(); };
        LookupItems items = self.titles(term, kLookupLimit, isCancelled);
        context.yield(items);
        const qsizetype reads = std::min<qsizetype>(kExcerptsInLookup, items.size());
        for (qsizetype i = 0; i < reads && !context.isCanceled(); ++i) {
            items[i].body = self.excerpt(items[i].id, term, isCancelled);
            context.yield(items);
        }
    });
}
