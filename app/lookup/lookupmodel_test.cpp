#include "lookup/lookupmodel.h"
#include "tests/support/eventwait.h"
#include "tests/support/scriptedbackend.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QSignalSpy>
#include <QThread>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;
using S = ScriptedBackend;

namespace {

const LookupQuery kQuery{u"word"_s, u"A word here."_s, std::nullopt};

const LookupModel::Tab& tab(const LookupModel& model, const QString& id)
{
    for (const auto& t : model.tabs())
        if (t.id == id)
            return t;
    throw std::runtime_error("no tab");
}

TEST(LookupModelTest, HangingSourceTimesOutWithTheTruncatedSecondsAndIsCancelled)
{
    auto hanging = scripted(u"chats"_s, 1.9, {S::yield(S::items({u"x"_s})), S::hang()});
    auto probe = std::static_pointer_cast<const ScriptedBackend>(hanging)->probe();
    LookupModel model(kQuery, {hanging});
    model.waitUntilFinished(5);
    const auto& t = tab(model, u"chats"_s);
    EXPECT_EQ(model.report()[u"tabs"_s][0][u"phase"_s], u"failed: No answer after 1 s"_s);
    EXPECT_EQ(t.items.size(), 1) << "items received before the time-out stay";
    ASSERT_TRUE(t.doneMs);
    EXPECT_GE(*t.doneMs, 1890) << "not before the time-out";
    EXPECT_TRUE(spinUntil([&] { return probe->cancelled == 1 && probe->running == 0; }))
        << "the time-out must stop the producer";
}

TEST(LookupModelTest, SelectionMovesOnlyFromAnEndedTabWithoutItemsAndNeverAfterAPick)
{
    // The first tab ends empty while another streams items: the selection goes there.
    LookupModel streaming(kQuery,
                          {scripted(u"a"_s, 5, {S::wait(150ms)}), scripted(u"b"_s, 5, {S::hang()}),
                           scripted(u"c"_s, 5, {S::yield(S::items({u"x"_s})), S::hang()})});
    ASSERT_TRUE(spinUntil([&] { return !tab(streaming, u"c"_s).items.isEmpty(); }));
    EXPECT_EQ(streaming.selected(), u"a"_s) << "a streaming update never moves the selection";
    ASSERT_TRUE(spinUntil([&] { return !tab(streaming, u"a"_s).phase.isRunning(); }));
    EXPECT_EQ(tab(streaming, u"a"_s).phase.reportText(), u"empty"_s);
    EXPECT_EQ(streaming.selected(), u"c"_s);
    streaming.cancelTasks();

    // No other tab has items yet: the selection waits for one that ends with them.
    LookupModel waiting(kQuery,
                        {scripted(u"a"_s, 5, {}),
                         scripted(u"b"_s, 5, {S::wait(150ms), S::yield(S::items({u"x"_s}))})});
    ASSERT_TRUE(spinUntil([&] { return tab(waiting, u"a"_s).phase == LookupModel::Phase::Empty; }));
    EXPECT_EQ(waiting.selected(), u"a"_s);
    waiting.waitUntilFinished(5);
    EXPECT_EQ(waiting.selected(), u"b"_s);

    // A selected tab that has items keeps the selection, even when it fails afterwards.
    LookupModel kept(kQuery, {scripted(u"a"_s, 5, {S::yield(S::items({u"x"_s})), S::fail(u"no"_s)}),
                              scripted(u"b"_s, 5, {S::yield(S::items({u"y"_s}))})});
    kept.waitUntilFinished(5);
    EXPECT_EQ(kept.selected(), u"a"_s);

    // After the user picks a tab the selection never moves by itself.
    LookupModel picked(kQuery, {scripted(u"a"_s, 5, {S::wait(100ms)}),
                                scripted(u"b"_s, 5, {S::yield(S::items({u"x"_s}))}),
                                scripted(u"c"_s, 5, {})});
    QSignalSpy changes(&picked, &LookupModel::changed);
    picked.pickTab(u"c"_s);
    EXPECT_TRUE(picked.userPicked());
    EXPECT_EQ(changes.count(), 1);
    picked.waitUntilFinished(5);
    EXPECT_EQ(picked.selected(), u"c"_s);
}

TEST(LookupModelTest, CancellingTasksStopsEveryProducerAndEndsTheRunningTabs)
{
    auto first = scripted(u"a"_s, 30, {S::hang()});
    auto second = scripted(u"b"_s, 30, {S::yield(S::items({u"x"_s})), S::hang()});
    auto p1 = std::static_pointer_cast<const ScriptedBackend>(first)->probe();
    auto p2 = std::static_pointer_cast<const ScriptedBackend>(second)->probe();
    LookupModel model(kQuery, {first, second});
    ASSERT_TRUE(spinUntil([&] { return p1->running == 1 && !tab(model, u"b"_s).items.isEmpty(); }));
    model.cancelTasks();
    EXPECT_TRUE(model.isFinished()) << "a closed panel's report must be final at once";
    EXPECT_EQ(tab(model, u"a"_s).phase.reportText(), u"empty"_s);
    EXPECT_EQ(tab(model, u"b"_s).phase.reportText(), u"done"_s);
    EXPECT_TRUE(spinUntil([&] { return p1->running == 0 && p2->running == 0; }));
    EXPECT_EQ(p1->cancelled + p2->cancelled, 2);
    QCoreApplication::processEvents();
    EXPECT_EQ(tab(model, u"b"_s).phase.reportText(), u"done"_s)
        << "nothing the cancelled producers still send reaches a tab";
}

TEST(LookupModelTest, WaitEndsAtItsDeadlineWhileSourcesRun)
{
    LookupModel model(kQuery, {scripted(u"a"_s, 30, {S::hang()})});
    QElapsedTimer clock;
    clock.start();
    model.waitUntilFinished(0.2);
    EXPECT_GE(clock.elapsed(), 190) << "not before the deadline";
    EXPECT_FALSE(model.isFinished()) << "the wait ended at its deadline, not at the source's";
}

// The report: each tab's phase, its items as title, detail and body, when its first list with
// items came (counted from the start of the lookup) and when it ended.
TEST(LookupModelTest, ReportGivesPhasesTimingsAndItemsAsThreeStrings)
{
    LookupModel none(kQuery, {});
    EXPECT_TRUE(none.isFinished()) << "no sources: finished at once";

    const LookupItems items{
        LookupItem{u"1"_s, u"Title"_s, std::nullopt, u"Body"_s, QUrl(u"https://x.org"_s)}};
    LookupModel model(LookupQuery{u"t"_s, std::nullopt, u"App"_s},
                      {scripted(u"late"_s, 5, {S::wait(30ms), S::yield(items)}),
                       scripted(u"empty"_s, 5, {S::yield({}), S::wait(10ms), S::yield({})})});
    model.waitUntilFinished(5);
    const QJsonObject report = model.report();
    EXPECT_TRUE(report[u"context"_s].isNull());
    EXPECT_EQ(report[u"selected"_s], u"late"_s);
    const QJsonObject late = report[u"tabs"_s][0].toObject();
    EXPECT_EQ(late[u"phase"_s], u"done"_s);
    EXPECT_EQ(late[u"items"_s][0].toArray(), (QJsonArray{u"Title"_s, QString(), u"Body"_s}));
    EXPECT_GE(late[u"firstMs"_s].toInteger(), 25);
    EXPECT_LE(late[u"firstMs"_s].toInteger(), late[u"doneMs"_s].toInteger());
    const QJsonObject empty = report[u"tabs"_s][1].toObject();
    EXPECT_EQ(empty[u"phase"_s], u"empty"_s);
    EXPECT_TRUE(empty[u"firstMs"_s].isNull()) << "an empty list is no first list";
    EXPECT_TRUE(empty[u"doneMs"_s].isDouble());
}

TEST(LookupModelTest, ManySourcesStreamingAtOnceEachKeepTheirOwnOrder)
{
    BackendList backends;
    for (int s = 0; s < 6; ++s) {
        std::vector<S::Step> steps;
        for (int i = 0; i < 40; ++i)
            steps.push_back(S::yield(S::items({u"%1-%2"_s.arg(s).arg(i)})));
        backends.append(scripted(u"s%1"_s.arg(s), 10, steps));
    }
    LookupModel model(kQuery, backends);
    QList<int> lastSeen(6, -1);
    bool ordered = true;
    QObject::connect(&model, &LookupModel::changed, [&] {
        for (int s = 0; s < 6; ++s) {
            const auto& t = model.tabs()[s];
            const int n = t.items.isEmpty() ? -1 : t.items[0].id.section(u'-', 1).toInt();
            ordered = ordered && n >= lastSeen[s];
            lastSeen[s] = n;
        }
    });
    model.waitUntilFinished(10);
    EXPECT_TRUE(ordered);
    for (const auto& t : model.tabs()) {
        EXPECT_EQ(t.phase, LookupModel::Phase::Done);
        EXPECT_TRUE(t.items[0].id.endsWith(u"-39"_s));
    }
}

} // namespace
