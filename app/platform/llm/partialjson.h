#pragma once

#include <QByteArrayView>
#include <QJsonValue>
#include <optional>

// Reads JSON that may still be arriving: the longest prefix of a document, shown as the
// value it has become so far.
//
// Nothing is ever shown that was not received: an unfinished string shows the characters
// that have come (an unfinished escape, surrogate pair or UTF-8 sequence is left out), an
// unfinished number or literal is left out, a key whose value has not begun is dropped, and
// open arrays and objects are closed. Text that is not JSON ends the reading where it
// starts; what came before it stands. Leading blanks and a Markdown code fence ("```json")
// are skipped. Pure function; safe from any thread.
namespace PartialJson {

struct Result {
    std::optional<QJsonValue> value; // none until a first value has begun to show
    bool isComplete = false;         // the top-level value was closed
};

// `utf8` is the text received so far. With `atEnd` the text is known to be whole, so a
// number or literal that runs to the end counts as finished.
Result parse(QByteArrayView utf8, bool atEnd = false);

} // namespace PartialJson
