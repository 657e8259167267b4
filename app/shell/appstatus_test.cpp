#include "capture/forceclick.h"
#include "chats/chatindex.h"
#include "lookup/lookupstream.h"
#include "settings/pref.h"
#include "shell/appstatus.h"
#include "shell/menutexts.h"
#include "shell/menuview.h"
#include "tests/support/eventwait.h"
#include "tests/support/temphome.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// A platform the test controls: each hook records its call and answers from the fields.
struct ScriptedPlatform {
    QStringList calls;
    bool trusted = false;
    bool installed = false;
    int indexPasses = 0;
    std::function<void(qint64)> pendingIndexDone;
    std::optional<RunningApplication> active = RunningApplication{7, u"Chromium"_s, {}, {}};
    std::function<void(const RunningApplication&)> activated;
    QList<qint64> examined;
    QList<std::pair<LookupQuery, QPointF>> shown;

    AppStatus::Hooks hooks()
    {
        AppStatus::Hooks h;
        h.setLookupHandler = [this](auto handler) {
            calls << u"handler"_s;
            ForceClick::setLookupHandler(std::move(handler));
        };
        h.prewarm = [this] { calls << u"prewarm"_s; };
        h.trusted = [this] { return trusted; };
        h.requestAccess = [this] {
            calls << u"requestAccess"_s;
            return false;
        };
        h.installListener = [this] {
            calls << u"install"_s;
            installed = true;
            return true;
        };
        h.listenerInstalled = [this] { return installed; };
        h.listenerSource = [] { return u"X11"_s; };
        h.listenerProblem = [] { return u"No X server answers."_s; };
        h.appleModel = [] { return u"On device"_s; };
        h.indexPass = [this](std::function<void(qint64)> done) {
            calls << u"index"_s;
            ++indexPasses;
            pendingIndexDone = std::move(done);
        };
        h.activeApplication = [this] { return active; };
        h.enableWebAccessibility = [this](const RunningApplication& a) { examined << a.pid; };
        h.observeActivations = [this](auto handler) {
            calls << u"observe"_s;
            activated = std::move(handler);
        };
        h.show = [this](const LookupQuery& query, const QPointF& point) {
            shown.append({query, point});
        };
        return h;
    }
};

QJsonObject statusFile(const TempHome& home)
{
    QFile file(home.path() + u"/.local/state/peekwell/logs/status.json"_s);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

class AppStatusTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ForceClick::reset();
        Pref::registerDefaults();
        // The menu's Recall line asks the local model server: one on a port nothing listens on.
        Preferences::standard().setValue(u"localModel.baseURL"_s, u"http://127.0.0.1:9/v1"_s);
    }
    // The model checks run on the I/O pool and read the preferences.
    void TearDown() override { ioThreadPool().waitForDone(); }
    TempHome home;
    ScriptedPlatform platform;
};

// The menu's status lines follow the status object through the same start.
TEST_F(AppStatusTest, StartsInOrderAsksForAccessOnceAndListensOnceTrusted)
{
    AppStatus status(platform.hooks());
    MenuView menu(status, Preferences::standard());
    auto shows = [&](const QString& text) {
        for (QLabel* label : menu.findChildren<QLabel*>())
            if (label->text() == text && label->isVisibleTo(&menu))
                return true;
        return false;
    };
    status.setTickInterval(5);
    status.start();
    for (const char* call : {"handler", "prewarm", "index", "observe"})
        EXPECT_EQ(platform.calls.count(QString::fromLatin1(call)), 1) << call;
    EXPECT_EQ(platform.examined, QList<qint64>{7}) << "the active application at start";
    EXPECT_FALSE(status.trusted());
    EXPECT_FALSE(status.tapInstalled());
    EXPECT_EQ(statusFile(home).value(u"trusted"_s), QJsonValue(false)) << "written by start";
    EXPECT_TRUE(shows(MenuTexts::notListening));
    EXPECT_TRUE(shows(u"No X server answers."_s));
    EXPECT_TRUE(shows(MenuTexts::accessibilityNotice));
    EXPECT_TRUE(shows(MenuTexts::indexing));
    ASSERT_TRUE(spinUntil([&] { return shows(u"On device"_s); }));

    // Activations before access are not examined, so they are examined when they come again.
    platform.activated(RunningApplication{8, u"Code"_s, {}, {}});
    ASSERT_TRUE(spinUntil([&] { return status.ticks() >= 3; }));
    EXPECT_EQ(platform.calls.count(u"requestAccess"_s), 1);
    EXPECT_EQ(platform.examined, QList<qint64>{7}) << "examined before access";

    platform.trusted = true;
    status.refresh(); // what the next tick does
    EXPECT_TRUE(status.tapInstalled()) << "installed at the first refresh after the grant";
    ASSERT_TRUE(spinUntil([&] { return status.ticks() >= 6; }));
    EXPECT_EQ(platform.calls.count(u"install"_s), 1);
    ASSERT_TRUE(spinUntil([&] { return statusFile(home).value(u"tapInstalled"_s).toBool(); }));
    EXPECT_TRUE(statusFile(home).value(u"trusted"_s).toBool());

    platform.activated(RunningApplication{8, u"Code"_s, {}, {}});
    EXPECT_EQ(platform.examined, (QList<qint64>{7, 8}));

    platform.pendingIndexDone(3);
    ASSERT_TRUE(spinUntil([&] { return shows(u"3 sessions indexed"_s); }));
    EXPECT_TRUE(shows(MenuTexts::listening));
    EXPECT_TRUE(shows(u"Force clicks are heard through X11."_s));
    EXPECT_FALSE(shows(u"No X server answers."_s));
    EXPECT_FALSE(shows(MenuTexts::accessibilityNotice));
}

