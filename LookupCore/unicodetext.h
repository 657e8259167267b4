#pragma once

#include <QStringView>
#include <memory>
#include <unicode/brkiter.h>
#include <unicode/unistr.h>

// Small helpers for UTF-16 text held in Qt strings, over ICU. Offsets are UTF-16 code units.
// A lone surrogate counts as a code point of its own, as it does in ICU.
namespace UnicodeText {

// A read-only ICU string over the view's buffer (no copy): the buffer must outlive it. For
// break iterators use TextAlias: they copy a UnicodeString they are given.
icu::UnicodeString alias(QStringView text);

// New iterators (root locale) for the calling thread: cheap clones of per-thread prototypes.
// Null only when ICU cannot build one (its data missing, or out of memory).
std::unique_ptr<icu::BreakIterator> wordIterator();
std::unique_ptr<icu::BreakIterator> sentenceIterator();
std::unique_ptr<icu::BreakIterator> characterIterator();

// LF, CR, U+0085, U+2028, U+2029. CR LF is one terminator of two units.
bool isLineTerminator(char32_t c);
// The Unicode White_Space property, which takes in every line terminator.
bool isWhiteSpace(char32_t c);

// The code point that starts at i / ends at i (0 < i <= size).
char32_t codePointAt(QStringView text, qsizetype i);
char32_t codePointBefore(QStringView text, qsizetype i);

// Start of the line that holds the unit at i: just after the last line terminator before it.
// A CR LF pair is one terminator, so an index on its LF belongs to the CR's line. Scans back
// no farther than `limit`: -1 when the line starts before it.
qsizetype lineStart(QStringView text, qsizetype i, qsizetype limit = 0);

} // namespace UnicodeText
