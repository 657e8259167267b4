#pragma once

#include <QList>
#include <QString>
#include <QTextLayout>

// A text with some ranges emphasised (drawn bold).
struct AttributedText {
    struct Range {
        qsizetype start = 0; // UTF-16 units
        qsizetype length = 0;
        friend bool operator==(const Range&, const Range&) = default;
    };

    QString text;
    QList<Range> emphasised; // ascending, never overlapping

    // The ranges as layout formats that make their text bold in `font`'s family and size.
    QList<QTextLayout::FormatRange> formats(const QFont& font) const;
    // The emphasised pieces of text, in order (for tests and reports).
    QStringList emphasisedTexts() const;

    friend bool operator==(const AttributedText&, const AttributedText&) = default;
};

// `text` with every occurrence of `term` emphasised, matching without regard to case or
// diacritics. The search starts again right after each match, so matches never overlap and
// occurrences inside longer words count too. An empty term emphasises nothing.
AttributedText highlighted(const QString& text, const QString& term);
