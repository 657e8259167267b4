#include "LookupCore/textspan.h"

QJsonObject TextSpan::toJson() const
{
    return QJsonObject{{QStringLiteral("word"), word}, {QStringLiteral("sentence"), sentence}};
}

std::optional<TextSpan> TextSpan::fromJson(const QJsonObject& object)
{
    const QJsonValue word = object.value(QStringLiteral("word"));
    const QJsonValue sentence = object.value(QStringLiteral("sentence"));
    if (!word.isString() || !sentence.isString())
        return std::nullopt;
    return TextSpan{word.toString(), sentence.toString()};
}
