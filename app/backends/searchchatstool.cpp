#include "backends/searchchatstool.h"

#include "LookupCore/graphemes.h"
#include "backends/chatsbackend.h"
#include "recall/searcharguments.h"

namespace {

QString firstCharacters(const QString& text, qsizetype count)
{
    if (text.size() <= count) // every character holds at least one UTF-16 unit
        return text;
    return text.left(Graphemes(text).forward(0, count));
}

} // namespace

SearchChatsTool::SearchChatsTool(std::shared_ptr<SourceSink> sources, const ChatIndex& index)
    : m_sources(std::move(sources)), m_index(&index)
{
}

QString SearchChatsTool::name() const
{
    return QStringLiteral("searchChats");
}

QString SearchChatsTool::description() const
{
    return QStringLiteral("Search the user's past conversations with coding agents (Claude Code, "
                          "Codex, Pi, Zenith Agent) for a word or short phrase.");
}

GenerationSchema SearchChatsTool::parameters() const
{
    return SearchArguments::generationSchema();
}

QString SearchChatsTool::call(const GeneratedContent& arguments, const CancelCheck&) const
{
    // Arguments without a query search for nothing, and the model is told so.
    const QString query = SearchArguments::from(arguments).value_or(SearchArguments{}).query;
    const QList<ChatIndex::Hit> hits = m_index->search(query, limit);
    LookupItems items;
    for (const ChatIndex::Hit& hit : hits)
        items.append(ChatsBackend::item(hit));
    m_sources->add(items);
    return report(query, hits);
}

QString SearchChatsTool::report(const QString& query, const QList<ChatIndex::Hit>& hits)
{
    if (hits.isEmpty())
        return QStringLiteral("No conversations mention “") + query + QStringLiteral("”.");
    QStringList lines;
    for (const ChatIndex::Hit& hit : hits) {
        lines.append(QStringLiteral("• “") + firstCharacters(hit.title, titleCharacters) +
                     QStringLiteral("” (") + hit.harness + QStringLiteral(", ") +
                     ChatsBackend::relative(hit.timestamp).value_or(QString()) +
                     QStringLiteral("): ") + hit.snippet);
    }
    return lines.join(QLatin1Char('\n'));
}
