#include "platform/llm/generatedcontent.h"

#include "platform/llm/partialjson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

GeneratedContent::GeneratedContent(QJsonValue value, bool isComplete)
    : m_value(std::move(value)), m_isComplete(isComplete)
{
}

GeneratedContent GeneratedContent::fromJson(const QString& json, bool isComplete)
{
    const PartialJson::Result read = PartialJson::parse(json.toUtf8(), isComplete);
    GeneratedContent content(read.value.value_or(QJsonValue(QJsonValue::Null)),
                             isComplete && read.isComplete);
    content.m_json = json;
    return content;
}

QString GeneratedContent::jsonString() const
{
    if (m_json)
        return *m_json;
    if (m_value.isObject())
        return QString::fromUtf8(QJsonDocument(m_value.toObject()).toJson(QJsonDocument::Compact));
    if (m_value.isArray())
        return QString::fromUtf8(QJsonDocument(m_value.toArray()).toJson(QJsonDocument::Compact));
    // A lone scalar: written as the only element of an array, without the brackets.
    const QByteArray wrapped = QJsonDocument(QJsonArray{m_value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(wrapped.mid(1, wrapped.size() - 2));
}

std::optional<QString> GeneratedContent::string(const QString& property) const
{
    const QJsonValue value = m_value.toObject().value(property);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<QStringList> GeneratedContent::strings(const QString& property) const
{
    const QJsonValue value = m_value.toObject().value(property);
    if (!value.isArray())
        return std::nullopt;
    QStringList list;
    for (const QJsonValue& element : value.toArray()) {
        if (element.isString())
            list.append(element.toString());
    }
    return list;
}
