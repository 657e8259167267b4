#pragma once

#include <QByteArray>
#include <QJsonValue>

// Reading the JSON a server sent.
namespace JsonBody {

// The text a source's tab shows when a server's answer is not JSON.
QString parseErrorText();

// Parses a whole body as one JSON value of any kind (object, array, string, number, boolean or
// null). Throws BackendError with parseErrorText() when the body is not JSON, empty included.
QJsonValue parse(const QByteArray& body);

} // namespace JsonBody
