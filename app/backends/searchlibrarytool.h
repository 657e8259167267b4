#pragma once

#include "backends/sourcesink.h"
#include "platform/llm/tool.h"

#include <QUrl>
#include <memory>

// Recall's tool "searchLibrary": the user's Shelfwise library at `baseURL`. Adds the documents
// it finds (with excerpts) to the lookup's sink and tells the model their titles and excerpts.
// The library's failures, a time-out or a server that is down included, read as no documents.
class SearchLibraryTool : public Tool {
public:
    // Documents asked of the library per call.
    static constexpr int limit = 4;
    // Seconds each request to the library may stay idle.
    static constexpr double timeout = 5;

    SearchLibraryTool(QUrl baseURL, std::shared_ptr<SourceSink> sources);

    const QUrl& baseURL() const { return m_baseURL; }

    QString name() const override;
    QString description() const override;
    GenerationSchema parameters() const override;
    // Blocks on the library's HTTP requests, which stop when `isCanceled` turns true.
    QString call(const GeneratedContent& arguments, const CancelCheck& isCanceled) const override;

    // The text the model gets for these documents found for `query`.
    static QString report(const QString& query, const LookupItems& documents);

private:
    QUrl m_baseURL;
    std::shared_ptr<SourceSink> m_sources;
};
