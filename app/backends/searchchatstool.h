#pragma once

#include "backends/sourcesink.h"
#include "chats/chatindex.h"
#include "platform/llm/tool.h"

#include <memory>

// Recall's tool "searchChats": the user's conversations with coding agents, from the chat
// index. Adds the hits it finds to the lookup's sink and tells the model, one bulleted line
// per hit, which conversations mention the query. Never fails: an index that cannot be read
// finds nothing.
class SearchChatsTool : public Tool {
public:
    // Hits asked of the index per call.
    static constexpr int limit = 4;
    // Characters of a conversation's title the model is shown.
    static constexpr qsizetype titleCharacters = 70;

    // `index` must outlive the tool (the shared index lives for ever).
    explicit SearchChatsTool(std::shared_ptr<SourceSink> sources,
                             const ChatIndex& index = ChatIndex::shared());

    QString name() const override;
    QString description() const override;
    GenerationSchema parameters() const override;
    // Runs the search on the calling thread; the index answers quickly, so cancellation is
    // not polled.
    QString call(const GeneratedContent& arguments, const CancelCheck& isCanceled) const override;

    // The text the model gets for these hits of `query`.
    static QString report(const QString& query, const QList<ChatIndex::Hit>& hits);

private:
    std::shared_ptr<SourceSink> m_sources;
    const ChatIndex* m_index;
};
