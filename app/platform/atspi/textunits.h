#pragma once

#include <QStringView>

// Steps through UTF-16 text by code points, for programs that count offsets in code points.
// A lone surrogate is a code point of its own.
namespace TextUnits {

struct Step {
    qsizetype codePoints = 0;
    qsizetype units = 0;
    friend bool operator==(const Step&, const Step&) = default;
};

// From the start: the most whole code points that fit in `units` UTF-16 units (a pair that
// would cross the limit is left out).
Step forward(QStringView text, qsizetype units);
// From the end back: code points until at least `units` UTF-16 units are passed (a pair that
// crosses the limit is taken), or the start is reached.
Step backward(QStringView text, qsizetype units);
// The UTF-16 units of the first `codePoints` code points (all of them when there are fewer).
qsizetype unitsOf(QStringView text, qsizetype codePoints);

} // namespace TextUnits
