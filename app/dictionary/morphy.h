#pragma once

#include "dictionary/wordnet.h"

#include <QStringView>
#include <string>
#include <string_view>
#include <vector>

// The dictionary forms of words as they appear in text, found the way WordNet's own
// morphology finds them: the part of speech's exception list first ("geese" → "goose",
// "ran" → "run"), then its rules of detachment ("studies" → "study", "walked" → "walk"),
// keeping only forms that WordNet lists.
class Morphy {
public:
    // The term spelt as WordNet's index spells lemmas: lower case, accents dropped, blanks
    // between words as '_', surrounding punctuation and a possessive "'s" removed ("Bank's",
    // "BANK" → "bank"; "ice cream" → "ice_cream"). Empty when nothing of a word is left.
    static std::string normalised(QStringView term);

    // The lemmas of `pos` that the normalised `word` may be a form of: the exception list's
    // bases, the word itself, then what the detachment rules give, each listed in WordNet's
    // index and none twice. A phrase ("ice_creams") is also tried with its last word reduced.
    static std::vector<std::string> baseForms(const WordNet& wordnet, PartOfSpeech pos,
                                              std::string_view word);

    // The exception list's bases, the word itself and what the detachment rules make of it,
    // in that order, before any is looked up in the index (so some are not words at all).
    static std::vector<std::string> candidates(const WordNet& wordnet, PartOfSpeech pos,
                                               std::string_view word);
};
