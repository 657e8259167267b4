#include "backends.h"

#include "appleintelligencebackend.h"
#include "chatsbackend.h"
#include "preferences.h"
#include "recallbackend.h"
#include "recallmodel.h"
#include "shelfwisebackend.h"
#include "wikipediabackend.h"

namespace {

// The library's address as the user wrote it (its messages quote it so), when it is valid.
std::optional<QString> shelfwiseText(const Preferences& preferences)
{
    if (!preferences.boolValue(QStringLiteral("backend.shelfwise")))
        return std::nullopt;
    const QString text = preferences.stringValue(QStringLiteral("backend.shelfwise.url"))
                             .value_or(Backends::defaultShelfwiseURL);
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty())
        return std::nullopt;
    return text;
}

} // namespace

namespace Backends {

std::optional<QUrl> shelfwiseURL(const Preferences& preferences)
{
    if (const std::optional<QString> text = shelfwiseText(preferences))
        return QUrl(*text, QUrl::StrictMode);
    return std::nullopt;
}

BackendList enabled(const Preferences& preferences)
{
    const auto on = [&](const char* key) {
        return preferences.boolValue(QString::fromLatin1(key));
    };
    const std::optional<QString> libraryText = shelfwiseText(preferences);
    const std::optional<QUrl> library = shelfwiseURL(preferences);

    BackendList sources;
    if (on("backend.apple")) {
        sources.append(std::make_shared<AppleIntelligenceBackend>(
            BackendInfo{QStringLiteral("apple"), QStringLiteral("Answer"),
                        QStringLiteral("sparkles"), 20},
            preferences));
    }
    if (on("backend.recall")) {
        sources.append(std::make_shared<RecallBackend>(
            BackendInfo{QStringLiteral("recall"), QStringLiteral("Recall"),
                        QStringLiteral("brain.head.profile"), 45},
            RecallModel::current(preferences), library, preferences));
    }
    if (on("backend.chats")) {
        sources.append(std::make_shared<ChatsBackend>(
            BackendInfo{QStringLiteral("chats"), QStringLiteral("Chats"),
                        QStringLiteral("bubble.left.and.text.bubble.right"), 4}));
    }
    if (libraryText) {
        sources.append(std::make_shared<ShelfwiseBackend>(
            BackendInfo{QStringLiteral("shelfwise"), QStringLiteral("Library"),
                        QStringLiteral("books.vertical"), 5},
            *libraryText));
    }
    if (on("backend.wikipedia")) {
        sources.append(std::make_shared<WikipediaBackend>(BackendInfo{QStringLiteral("wikipedia"),
                                                                      QStringLiteral("Wikipedia"),
                                                                      QStringLiteral("globe"), 6},
                                                          preferences));
    }
    return sources;
}

} // namespace Backends
