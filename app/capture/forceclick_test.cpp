#include "capture/forceclick.h"
#include "platform/fake/scriptedinputevents.h"
#include "platform/preferences.h"
#include "settings/pref.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// A script of events as the stream gives them: "d" left down, "u" left up, "q" quick look, "1"
// and "2" pressure stages; "!" after one: its verdict is to swallow.
struct Fed {
    int type;
    int stage;
    bool swallowed;
};

std::vector<Fed> parse(const QString& script)
{
    std::vector<Fed> fed;
    for (const QString& word : script.split(u' ')) {
        const QChar c = word.front();
        const int type = c == u'd'   ? InputEvent::LeftMouseDown
                         : c == u'u' ? InputEvent::LeftMouseUp
                         : c == u'q' ? InputEvent::QuickLook
                                     : InputEvent::Pressure;
        fed.push_back(
            {type, type == InputEvent::Pressure ? c.digitValue() : 0, word.endsWith(u'!')});
    }
    return fed;
}

class ForceClickTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto source = std::make_unique<ScriptedInputEvents>();
        stream = source.get();
        InputEvents::setSession(std::move(source));
        ForceClick::reset();
        Pref::registerDefaults(prefs);
        ForceClick::setPreferences(&prefs);
        ForceClick::setCapture([this](const PointerTarget& target) {
            ++captures;
            return text
                       ? std::optional(CapturedText{
                             {u"serendipity"_s, u"Pure serendipity."_s}, u"Mousepad"_s, u"range"_s})
                       : std::nullopt;
        });
        ForceClick::setLookupHandler([this](const CapturedText& captured, const QPointF& at) {
            lookups.append({captured.span.word, at});
        });
    }
    void TearDown() override
    {
        ForceClick::setLookupHandler({});
        ForceClick::setCapture({});
        ForceClick::setPreferences(nullptr);
        ForceClick::reset();
        InputEvents::setSession(nullptr);
    }

    QTemporaryDir dir;
    Preferences prefs{dir.path() + u"/peekwell.conf"_s};
    ScriptedInputEvents* stream = nullptr;
    bool text = true;
    int captures = 0;
    QList<std::pair<QString, QPointF>> lookups;
};

TEST_F(ForceClickTest, OnePressAtMostOneCaptureAndTheVerdictsFollowIt)
{
    const QString word = u"serendipity via range in Mousepad"_s;
    const struct {
        const char* why;
        bool enabled, replaceLookUp, text;
        QString script;
        int captures, forceClicks, pressureEvents;
        QString lastCapture;
    } cases[] = {
        {"a word, replacing the platform's look-up: the rest of the press is swallowed", true, true,
         true, u"d 1 2! 2! q! 1! u d 1 u"_s, 1, 1, 5, word},
        {"not replacing: nothing swallowed, the lookup still comes", true, false, true,
         u"d 1 2 q"_s, 1, 1, 2, word},
        {"no text: nothing swallowed, still a force click", true, true, false, u"d 2 q u"_s, 1, 1,
         1, u"no text at pointer"_s},
        {"switched off: counted, never captured or swallowed", false, true, true, u"d 1 2 2"_s, 0,
         1, 3, QString()},
        {"pressed deep, eased, pressed deep again: one capture per press", true, true, true,
         u"d 2! 1! 2! u d 2! u"_s, 2, 2, 4, word},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        ForceClick::reset();
        ASSERT_TRUE(ForceClick::install());
        prefs.setValue(u"enabled"_s, c.enabled);
        prefs.setValue(u"replaceLookUp"_s, c.replaceLookUp);
        text = c.text;
        captures = 0;
        lookups.clear();
        for (const Fed& fed : parse(c.script))
            EXPECT_EQ(stream->feed(fed.type, fed.stage, QPointF(300, 200)), fed.swallowed)
                << "type " << fed.type << " stage " << fed.stage;
        EXPECT_TRUE(lookups.isEmpty()) << "the lookup ran before the verdict went back";
        QCoreApplication::processEvents();
        EXPECT_EQ(captures, c.captures);
        const qsizetype expectedLookups = c.enabled && c.text ? c.captures : 0;
        EXPECT_EQ(lookups.size(), expectedLookups);
        for (const auto& [word, at] : lookups)
            EXPECT_EQ(at, QPointF(300, 200)) << word.toStdString();
        EXPECT_EQ(ForceClick::forceClicks(), c.forceClicks);
        EXPECT_EQ(ForceClick::pressureEvents(), c.pressureEvents);
        EXPECT_EQ(ForceClick::lastCapture(), c.lastCapture);
    }
}

TEST_F(ForceClickTest, InstallsOnceNotWhenRefusedAndAgainAfterTheStreamStops)
{
    stream->setRefusing(true);
    EXPECT_FALSE(ForceClick::install());
    EXPECT_FALSE(ForceClick::isInstalled());
    EXPECT_TRUE(ForceClick::sourceName().isEmpty());

    stream->setRefusing(false);
    EXPECT_TRUE(ForceClick::install());
    EXPECT_TRUE(ForceClick::install());
    EXPECT_EQ(stream->installCalls(), 2) << "a second install started the stream again";
    EXPECT_EQ(ForceClick::sourceName(), u"a script"_s);

    Q_EMIT stream->disabled();
    EXPECT_FALSE(ForceClick::isInstalled());
    EXPECT_TRUE(ForceClick::install());
    EXPECT_EQ(stream->installCalls(), 3) << "the stream was not started again";
}

} // namespace
