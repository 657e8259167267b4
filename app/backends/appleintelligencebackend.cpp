#include "backends/appleintelligencebackend.h"

#include "dictionary/dictionary.h"
#include "dictionary/dictionaryerror.h"
#include "lookup/backenderror.h"
#include "platform/http.h"
#include "platform/llm/generationerror.h"
#include "platform/llm/openai/systemlanguagemodel.h"
#include "platform/llm/session.h"
#include "settings/pref.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QtConcurrent>

Q_LOGGING_CATEGORY(lcAnswer, "peekwell.backends.answer", QtWarningMsg)

namespace {

const QString kWithoutSentenceNote =
    QStringLiteral("Defined without its sentence: the local model declined the sentence.");

// The dictionary's answer while the model is unavailable: the gloss of the sense WordNet
// gives for the sentence, and a note on how to get an answer written by the model. Nothing
// when WordNet has no entry or its files are unusable (the log says which file).
std::optional<LookupItem> dictionaryItem(const LookupQuery& query, const QString& unavailable)
{
    std::optional<Definition> definition;
    try {
        const WordNet wordnet;
        const std::optional<QStringView> sentence =
            query.context ? std::optional<QStringView>(*query.context) : std::nullopt;
        definition = Dictionary::define(wordnet, query.term, sentence);
    } catch (const DictionaryError& error) {
        qCWarning(lcAnswer) << "no dictionary answer:" << error.what();
        return std::nullopt;
    }
    if (!definition)
        return std::nullopt;
    Gloss::PartiallyGenerated gloss{definition->partOfSpeech, definition->meaning,
                                    definition->similar};
    LookupItem item = AppleIntelligenceBackend::item(query, gloss, true);
    *item.body += QStringLiteral("\n\nFrom the WordNet dictionary. ") + unavailable +
                  (query.context ? QStringLiteral(" for an answer written for this sentence.")
                                 : QStringLiteral(" for an answer written by a language model."));
    return item;
}

// Seconds a prewarm request may stay silent: loading a large model takes a while.
constexpr double kLoadTimeout = 120;
constexpr double kProbeTimeout = 3;

void run(const std::shared_ptr<const SystemLanguageModel>& model, const LookupQuery& query,
         bool withSentence, StreamContext& context)
{
    Session session(model, {}, AppleIntelligenceBackend::instructions());
    session.streamResponse(
        AppleIntelligenceBackend::prompt(query, withSentence), Gloss::generationSchema(), true,
        GenerationOptions{},
        [&](const GeneratedContent& partial) {
            context.yield({AppleIntelligenceBackend::item(
                query, Gloss::PartiallyGenerated::from(partial), withSentence)});
        },
        [&context] { return context.isCanceled(); });
}

// The server's own root when the API base is an Ollama-style "…/v1" mount: where Ollama's
// native interface lives.
std::optional<QUrl> serverRoot(const QUrl& apiBase)
{
    QString path = apiBase.path();
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    if (!path.endsWith(QStringLiteral("/v1")))
        return std::nullopt;
    QUrl root = apiBase;
    root.setPath(path.chopped(2));
    return root;
}

QUrl resolved(QUrl root, const QString& path)
{
    root.setPath(root.path() + path);
    return root;
}

// Ollama loads a model when asked to generate without a prompt. Other servers have no such
// request: they are recognised by not answering Ollama's version query.
void loadIntoOllama(const SystemLanguageModel& model)
{
    const std::optional<QUrl> root = serverRoot(model.baseURL);
    if (!root)
        return;
    HttpRequest probe;
    probe.url = resolved(*root, QStringLiteral("api/version"));
    probe.timeout = kProbeTimeout;
    const HttpResponse version = Http::shared().send(probe);
    if (version.status != 200 ||
        !QJsonDocument::fromJson(version.body).object().value(QStringLiteral("version")).isString())
        return;
    HttpRequest load;
    load.url = resolved(*root, QStringLiteral("api/generate"));
    load.method = "POST";
    load.headers = {{"Content-Type", "application/json"}};
    load.body = QJsonDocument(QJsonObject{{QStringLiteral("model"), model.model}})
                    .toJson(QJsonDocument::Compact);
    load.timeout = kLoadTimeout;
    const HttpResponse loaded = Http::shared().send(load);
    qCInfo(lcAnswer) << "prewarm of" << model.model << "answered" << loaded.status;
}

} // namespace

AppleIntelligenceBackend::AppleIntelligenceBackend(BackendInfo info, const Preferences& preferences)
    : LookupBackend(std::move(info)), m_preferences(&preferences)
{
}

QString AppleIntelligenceBackend::instructions()
{
    return QStringLiteral("You are a dictionary. Explain the single WORD as it is used in the "
                          "SENTENCE. Never respond to, answer or summarise the sentence.");
}

QString AppleIntelligenceBackend::prompt(const LookupQuery& query, bool withSentence)
{
    QString text = QStringLiteral("WORD: ") + query.term;
    if (withSentence)
        text += QStringLiteral("\nSENTENCE: ") + query.context.value_or(QString());
    return text;
}

LookupItem AppleIntelligenceBackend::item(const LookupQuery& query,
                                          const Gloss::PartiallyGenerated& gloss, bool withSentence)
{
    QString body = gloss.meaning.value_or(QString());
    if (gloss.synonyms && !gloss.synonyms->isEmpty())
        body += QStringLiteral("\n\nSimilar: ") + gloss.synonyms->join(QStringLiteral(", "));
    if (query.context && !withSentence)
        body += QStringLiteral("\n\n") + kWithoutSentenceNote;
    return LookupItem{QStringLiteral("gloss"), query.term, gloss.partOfSpeech, body, std::nullopt};
}

LookupStream AppleIntelligenceBackend::lookup(const LookupQuery& query) const
{
    return stream([model = Pref::localModel(*m_preferences), query](StreamContext& context) {
        const Availability availability = model->availability();
        if (!availability.isAvailable) {
            const std::optional<LookupItem> answer = dictionaryItem(query, availability.reason);
            if (!answer)
                throw BackendError(availability.reason);
            context.yield({*answer});
            return;
        }
        const bool withSentence = query.context.has_value();
        try {
            run(model, query, withSentence, context);
        } catch (const GenerationError& error) {
            if (error.kind() != GenerationError::Kind::GuardrailViolation || !withSentence)
                throw;
            run(model, query, false, context);
        }
    });
}

QString AppleIntelligenceBackend::status(const Preferences& preferences)
{
    const Availability availability = Pref::localModel(preferences)->availability();
    if (availability.isAvailable)
        return QStringLiteral("On device");
    try {
        const WordNet wordnet;
        return availability.reason + QStringLiteral(" · WordNet answers meanwhile");
    } catch (const DictionaryError&) {
        return availability.reason;
    }
}

QFuture<void> AppleIntelligenceBackend::prewarm(const Preferences& preferences)
{
    // Started the way stream producers are (a call with a promise on the I/O pool).
    return QtConcurrent::run(
        &ioThreadPool(),
        [](QPromise<void>&, const std::shared_ptr<const SystemLanguageModel>& model) {
            try {
                if (!model->availability().isAvailable)
                    return;
                Session(model, {}, instructions()).prewarm();
                loadIntoOllama(*model);
            } catch (const std::exception& error) {
                qCInfo(lcAnswer) << "prewarm failed:" << error.what();
            }
        },
        Pref::localModel(preferences));
}
