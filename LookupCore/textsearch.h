#pragma once

#include <QStringView>
#include <optional>

class Graphemes;

// First occurrences of a string in a text, by two notions of "the same text".
namespace TextSearch {

struct Match {
    qsizetype start;
    qsizetype end;
    friend bool operator==(const Match&, const Match&) = default;
};

// Case- and diacritic-sensitive; canonically equivalent sequences match (é precomposed or as
// e + U+0301), and a match must begin and end on cluster boundaries of `text` (so "e" does
// not match the start of "é"). `graphemes` must be over `text`. Nothing for an empty word.
std::optional<Match> canonical(QStringView text, QStringView word, Graphemes& graphemes);

// Ignoring case and diacritics (root collation at primary strength): "Cafe" finds "café",
// "STRASSE" finds "straße". Nothing for an empty term or when the term is all ignorable.
std::optional<Match> loose(QStringView text, QStringView term);

} // namespace TextSearch
