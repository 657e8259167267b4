#include "backends/backends.h"

#include "settings/pref.h"

#include "backends/appleintelligencebackend.h"
#include "backends/chatsbackend.h"
#include "backends/recallbackend.h"
#include "backends/shelfwisebackend.h"
#include "backends/wikipediabackend.h"
#include "platform/preferences.h"
#include "recall/recallmodel.h"

namespace {

// The library's address as the user wrote it (its messages quote it so), when it is valid.
std::optional<QString> shelfwiseText(const Preferences& preferences)
{
    if (!preferences.boolValue(Pref::libraryOn))
        return std::nullopt;
    const QString text =
        preferences.stringValue(Pref::libraryURL).value_or(Backends::defaultShelfwiseURL);
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
    const auto on = [&](const QString& key) { return preferences.boolValue(key); };
    const std::optional<QString> libraryText = shelfwiseText(preferences);
    const std::optional<QUrl> library = shelfwiseURL(preferences);

    BackendList sources;
    if (on(Pref::answerOn)) {
        sources.append(std::make_shared<AppleIntelligenceBackend>(
            BackendInfo{QStringLiteral("apple"), QStringLiteral("Answer"),
                        QStringLiteral("sparkles"), 20},
            preferences));
    }
    if (on(Pref::recallOn)) {
        sources.append(std::make_shared<RecallBackend>(
            BackendInfo{QStringLiteral("recall"), QStringLiteral("Recall"),
                        QStringLiteral("brain.head.profile"), 45},
            RecallModel::current(preferences), library, preferences));
    }
    if (on(Pref::chatsOn)) {
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
    if (on(Pref::wikipediaOn)) {
        sources.append(std::make_shared<WikipediaBackend>(BackendInfo{QStringLiteral("wikipedia"),
                                                                      QStringLiteral("Wikipedia"),
                                                                      QStringLiteral("globe"), 6},
                                                          preferences));
    }
    return sources;
}

} // namespace Backends
