#pragma once

#include "chats/chatindex.h"
#include "lookup/lookupbackend.h"
#include "platform/preferences.h"
#include "recall/recallmodel.h"

#include <QUrl>
#include <optional>

// The "Recall" source: a language model, given tools over the user's conversations (and
// library, when it has an address), answers in a few sentences what the word has meant in
// the user's own work.
//
// Every list starts with the answer item ("recall", the answer so far), followed by at most
// six items the tools found, in the order first found: one list per snapshot of the answer,
// then a final list once the answer is complete. Fails with the model's sentence when it
// cannot be used (no base URL, no key, no local model server), or with the server's or the
// transport's error when the answer breaks off.
class RecallBackend : public LookupBackend {
public:
    // `preferences` (read for the model's settings at each lookup) and `index` must outlive
    // every stream of this source; the standard ones live for ever.
    RecallBackend(BackendInfo info, RecallModel model, std::optional<QUrl> shelfwiseURL,
                  const Preferences& preferences = Preferences::standard(),
                  const ChatIndex& index = ChatIndex::shared());

    RecallModel model() const { return m_model; }
    const std::optional<QUrl>& shelfwiseURL() const { return m_shelfwiseURL; }

    LookupStream lookup(const LookupQuery& query) const override;

    static QString instructions();
    // The request for one lookup: the word, its sentence and application when known, and
    // which of the user's material to search.
    static QString prompt(const LookupQuery& query, bool withLibrary);
    // How the answer item names the model ("Local model", "OpenAI", ...).
    static QString label(RecallModel model);

private:
    RecallModel m_model;
    std::optional<QUrl> m_shelfwiseURL;
    const Preferences* m_preferences;
    const ChatIndex* m_index;
};
