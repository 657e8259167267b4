#include "platform/llm/generationschema.h"

#include <QJsonArray>

GenerationSchema GenerationSchema::object(const QString& name,
                                          const std::optional<QString>& description,
                                          const QList<Property>& properties)
{
    QJsonObject json{{QStringLiteral("type"), QStringLiteral("object")},
                     {QStringLiteral("title"), name},
                     {QStringLiteral("additionalProperties"), false}};
    if (description)
        json.insert(QStringLiteral("description"), *description);
    QJsonObject members;
    QJsonArray required;
    for (const Property& property : properties) {
        QJsonObject member = property.type;
        if (property.description)
            member.insert(QStringLiteral("description"), *property.description);
        members.insert(property.name, member);
        required.append(property.name);
    }
    json.insert(QStringLiteral("properties"), members);
    json.insert(QStringLiteral("required"), required);
    return GenerationSchema(json);
}

QJsonObject GenerationSchema::stringType()
{
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("string")}};
}

QJsonObject GenerationSchema::arrayOf(const QJsonObject& items)
{
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("array")},
                       {QStringLiteral("items"), items}};
}
