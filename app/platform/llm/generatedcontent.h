#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <optional>

// What a model generated in a structured form: a JSON value, possibly still growing.
//
// Content made from JSON text keeps that text unchanged, so jsonString() hands back exactly
// what the model wrote (tool-call arguments travel back to the server as they came). A
// partial value comes from the partial-JSON reader: every string, array and object in it is a
// prefix of what the finished value will be. Immutable value type.
class GeneratedContent {
public:
    GeneratedContent() = default;
    explicit GeneratedContent(QJsonValue value, bool isComplete = true);

    // Reads `json` as far as it has come. Text that is not JSON gives content whose value
    // is what could be read (or null) and whose jsonString() is still `json`.
    static GeneratedContent fromJson(const QString& json, bool isComplete = true);

    const QJsonValue& value() const { return m_value; }
    bool isComplete() const { return m_isComplete; }
    // Compact JSON text of the value, or the text the content was read from.
    QString jsonString() const;

    // A property of an object value, when present and of that type.
    std::optional<QString> string(const QString& property) const;
    std::optional<QStringList> strings(const QString& property) const;

    friend bool operator==(const GeneratedContent& a, const GeneratedContent& b)
    {
        return a.m_value == b.m_value && a.m_isComplete == b.m_isComplete &&
               a.jsonString() == b.jsonString();
    }

private:
    QJsonValue m_value = QJsonValue::Null;
    bool m_isComplete = true;
    std::optional<QString> m_json;
};
