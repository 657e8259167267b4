#include "forceclick.h"
#include "pref.h"
#include "preferences.h"
#include "scriptedinputevents.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int Down = InputEvent::LeftMouseDown;
constexpr int Up = InputEvent::LeftMouseUp;
constexpr int QuickLook = InputEvent::QuickLook;
constexpr int Pressure = InputEvent::Pressure;

struct Fed {
    int type;
    int stage;
    bool swallowed; // the verdict expected
};

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
    const struct {
        const char* why;
        bool enabled;
        bool replaceLookUp;
        bool text;
        std::vector<Fed> fed;
        int captures;
        int forceClicks;
        int pressureEvents;
        QString lastCapture;
    } cases[] = {
        {"a word, replacing the platform's look-up: the rest of the press is swallowed",
         true,
         true,
         true,
         {{Down, 0, false},
          {Pressure, 1, false},
          {Pressure, 2, true},
          {Pressure, 2, true},
          {QuickLook, 0, true},
          {Pressure, 1, true},
          {Up, 0, false},
          {Down, 0, false},
          {Pressure, 1, false},
          {Up, 0, false}},
         1,
         1,
         5,
         u"serendipity via range in Mousepad"_s},
        {"not replacing: nothing swallowed, the lookup still comes",
         true,
         false,
         true,
         {{Down, 0, false}, {Pressure, 1, false}, {Pressure, 2, false}, {QuickLook, 0, false}},
         1,
         1,
         2,
         u"serendipity via range in Mousepad"_s},
        {"no text: nothing swallowed, still a force click",
         true,
         true,
         false,
         {{Down, 0, false}, {Pressure, 2, false}, {QuickLook, 0, false}, {Up, 0, false}},
         1,
         1,
         1,
         u"no text at pointer"_s},
        {"switched off: counted, never captured or swallowed",
         false,
         true,
         true,
         {{Down, 0, false}, {Pressure, 1, false}, {Pressure, 2, false}, {Pressure, 2, false}},
         0,
         1,
         3,
         QString()},
        {"pressed deep, eased, pressed deep again: one capture per press",
         true,
         true,
         true,
         {{Down, 0, false},
          {Pressure, 2, true},
          {Pressure, 1, true},
          {Pressure, 2, true},
          {Up, 0, false},
          {Down, 0, false},
          {Pressure, 2, true},
          {Up, 0, false}},
         2,
         2,
         4,
         u"serendipity via range in Mousepad"_s},
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
        for (const Fed& fed : c.fed)
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

TEST_F(ForceClickTest, InstallsOnceAndAgainAfterTheStreamDrops)
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

    stream->drop();
    EXPECT_FALSE(ForceClick::isInstalled());
    EXPECT_TRUE(ForceClick::install());
    EXPECT_EQ(stream->installCalls(), 3);
    stream->feed(Down);
    stream->feed(Pressure, 2);
    QCoreApplication::processEvents();
    EXPECT_EQ(lookups.size(), 1) << "the stream installed again does not reach the handler";
}

} // namespace
