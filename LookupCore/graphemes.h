#pragma once

#include "LookupCore/textalias.h"

#include <QStringView>
#include <memory>
#include <unicode/brkiter.h>

// Moves offsets in a text by user-perceived characters (extended grapheme clusters).
// Iterates over the text's own buffer: the text must outlive this object. Only the clusters
// between the offsets involved are examined, never the whole text. One thread at a time.
class Graphemes {
public:
    explicit Graphemes(QStringView text);

    // The offset `count` clusters after / before `offset`, stopping at the text's end / start.
    // From an offset inside a cluster, the rest of that cluster counts as one.
    qsizetype forward(qsizetype offset, qsizetype count);
    qsizetype backward(qsizetype offset, qsizetype count);
    bool isBoundary(qsizetype offset);

private:
    QStringView m_text;
    TextAlias m_alias;
    std::unique_ptr<icu::BreakIterator> m_iterator; // null: code points stand in for clusters
};
