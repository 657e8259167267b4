#include "backends/searchlibrarytool.h"

#include "backends/shelfwisebackend.h"
#include "recall/searcharguments.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcLibraryTool, "peekwell.backends.recall", QtWarningMsg)

SearchLibraryTool::SearchLibraryTool(QUrl baseURL, std::shared_ptr<SourceSink> sources)
    : m_baseURL(std::move(baseURL)), m_sources(std::move(sources))
{
}

QString SearchLibraryTool::name() const
{
    return QStringLiteral("searchLibrary");
}

QString SearchLibraryTool::description() const
{
    return QStringLiteral("Search the user's Shelfwise library of saved documents and notes for "
                          "a word or short phrase.");
}

GenerationSchema SearchLibraryTool::parameters() const
{
    return SearchArguments::generationSchema();
}

QString SearchLibraryTool::call(const GeneratedContent& arguments,
                                const CancelCheck& isCanceled) const
{
    const QString query = SearchArguments::from(arguments).value_or(SearchArguments{}).query;
    const ShelfwiseBackend library(BackendInfo{QStringLiteral("shelfwise"),
                                               QStringLiteral("Library"),
                                               QStringLiteral("books.vertical"), timeout},
                                   m_baseURL.toString());
    LookupItems documents;
    try {
        documents = library.search(query, limit, isCanceled);
    } catch (const std::exception& error) {
        qCInfo(lcLibraryTool) << "library search failed:" << error.what();
    }
    m_sources->add(documents);
    return report(query, documents);
}

QString SearchLibraryTool::report(const QString& query, const LookupItems& documents)
{
    if (documents.isEmpty())
        return QStringLiteral("No library documents mention “") + query + QStringLiteral("”.");
    QStringList lines;
    for (const LookupItem& document : documents) {
        lines.append(QStringLiteral("• “") + document.title + QStringLiteral("”: ") +
                     document.body.value_or(QString()));
    }
    return lines.join(QLatin1Char('\n'));
}
