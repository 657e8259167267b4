#include "capture/capturedtext.h"

QJsonObject CapturedText::toJson() const
{
    QJsonObject object{{QStringLiteral("span"), span.toJson()}, {QStringLiteral("method"), method}};
    if (app)
        object.insert(QStringLiteral("app"), *app);
    return object;
}

std::optional<CapturedText> CapturedText::fromJson(const QJsonObject& object)
{
    const std::optional<TextSpan> span =
        TextSpan::fromJson(object.value(QStringLiteral("span")).toObject());
    const QJsonValue method = object.value(QStringLiteral("method"));
    if (!span || !method.isString())
        return std::nullopt;
    const QJsonValue app = object.value(QStringLiteral("app"));
    return CapturedText{*span, app.isString() ? std::optional(app.toString()) : std::nullopt,
                        method.toString()};
}
