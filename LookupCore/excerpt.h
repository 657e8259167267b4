#pragma once

#include <QString>
#include <QStringView>
#include <optional>

// Cutting text down to a short excerpt around a word. Lengths count user-perceived
// characters (extended grapheme clusters); "…" (U+2026) marks text left out.
namespace Excerpt {

// Splits at every character whose first code point is white space (line terminators
// included), drops the empty pieces and joins the rest with one blank.
QString flatten(QStringView text);

// The flattened sentence whole when it has at most `maxLength` characters; otherwise
// `maxLength` characters starting `maxLength / 2` before the word's first canonical
// occurrence (or at the start when it has none). When `continues` is true the sentence is a
// prefix of a longer one: the result is nothing when the rest could still change it.
std::optional<QString> aroundWord(QStringView sentence, QStringView word, bool continues,
                                  qsizetype maxLength);

// The flattened text from `radius` characters before the first match of `term` (ignoring
// case and diacritics) to `radius` characters after it; without a match, its first
// 2 × radius characters. A negative radius counts as 0.
QString aroundTerm(QStringView text, QStringView term, qsizetype radius);

} // namespace Excerpt
