#pragma once

#include <QString>
#include <optional>

// What one lookup asks every source: the word, the sentence it stood in and the
// application it was read from.
struct LookupQuery {
    QString term;
    std::optional<QString> context;
    std::optional<QString> appName;

    friend bool operator==(const LookupQuery&, const LookupQuery&) = default;
};
