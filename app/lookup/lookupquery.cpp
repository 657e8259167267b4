#include "lookup/lookupquery.h"

QJsonObject LookupQuery::toJson() const
{
    QJsonObject object{{QStringLiteral("term"), term}};
    if (context)
        object.insert(QStringLiteral("context"), *context);
    if (appName)
        object.insert(QStringLiteral("appName"), *appName);
    return object;
}

std::optional<LookupQuery> LookupQuery::fromJson(const QJsonObject& object)
{
    const QJsonValue term = object.value(QStringLiteral("term"));
    if (!term.isString())
        return std::nullopt;
    auto optionalString = [&](const char* key) -> std::optional<QString> {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isString())
            return std::nullopt;
        return value.toString();
    };
    return LookupQuery{term.toString(), optionalString("context"), optionalString("appName")};
}
