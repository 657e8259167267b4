#pragma once

#include "LookupCore/textspan.h"

#include <QString>
#include <optional>

// What a capture read under the pointer: the word and its sentence, the application that
// showed them and the strategy that found them ("range", "textmarker", "bounds" or
// "selection").
struct CapturedText {
    TextSpan span;
    std::optional<QString> app;
    QString method;

    friend bool operator==(const CapturedText&, const CapturedText&) = default;
};
