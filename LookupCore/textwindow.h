#pragma once

#include <QStringView>
#include <optional>

// Where a text may be cut so that ICU's word or sentence iterator, run over the part before
// the cut, finds the same boundaries there as over the whole text. This keeps the work for a
// position in a long text local: the iterators never see the text far after the position.
namespace TextWindow {

// How far past `from` a cut is looked for before the text is cut at `from` plus that distance
// regardless (the last segments before such a cut may then differ from the whole text's).
inline constexpr qsizetype searchLimit = 4096;

struct Cut {
    qsizetype position;
    bool sure; // false for a forced cut; true at the text's end
};

// The first position at or after `from` that is a sure word boundary whatever follows: after
// a line break, after a run of spaces, or after punctuation that no word rule joins to its
// neighbours ("!", "(", "。"), with no combining mark or joiner right after it. The text's
// size when the text ends first.
Cut wordCut(QStringView text, qsizetype from);

// The first position at or after `from` after which the text's sentence boundaries cannot
// move: after a paragraph separator (a line terminator), or between a letter and a character
// that is no combining mark. A cut after a letter is no boundary of the whole text; the
// sentence it ends goes on. The text's size when the text ends first.
Cut sentenceCut(QStringView text, qsizetype from);

// The last sure word boundary in (floor, from] (as wordCut() finds them), looked for at most
// searchLimit units back; nothing when there is none.
std::optional<qsizetype> wordStart(QStringView text, qsizetype from, qsizetype floor);

// The last position in (floor, from] where a sentence surely starts: an upper-case or
// caseless letter after a sentence terminator, closing punctuation and at least one blank
// ("… end.) Next"). Looked for at most searchLimit units back; nothing when there is none.
std::optional<qsizetype> sentenceStart(QStringView text, qsizetype from, qsizetype floor);

} // namespace TextWindow
