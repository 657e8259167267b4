#include "platform/llm/openai/systemlanguagemodel.h"

#include "platform/http.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcRecall, "peekwell.recall", QtWarningMsg)

namespace {

// How long a local server may take to list its models before it counts as not running.
constexpr double listingTimeout = 3;

bool lists(const QJsonDocument& listing, const QString& name)
{
    for (const QJsonValue& entry : listing.object().value(QStringLiteral("data")).toArray()) {
        const QString id = entry.toObject().value(QStringLiteral("id")).toString();
        if (id == name || (id.startsWith(name + QLatin1Char(':')) && !name.isEmpty()))
            return true;
    }
    return false;
}

} // namespace

SystemLanguageModel::SystemLanguageModel(QUrl baseURL, QString model, QString baseURLText)
    : OpenAICompatibleModel(std::move(baseURL), std::move(model), std::nullopt),
      m_baseURLText(std::move(baseURLText))
{
}

Availability SystemLanguageModel::availability() const
{
    const Availability notRunning =
        Availability::unavailable(QStringLiteral("Start a local model server at ") + m_baseURLText);
    if (!baseURL.isValid() || baseURL.host().isEmpty())
        return notRunning;
    HttpRequest request;
    request.url = baseURL;
    QString path = request.url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    request.url.setPath(path + QStringLiteral("models"));
    request.timeout = listingTimeout;
    try {
        const HttpResponse response = Http::shared().send(request);
        if (response.status == 200 && lists(QJsonDocument::fromJson(response.body), model))
            return Availability::available();
    } catch (const HttpError& error) {
        qCInfo(lcRecall) << "local model server:" << error.localizedDescription();
        return notRunning;
    }
    return Availability::unavailable(QStringLiteral("Pull the model ") + model +
                                     QStringLiteral(" into the local model server"));
}
