// The peekwell executable with scripted sources instead of the real ones, so that end-to-end
// tests can drive the panel and the snapshot with known results. PEEKWELL_SCRIPT picks the
// script: "tabs" (the default: four tabs in every final state) or "copy" (one tab whose
// rows carry copy links) or "slow" (the four tabs, but Answer and Recall keep working).
// PEEKWELL_GRAB=PATH saves a picture of the panel on screen.
#include "copylink.h"
#include "diagnostics.h"
#include "lookupoperations.h"
#include "pref.h"
#include "scriptedbackend.h"

#include "lookuppanel.h"
#include "lookuppanelcontroller.h"

#include <QApplication>
#include <QScreen>
#include <QTimer>
#include <QUrl>

using namespace std::chrono_literals;

namespace {

BackendPtr source(const QString& id, const QString& title, const QString& symbol,
                  std::vector<ScriptedBackend::Step> steps)
{
    return std::make_shared<ScriptedBackend>(BackendInfo{id, title, symbol, 5}, std::move(steps));
}

LookupItem item(const QString& id, const QString& title, const QString& detail, const QString& body,
                const QString& url)
{
    return LookupItem{id, title, detail.isEmpty() ? std::nullopt : std::optional(detail),
                      body.isEmpty() ? std::nullopt : std::optional(body),
                      url.isEmpty() ? std::nullopt : std::optional(QUrl(url))};
}

QUrl copyLink(const QString& command)
{
    return CopyLink::url(command).value_or(QUrl());
}

BackendList scripted(const QString& term)
{
    const QByteArray script = qgetenv("PEEKWELL_SCRIPT");
    const LookupItems chats = {
        item(QStringLiteral("/s/1.jsonl"), QStringLiteral("Rename the parser module"),
             QStringLiteral("claude · peekwell · 2 hr. ago · you"),
             QStringLiteral("Can we call it ") + term +
                 QStringLiteral(" instead? The old name hides what it does."),
             copyLink(QStringLiteral("cd '/home/me/peekwell' && claude --resume 1f2e")).toString()),
        item(QStringLiteral("/s/2.jsonl"),
             QStringLiteral("Index pass is slow on large transcripts"),
             QStringLiteral("codex · peekwell · 1 day ago · agent"),
             QStringLiteral("The ") + term +
                 QStringLiteral(" step reads every file again; keep the byte offset instead."),
             copyLink(QStringLiteral("cd '/home/me/it'\\''s' && codex resume 77aa")).toString()),
        item(QStringLiteral("/s/3.jsonl"), QStringLiteral("Tidy up"),
             QStringLiteral("pi · notes · 3 wk. ago · you"), QStringLiteral("Short note."),
             copyLink(QStringLiteral("pi --session 3")).toString()),
    };
    if (script == "copy")
        return {source(QStringLiteral("chats"), QStringLiteral("Chats"),
                       QStringLiteral("bubble.left.and.text.bubble.right"),
                       {ScriptedBackend::yield(chats)})};
    if (script == "slow")
        return {
            source(QStringLiteral("apple"), QStringLiteral("Answer"), QStringLiteral("sparkles"),
                   {ScriptedBackend::hang()}),
            source(QStringLiteral("recall"), QStringLiteral("Recall"),
                   QStringLiteral("brain.head.profile"),
                   {ScriptedBackend::yield({}), ScriptedBackend::hang()}),
            source(QStringLiteral("chats"), QStringLiteral("Chats"),
                   QStringLiteral("bubble.left.and.text.bubble.right"),
                   {ScriptedBackend::yield(chats.mid(0, 2)), ScriptedBackend::hang()}),
            source(QStringLiteral("wikipedia"), QStringLiteral("Wikipedia"),
                   QStringLiteral("globe"), {ScriptedBackend::yield({})}),
        };
    return {
        source(QStringLiteral("apple"), QStringLiteral("Answer"), QStringLiteral("sparkles"),
               {ScriptedBackend::wait(50ms),
                ScriptedBackend::yield(
                    {item(QStringLiteral("gloss"), term, QStringLiteral("noun"),
                          QStringLiteral("A single distinct meaningful element of speech or "
                                         "writing. Synonyms: term, expression, name."),
                          QString())})}),
        source(QStringLiteral("recall"), QStringLiteral("Recall"),
               QStringLiteral("brain.head.profile"),
               {ScriptedBackend::wait(30ms), ScriptedBackend::yield({})}),
        source(QStringLiteral("chats"), QStringLiteral("Chats"),
               QStringLiteral("bubble.left.and.text.bubble.right"),
               {ScriptedBackend::yield(chats)}),
        source(QStringLiteral("wikipedia"), QStringLiteral("Wikipedia"), QStringLiteral("globe"),
               {ScriptedBackend::wait(20ms),
                ScriptedBackend::fail(QStringLiteral(
                    "Wikipedia couldn’t be reached. Check the network connection."))}),
    };
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    QApplication app(argc, argv);
    Pref::registerDefaults();
    LookupOperations::setBackendSource([arguments](Preferences&) {
        const qsizetype at = arguments.indexOf(QStringLiteral("--lookup"));
        const qsizetype snap = arguments.indexOf(QStringLiteral("--snapshot"));
        QString term = QStringLiteral("word");
        if (at >= 0 && at + 1 < arguments.size())
            term = arguments[at + 1];
        else if (snap >= 0 && snap + 2 < arguments.size())
            term = arguments[snap + 2];
        return scripted(term);
    });
    // PEEKWELL_GRAB=PATH: a picture of the screen around the panel, a second after the start.
    if (const QString grab = qEnvironmentVariable("PEEKWELL_GRAB"); !grab.isEmpty()) {
        QTimer::singleShot(1000, &app, [grab] {
            if (LookupPanel* panel = LookupPanelController::shared().panel())
                QGuiApplication::primaryScreen()
                    ->grabWindow(0, panel->x() - 20, panel->y() - 20, panel->width() + 40,
                                 panel->height() + 40)
                    .save(grab);
        });
    }
    if (Diagnostics::runCommandLine(arguments))
        return app.exec();
    return 2;
}
