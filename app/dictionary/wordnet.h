#pragma once

#include "dictionary/datafile.h"
#include "dictionary/mappedfile.h"

#include <QString>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

enum class PartOfSpeech { Noun, Verb, Adjective, Adverb };

inline constexpr std::array<PartOfSpeech, 4> kPartsOfSpeech{
    PartOfSpeech::Noun, PartOfSpeech::Verb, PartOfSpeech::Adjective, PartOfSpeech::Adverb};

// "noun", "verb", "adjective" or "adverb".
QString partOfSpeechName(PartOfSpeech pos);

// A lemma's line in an index file: its senses in one part of speech, most frequent first.
struct IndexEntry {
    std::string_view lemma;
    int tagSenseCount = 0;         // how many of the senses the concordances tagged
    std::vector<uint32_t> offsets; // byte offsets of the senses' synsets in the data file
};

// One synset of a data file.
struct Synset {
    std::vector<std::string> words; // as entered: case kept, blanks written as '_'
    std::string gloss;              // the definition, then the examples in quotes

    // The gloss up to its first example, without trailing separators.
    std::string_view definition() const;
};

// A WordNet 3.0 database as Debian's wordnet-base installs it: index.*, data.*, *.exc and
// cntlist.rev, all opened when the object is made and never loaded whole. The index,
// exception and count files are mapped read-only and searched in place by binary search over
// their sorted lines; synsets are read from the data files at the byte offsets the index gives.
//
// The constructor throws DictionaryError naming the first file that is missing or cut short;
// synset() throws it when a data file lacks the synset an index line points to. The views
// returned point into the mapped files and live as long as the object. The const members
// may be called from several threads at once.
class WordNet {
public:
    // $PEEKWELL_WORDNET_DIR when set, otherwise /usr/share/wordnet.
    static QString defaultDirectory();

    explicit WordNet(const QString& directory = defaultDirectory());

    // `lemma` as the index spells it: lower case, blanks as '_'.
    std::optional<IndexEntry> entry(PartOfSpeech pos, std::string_view lemma) const;
    bool contains(PartOfSpeech pos, std::string_view lemma) const;
    Synset synset(PartOfSpeech pos, uint32_t offset) const;
    // The base forms the exception list gives for an irregular form ("geese" → "goose").
    std::vector<std::string_view> exceptions(PartOfSpeech pos, std::string_view form) const;
    // How often each sense of the lemma was tagged in the semantic concordances, by sense
    // number (element 0 is sense 1); senses never tagged are missing or 0.
    std::vector<int> tagCounts(PartOfSpeech pos, std::string_view lemma) const;

private:
    struct Files {
        MappedFile index;
        DataFile data;
        MappedFile exceptions;
    };
    static std::vector<Files> openFiles(const QString& directory);
    const Files& files(PartOfSpeech pos) const { return m_files[size_t(pos)]; }
    // The line of a file of sorted lines whose first field is `key`, or an empty view.
    static std::string_view find(const MappedFile& file, std::string_view key);

    std::vector<Files> m_files; // by PartOfSpeech
    MappedFile m_counts;        // cntlist.rev
};
