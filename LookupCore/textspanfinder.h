#pragma once

#include "LookupCore/textspan.h"

#include <QString>
#include <optional>

// Cuts the word at a position and the sentence around it out of a text, cleans up words and
// sentences read from elsewhere, and cuts excerpts around a search term. Word, sentence and
// character boundaries are ICU's (root locale); positions are UTF-16 code-unit offsets and
// lengths count user-perceived characters (extended grapheme clusters). No state: every
// function may run on any thread. Nothing throws; ill-formed UTF-16 (lone surrogates) is
// taken as it is, each lone surrogate a character of its own.
class TextSpanFinder {
public:
    TextSpanFinder() = delete;

    // Longest sentence, in characters, that trim() returns uncut.
    static constexpr int maxSentence = 400;

    // The word at `index` (clamped into the text) and its sentence trimmed around it. When
    // `index` is on no word (blanks, punctuation), the nearest word on the same line, the
    // earlier one on a tie. Nothing for an empty text or a line without words.
    // Cost: in ordinary text a few hundred units around the index, however long the text.
    // The windows reach farther only as far as the answer needs: over long runs without a
    // clean word or sentence boundary, to the nearest word across long blanks, to the end of a
    // sentence that stays short once flattened. They never reach back past the line's start.
    static std::optional<TextSpan> span(const QString& text, qsizetype index);

    // normalizeWord(word) with `sentence` trimmed around it (the word itself when there is no
    // sentence or it trims to nothing). Nothing when the word normalizes to nothing.
    static std::optional<TextSpan> span(const QString& word,
                                        const std::optional<QString>& sentence);

    // White space collapsed to single blanks, ends trimmed. Past maxSentence characters:
    // maxSentence characters from maxSentence / 2 before the word's first occurrence
    // (canonically equivalent forms match; the start when absent), "…" where text was cut.
    static QString trim(const QString& sentence, const QString& word);

    // The word without white space, punctuation or symbols at either end; inside it all stays.
    static QString normalizeWord(const QString& word);

    // The flattened text around the first match of `term`, ignoring case and diacritics:
    // `radius` characters on each side, "…" where text was cut. Without a match, the first
    // 2 × radius characters and "…" if there is more. A negative radius counts as 0.
    static QString snippet(const QString& text, const QString& term, qsizetype radius);
};
