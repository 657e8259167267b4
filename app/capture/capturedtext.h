#pragma once

#include "LookupCore/textspan.h"

#include <QJsonObject>
#include <QString>
#include <optional>

// What a capture read under the pointer: the word and its sentence, the application that
// showed them and the strategy that found them ("range", "textmarker", "bounds" or
// "selection").
struct CapturedText {
    TextSpan span;
    std::optional<QString> app;
    QString method;

    // {"span": {"word", "sentence"}, "app", "method"}; "app" left out when absent.
    QJsonObject toJson() const;
    static std::optional<CapturedText> fromJson(const QJsonObject& object);

    friend bool operator==(const CapturedText&, const CapturedText&) = default;
};
