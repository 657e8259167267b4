#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

// The shape of a structured answer, as a JSON Schema object: what a model server expects
// under a tool's "parameters" and under "response_format".
//
// A generable type describes itself with a static generationSchema() built from object():
// {"type": "object", "title": name, "description": ..., "properties": {name: {type...,
// "description": ...}}, "required": [every property, in the order given],
// "additionalProperties": false}. Immutable value type.
class GenerationSchema {
public:
    struct Property {
        QString name;
        std::optional<QString> description;
        QJsonObject type; // e.g. stringType(), arrayOf(stringType())
    };

    GenerationSchema() = default;
    static GenerationSchema object(const QString& name, const std::optional<QString>& description,
                                   const QList<Property>& properties);

    static QJsonObject stringType();
    static QJsonObject arrayOf(const QJsonObject& items);

    // The schema as JSON, ready to embed in a request.
    const QJsonObject& json() const { return m_json; }

    friend bool operator==(const GenerationSchema&, const GenerationSchema&) = default;

private:
    explicit GenerationSchema(QJsonObject json) : m_json(std::move(json)) {}
    QJsonObject m_json;
};
