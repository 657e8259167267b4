#pragma once

#include "dictionary/wordnet.h"

#include <QString>
#include <QStringList>
#include <QStringView>
#include <cstdint>
#include <optional>

// A word's meaning as the dictionary gives it: one sense, worded for the Answer tab.
struct Definition {
    QString partOfSpeech; // "noun", "verb", "adjective" or "adverb"
    QString meaning;      // the sense's definition as a sentence: capital first, full stop last
    QStringList similar;  // up to five other words of the sense, blanks for '_'
    // Which sense it is.
    PartOfSpeech pos = PartOfSpeech::Noun;
    uint32_t offset = 0;
};

// Defines a word from WordNet, picking the sense its sentence means.
class Dictionary {
public:
    // The senses considered are those of every base form of the term in every part of speech
    // (see Morphy). With a sentence, SenseChooser picks among them; without one, or when the
    // sentence shares no word with any gloss, the first sense of the base form and part of
    // speech that WordNet's semantic concordances tagged most often (their counts in
    // cntlist.rev; then the number of tagged senses, then of senses) is taken.
    //
    // Returns nothing when WordNet has no entry for the term (also for non-English words).
    // Throws DictionaryError when a file the look-up needs is damaged.
    static std::optional<Definition> define(const WordNet& wordnet, QStringView term,
                                            std::optional<QStringView> sentence);
};
