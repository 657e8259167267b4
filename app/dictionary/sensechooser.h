#pragma once

#include "dictionary/wordnet.h"

#include <QStringView>
#include <cstdint>
#include <string>
#include <vector>

// One sense a looked-up word may have.
struct SenseCandidate {
    PartOfSpeech pos;
    std::string lemma; // the base form whose sense this is
    uint32_t offset;   // of its synset in the part of speech's data file
    int tagCount = 0;  // times the semantic concordances tagged this sense
};

// Picks the sense a sentence means, by the simplified Lesk method: the candidate whose gloss
// (definition and examples) shares the most content words with the sentence, both sides
// reduced to their base forms and common function words left out. A tie goes to the sense
// tagged more often, then to the earlier candidate; a sentence that shares nothing with any
// gloss picks the first candidate.
class SenseChooser {
public:
    // `candidates` (not empty) in order of preference; the forms in `ignored` (the looked-up
    // word and its lemmas) count for neither side. Returns an index into `candidates`.
    // Time grows linearly with the length of the sentence; each distinct word is reduced once.
    static size_t choose(const WordNet& wordnet, const std::vector<SenseCandidate>& candidates,
                         QStringView sentence, const std::vector<std::string>& ignored);
};
