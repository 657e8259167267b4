#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// A word and the sentence it stood in. The sentence has its white space collapsed and, when
// long, is cut down to a stretch around the word with "…" where text was left out.
struct TextSpan {
    QString word;
    QString sentence;

    // {"word": …, "sentence": …}
    QJsonObject toJson() const;
    // Fails (nothing) unless both "word" and "sentence" are strings; other keys are ignored.
    static std::optional<TextSpan> fromJson(const QJsonObject& object);

    friend bool operator==(const TextSpan&, const TextSpan&) = default;
};
