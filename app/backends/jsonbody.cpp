#include "backends/jsonbody.h"

#include "lookup/backenderror.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace JsonBody {

QString parseErrorText()
{
    return QStringLiteral("The data couldn’t be read because it isn’t in the correct format.");
}

QJsonValue parse(const QByteArray& body)
{
    // QJsonDocument reads only objects and arrays at the top; wrapping the body in an array
    // reads any value, and a body of several values shows up as more than one element.
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson('[' + body + ']', &error);
    if (error.error != QJsonParseError::NoError || !document.isArray() ||
        document.array().size() != 1)
        throw BackendError(parseErrorText());
    return document.array().first();
}

} // namespace JsonBody
