// The peekwell executable with scripted sources instead of the real ones, so that end-to-end
// tests can drive the panel and the snapshot with known results. PEEKWELL_SCRIPT picks the
// script: "tabs" (the default: four tabs in every final state), "copy" (one tab whose
// rows carry copy links) or "hang" (one tab whose source never answers within 30 s). The
// results are written for the term "word", whatever the command line looks up.
#include "diagnostics/diagnostics.h"
#include "diagnostics/lookupoperations.h"
#include "lookup/copylink.h"
#include "settings/pref.h"
#include "tests/support/scriptedbackend.h"

#include <QApplication>
#include <QUrl>

using namespace Qt::Literals::StringLiterals;
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

BackendList scripted()
{
    const QByteArray script = qgetenv("PEEKWELL_SCRIPT");
    const LookupItems chats = {
        item(u"/s/1.jsonl"_s, u"Rename the parser module"_s,
             u"claude · peekwell · 2 hr. ago · you"_s,
             u"Can we call it word instead? The old name hides what it does."_s,
             copyLink(u"cd '/home/me/peekwell' && claude --resume 1f2e"_s).toString()),
        item(u"/s/2.jsonl"_s, u"Index pass is slow on large transcripts"_s,
             u"codex · peekwell · 1 day ago · agent"_s,
             u"The word step reads every file again; keep the byte offset instead."_s,
             copyLink(u"cd '/home/me/it'\\''s' && codex resume 77aa"_s).toString()),
        item(u"/s/3.jsonl"_s, u"Tidy up"_s, u"pi · notes · 3 wk. ago · you"_s, u"Short note."_s,
             copyLink(u"pi --session 3"_s).toString()),
    };
    if (script == "hang")
        return {std::make_shared<ScriptedBackend>(
            BackendInfo{u"chats"_s, u"Chats"_s, u"bubble.left.and.text.bubble.right"_s, 30},
            std::vector<ScriptedBackend::Step>{ScriptedBackend::hang()})};
    if (script == "copy")
        return {source(u"chats"_s, u"Chats"_s, u"bubble.left.and.text.bubble.right"_s,
                       {ScriptedBackend::yield(chats)})};
    return {
        source(u"apple"_s, u"Answer"_s, u"sparkles"_s,
               {ScriptedBackend::wait(50ms),
                ScriptedBackend::yield(
                    {item(u"gloss"_s, u"word"_s, u"noun"_s,
                          QStringLiteral("A single distinct meaningful element of speech or "
                                         "writing. Synonyms: term, expression, name."),
                          QString())})}),
        source(u"recall"_s, u"Recall"_s, u"brain.head.profile"_s,
               {ScriptedBackend::wait(30ms), ScriptedBackend::yield({})}),
        source(u"chats"_s, u"Chats"_s, u"bubble.left.and.text.bubble.right"_s,
               {ScriptedBackend::yield(chats)}),
        source(u"wikipedia"_s, u"Wikipedia"_s, u"globe"_s,
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
    LookupOperations::setBackendSource([](Preferences&) { return scripted(); });
    if (Diagnostics::runCommandLine(arguments))
        return app.exec();
    return 2;
}
