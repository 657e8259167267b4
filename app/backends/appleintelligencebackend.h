#pragma once

#include "backends/gloss.h"
#include "lookup/lookupbackend.h"
#include "platform/preferences.h"

#include <QFuture>

// The "Answer" source: a gloss of the word as it is used in its sentence (part of speech,
// meaning, synonyms), written by the on-device model, which on this system is a local model
// server ("localModel.baseURL", "localModel.name", read at each lookup).
//
// One item, "gloss", rebuilt from every partial answer, so each list replaces the one before.
// When the local model declines the sentence, the word is glossed once more on its
// own and the item says so. When the local server is not running or lacks the model, the item
// comes at once from the WordNet dictionary (the sense its sentence means) with a note saying
// how to get the model's answer; the source fails with the runtime's sentence only when the
// dictionary has no entry for the word or its files are unusable.
class AppleIntelligenceBackend : public LookupBackend {
public:
    // `preferences` must outlive the backend; it is read when lookup() is called.
    explicit AppleIntelligenceBackend(BackendInfo info,
                                      const Preferences& preferences = Preferences::standard());

    LookupStream lookup(const LookupQuery& query) const override;

    static QString instructions();
    // "WORD: " + term, and with the sentence "\nSENTENCE: " + context.
    static QString prompt(const LookupQuery& query, bool withSentence);
    // The one item for the gloss so far; a query with a context glossed without its sentence
    // ends its body with a note saying why.
    static LookupItem item(const LookupQuery& query, const Gloss::PartiallyGenerated& gloss,
                           bool withSentence);

    // Asks the local model server to load the model ahead of the first lookup, where the
    // server has a way to be asked (Ollama does); otherwise does nothing. Returns at once:
    // the work runs on the I/O pool, and the future (for tests) ends when it is done.
    static QFuture<void> prewarm(const Preferences& preferences = Preferences::standard());

    // What the Answer tab gives now, for the menu: "On device" while the local model answers;
    // otherwise what to do about it, and that WordNet answers meanwhile when its files open.
    // Blocks for up to a few seconds (it asks the server); never on the main thread.
    static QString status(const Preferences& preferences = Preferences::standard());

private:
    const Preferences* m_preferences;
};
