#pragma once

#include "chats/chatindex.h"
#include "lookup/lookupbackend.h"

#include <QDateTime>
#include <optional>

// The "Chats" source: where the looked-up word occurs in the user's conversations with coding
// agents. One list of at most eight items, best first, never two from one transcript; each
// item's link copies the shell command that resumes the conversation.
//
// Fails while the index knows no transcript at all: with "Chat index is still being built"
// until a pass has gone through the folders, then with a sentence naming the folders it
// looked in. A search that finds nothing (or an index that cannot be read) ends empty.
class ChatsBackend : public LookupBackend {
public:
    // `index` must outlive every stream of this source (the shared index lives for ever).
    explicit ChatsBackend(BackendInfo info, ChatIndex& index = ChatIndex::shared());

    LookupStream lookup(const LookupQuery& query) const override;

    // The row for a hit: title (or session id), detail "harness · folder · time · speaker",
    // the snippet as body, the resume command as a copy link.
    static LookupItem item(const ChatIndex::Hit& hit);
    // "No conversations yet in ~/.claude/projects, … or ~/.zenith/agent/sessions".
    static QString noConversationsText(const QList<ChatIndex::Source>& sources);
    // The shell command that resumes the hit's conversation, safe to paste into a shell.
    static QString resumeCommand(const ChatIndex::Hit& hit);
    // "2 hr. ago" for an ISO 8601 date-time with a zone (fractional seconds optional); none
    // when the text is not one.
    static std::optional<QString> relative(const QString& timestamp);
    static std::optional<QString> relative(const QString& timestamp, const QDateTime& now);
    // The text in single quotes, each single quote inside written as '\''.
    static QString shellQuoted(const QString& text);

private:
    ChatIndex* m_index;
};