TEST_F(AppStatusTest, ReindexesEveryFifteenthTickAndKeepsTheStatusFile)
{
    AppStatus status(platform.hooks());
    status.setTickInterval(1);
    status.start();
    EXPECT_TRUE(status.indexing());
    platform.pendingIndexDone(12);
    ASSERT_TRUE(spinUntil([&] { return !status.indexing(); }));
    EXPECT_EQ(status.indexedSessions(), 12);

    // The log folder removed while running comes back with the next tick.
    const QString logs = home.path() + u"/.local/state/peekwell/logs"_s;
    ASSERT_TRUE(QDir(logs).removeRecursively());
    ASSERT_TRUE(spinUntil([&] { return status.ticks() >= 31; }));
    EXPECT_EQ(platform.indexPasses, 1 + status.ticks() / 15);
    EXPECT_TRUE(status.indexing()) << "a pass started at tick 30 has not reported";
    EXPECT_TRUE(QFile::exists(logs + u"/status.json"_s));
}

TEST_F(AppStatusTest, ForceClickOpensThePanelAndCountsInTheStatusFile)
{
    ForceClick::setCapture([](const PointerTarget&) {
        return CapturedText{TextSpan{u"launch"_s, u"A first launch."_s}, u"Mousepad"_s, u"range"_s};
    });
    AppStatus status(platform.hooks());
    status.start();

    InputEvent press{InputEvent::LeftMouseDown, 0, 0, {}};
    InputEvent pressure{InputEvent::Pressure, 1, 1, {}};
    pressure.target.screen = QPointF(310, 220);
    ForceClick::handle(press);
    ForceClick::handle(pressure);
    pressure.stage = 2;
    ForceClick::handle(pressure);
    ASSERT_TRUE(spinUntil([&] { return !platform.shown.isEmpty(); }));
    EXPECT_EQ(platform.shown.first().first,
              (LookupQuery{u"launch"_s, u"A first launch."_s, u"Mousepad"_s}));
    EXPECT_EQ(platform.shown.first().second, QPointF(310, 220));

    status.refresh();
    const QJsonObject json = statusFile(home);
    EXPECT_EQ(json.value(u"forceClicks"_s), QJsonValue(1));
    EXPECT_EQ(json.value(u"pressureEvents"_s), QJsonValue(2));
    EXPECT_EQ(json.value(u"lastCapture"_s), QJsonValue(u"launch via range in Mousepad"_s));
    EXPECT_TRUE(json.value(u"lastCaptureMs"_s).isDouble());
    // Never trusted, so not listening: the session's reason stands where the source would.
    EXPECT_TRUE(json.contains(u"listeningThrough"_s) && json.value(u"listeningThrough"_s).isNull());
    EXPECT_EQ(json.value(u"listenerProblem"_s), QJsonValue(u"No X server answers."_s));
    EXPECT_TRUE(json.value(u"updated"_s).toString().endsWith(u'Z')) << "in UTC";
    ForceClick::setCapture({});
}

// The real conversation index on a worker thread: busy from start until the pass reports,
// then the number of transcripts.
TEST_F(AppStatusTest, IndexingLineFollowsARealIndexPass)
{
    const std::string line = R"({"type":"user","sessionId":"s","cwd":"/w","timestamp":)"
                             R"("2026-03-01T12:00:00Z","message":{"role":"user","content":"hi"}})"
                             "\n";
    home.write(u".claude/projects/-w/a.jsonl"_s, QByteArray::fromStdString(line));
    home.write(u".claude/projects/-w/b.jsonl"_s, QByteArray::fromStdString(line));
    AppStatus::Hooks hooks = platform.hooks();
    hooks.indexPass = nullptr; // the real one, on ChatIndex::shared() under this home
    AppStatus status(std::move(hooks));
    status.start();
    EXPECT_TRUE(status.indexing());
    ASSERT_TRUE(spinUntil([&] { return !status.indexing(); }));
    EXPECT_EQ(status.indexedSessions(), 2);
}

} // namespace
