#pragma once

#include <QString>

// A word and the sentence it stood in. The sentence has its white space collapsed and, when
// long, is cut down to a stretch around the word with "…" where text was left out.
struct TextSpan {
    QString word;
    QString sentence;

    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};
