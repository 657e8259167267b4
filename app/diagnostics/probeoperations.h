#pragma once

#include "diagnostics/diagnostics.h"

#include <QPointF>
#include <QString>
#include <optional>

class Arguments;

// The operations that check text capture without a force click: "--probe X Y" reads the word
// at a screen point, "--probe-word APPLICATION WORD" finds a word on screen through the
// application's accessibility tree and reads it back there. Both need an X display (the
// window under a point is the X server's to tell); without one they say so on standard error
// and end with status 1. Main thread; they end the process.
namespace ProbeOperations {

// "probe.json": "trusted" and "ms", and when a word was found "word", "sentence", "app" (null
// when unknown) and "method". Status 0.
Diagnostics::Outcome probe(const Arguments& arguments);

// "probe-word.json": "app" and "expected"; "error" when the word is not found, else "point",
// "ms", "word", "sentence", "method" (null when nothing was captured) and "ok". Status 0.
Diagnostics::Outcome probeWord(const Arguments& arguments);

// The centre of the first on-screen occurrence of `word` (case- and diacritic-sensitive)
// in the text of the first running application named `application` (the desktop's name or
// the name it gives the accessibility bus), breadth-first over at most 3,000 elements of its
// tree; occurrences whose box has no width are passed over. Nothing when not found.
std::optional<QPointF> locate(const QString& word, const QString& application);

} // namespace ProbeOperations
