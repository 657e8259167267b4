#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// What one lookup asks every source: the word, the sentence it stood in and the
// application it was read from.
struct LookupQuery {
    QString term;
    std::optional<QString> context;
    std::optional<QString> appName;

    // "term" always; "context" and "appName" only when present.
    QJsonObject toJson() const;
    // Fails (nothing) when "term" is missing or not a string. Unknown keys are ignored;
    // an optional key that is not a string reads as absent.
    static std::optional<LookupQuery> fromJson(const QJsonObject& object);

    friend bool operator==(const LookupQuery&, const LookupQuery&) = default;
};
