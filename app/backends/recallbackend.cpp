#include "backends/recallbackend.h"

#include "backends/searchchatstool.h"
#include "backends/searchlibrarytool.h"
#include "backends/sourcesink.h"
#include "lookup/backenderror.h"

namespace {

LookupItem answerItem(const QString& label, const QString& body)
{
    return LookupItem{QStringLiteral("recall"), QStringLiteral("In your work"), label, body,
                      std::nullopt};
}

} // namespace

RecallBackend::RecallBackend(BackendInfo info, RecallModel model, std::optional<QUrl> shelfwiseURL,
                             const Preferences& preferences, const ChatIndex& index)
    : LookupBackend(std::move(info)), m_model(model), m_shelfwiseURL(std::move(shelfwiseURL)),
      m_preferences(&preferences), m_index(&index)
{
}

QString RecallBackend::instructions()
{
    return QStringLiteral(
        "You help the user remember their own work. Search their past agent conversations and "
        "their library with the tools, then answer briefly in the second person. Name the "
        "conversations you draw on by their titles. Never invent conversations; if the tools "
        "find nothing relevant, say so.");
}

QString RecallBackend::prompt(const LookupQuery& query, bool withLibrary)
{
    QString text = QStringLiteral("I force-clicked the word “") + query.term + QStringLiteral("”");
    if (query.context) {
        const bool named = query.appName && !query.appName->isEmpty();
        text += QStringLiteral(" while reading this in ") +
                (named ? *query.appName : QStringLiteral("an app")) + QStringLiteral(": “") +
                *query.context + QStringLiteral("”");
    }
    text += QStringLiteral(".\nSearch my chats");
    if (withLibrary)
        text += QStringLiteral(" and library");
    text += QStringLiteral(" for “") + query.term +
            QStringLiteral("”. Then in at most three short sentences tell me what it has meant in "
                           "my own work and which conversations it came up in.");
    return text;
}

QString RecallBackend::label(RecallModel model)
{
    switch (model.value()) {
    case RecallModel::onDevice:
        return QStringLiteral("Local model");
    case RecallModel::privateCloud:
        return QStringLiteral("Private Cloud Compute");
    case RecallModel::openAI:
        return QStringLiteral("OpenAI");
    case RecallModel::claude:
        return QStringLiteral("Claude");
    case RecallModel::custom:
        return QStringLiteral("Custom (OpenAI-compatible)");
    }
    return QString();
}

LookupStream RecallBackend::lookup(const LookupQuery& query) const
{
    return stream([model = m_model, library = m_shelfwiseURL, preferences = m_preferences,
                   index = m_index, query](StreamContext& context) {
        const auto sources = std::make_shared<SourceSink>();
        QList<std::shared_ptr<const Tool>> tools{
            std::make_shared<SearchChatsTool>(sources, *index)};
        if (library)
            tools.append(std::make_shared<SearchLibraryTool>(*library, sources));

        Session session = model.session(tools, instructions(), *preferences);
        // The local model server is asked first, so a server that is not running (or lacks
        // the model) is named as such rather than as a failed connection.
        const Availability availability = session.model().availability();
        if (!availability.isAvailable)
            throw BackendError(availability.reason);

        const QString name = label(model);
        QString last;
        session.streamResponse(
            prompt(query, library.has_value()), GenerationOptions{},
            [&](const QString& text) {
                last = text;
                context.yield(LookupItems{answerItem(name, text)} + sources->items());
            },
            [&context] { return context.isCanceled(); });
        context.yield(LookupItems{answerItem(name, last)} + sources->items());
    });
}
