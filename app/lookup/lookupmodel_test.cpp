#include "eventwait.h"
#include "lookupmodel.h"
#include "scriptedbackend.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QSignalSpy>
#include <QThread>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using S = ScriptedBackend;

namespace {

const LookupQuery kQuery{QStringLiteral("word"), QStringLiteral("A word here."), std::nullopt};

QString phaseOf(const LookupModel& model, const QString& id)
{
    for (const auto& tab : model.tabs())
        if (tab.id == id)
            return tab.phase.reportText();
    return QStringLiteral("<no tab>");
}

const LookupModel::Tab& tab(const LookupModel& model, const QString& id)
{
    for (const auto& t : model.tabs())
        if (t.id == id)
            return t;
    throw std::runtime_error("no tab");
}

TEST(LookupModelTest, NoSourcesIsFinishedAtOnceWithAnEmptyReport)
{
    LookupModel model(kQuery, {});
    EXPECT_TRUE(model.tabs().isEmpty());
    EXPECT_EQ(model.selected(), QString());
    EXPECT_TRUE(model.isFinished());
    QElapsedTimer clock;
    clock.start();
    model.waitUntilFinished(5);
    EXPECT_LT(clock.elapsed(), 1000);
    const QJsonObject report = model.report();
    EXPECT_EQ(report.keys(), (QStringList{QStringLiteral("context"), QStringLiteral("selected"),
                                          QStringLiteral("tabs"), QStringLiteral("term")}));
    EXPECT_TRUE(report[QStringLiteral("tabs")].toArray().isEmpty());
    EXPECT_EQ(report[QStringLiteral("context")].toString(), QStringLiteral("A word here."));
}

TEST(LookupModelTest, TabsStartLoadingInSourceOrderWithTheFirstSelected)
{
    LookupModel model(kQuery, {scripted(QStringLiteral("b"), 5, {S::hang()}),
                               scripted(QStringLiteral("a"), 5, {S::hang()})});
    ASSERT_EQ(model.tabs().size(), 2);
    EXPECT_EQ(model.tabs()[0].id, QStringLiteral("b"));
    EXPECT_EQ(model.tabs()[0].title, QStringLiteral("B"));
    EXPECT_EQ(model.tabs()[1].id, QStringLiteral("a"));
    EXPECT_EQ(model.tabs()[0].phase, LookupModel::Phase::Loading);
    EXPECT_EQ(model.selected(), QStringLiteral("b"));
    EXPECT_FALSE(model.isFinished());
    EXPECT_EQ(model.taskCount(), 2);
}

TEST(LookupModelTest, YieldThenFinishIsDoneWithBothTimings)
{
    LookupModel model(kQuery,
                      {scripted(QStringLiteral("s"), 5,
                                {S::wait(30ms), S::yield(S::items({QStringLiteral("x")}))})});
    model.waitUntilFinished(5);
    const auto& t = tab(model, QStringLiteral("s"));
    EXPECT_EQ(t.phase, LookupModel::Phase::Done);
    ASSERT_TRUE(t.firstMs && t.doneMs);
    EXPECT_LE(*t.firstMs, *t.doneMs);
    EXPECT_GE(*t.firstMs, 25);
    EXPECT_EQ(t.items.size(), 1);
}

TEST(LookupModelTest, LaterListsReplaceEarlierOnes)
{
    LookupModel model(kQuery,
                      {scripted(QStringLiteral("s"), 5,
                                {S::yield(S::items({QStringLiteral("a"), QStringLiteral("b")})),
                                 S::wait(20ms), S::yield(S::items({QStringLiteral("c")}))})});
    model.waitUntilFinished(5);
    const auto& t = tab(model, QStringLiteral("s"));
    ASSERT_EQ(t.items.size(), 1);
    EXPECT_EQ(t.items[0].id, QStringLiteral("c"));
}

TEST(LookupModelTest, OnlyEmptyListsEndEmptyWithoutFirstMs)
{
    LookupModel model(
        kQuery, {scripted(QStringLiteral("s"), 5, {S::yield({}), S::wait(10ms), S::yield({})})});
    model.waitUntilFinished(5);
    const auto& t = tab(model, QStringLiteral("s"));
    EXPECT_EQ(t.phase, LookupModel::Phase::Empty);
    EXPECT_FALSE(t.firstMs);
    EXPECT_TRUE(t.doneMs);
}

TEST(LookupModelTest, ThrownErrorFailsTheTabAndKeepsItsItems)
{
    LookupModel model(kQuery, {scripted(QStringLiteral("s"), 5,
                                        {S::yield(S::items({QStringLiteral("kept")})),
                                         S::fail(QStringLiteral("Wikipedia returned 500"))})});
    model.waitUntilFinished(5);
    const auto& t = tab(model, QStringLiteral("s"));
    EXPECT_EQ(t.phase, LookupModel::Phase::failed(QStringLiteral("Wikipedia returned 500")));
    EXPECT_EQ(t.items.size(), 1);
    EXPECT_EQ(
        model.report()[QStringLiteral("tabs")].toArray()[0].toObject()[QStringLiteral("phase")],
        QStringLiteral("failed: Wikipedia returned 500"));
}

TEST(LookupModelTest, HangingSourceTimesOutWithTheTruncatedSecondsAndIsCancelled)
{
    auto hanging = scripted(QStringLiteral("chats"), 0.3,
                            {S::yield(S::items({QStringLiteral("x")})), S::hang()});
    auto probe = std::static_pointer_cast<const ScriptedBackend>(hanging)->probe();
    LookupModel model(kQuery, {hanging});
    model.waitUntilFinished(5);
    const auto& t = tab(model, QStringLiteral("chats"));
    EXPECT_EQ(t.phase, LookupModel::Phase::failed(QStringLiteral("No answer after 0 s")));
    EXPECT_EQ(t.items.size(), 1) << "items received before the time-out stay";
    ASSERT_TRUE(t.doneMs);
    EXPECT_GE(*t.doneMs, 290);
    EXPECT_LT(*t.doneMs, 3000);
    EXPECT_TRUE(spinUntil([&] { return probe->cancelled == 1 && probe->running == 0; }))
        << "the time-out must stop the producer";
}

TEST(LookupModelTest, TimeOutMessageCountsWholeSeconds)
{
    LookupModel model(kQuery, {scripted(QStringLiteral("s"), 1.9, {S::hang()})});
    model.waitUntilFinished(5);
    EXPECT_EQ(phaseOf(model, QStringLiteral("s")), QStringLiteral("failed: No answer after 1 s"));
}

TEST(LookupModelTest, FirstTabEndingEmptyMovesToTheFirstTabWithItems)
{
    LookupModel model(kQuery, {scripted(QStringLiteral("a"), 5, {S::wait(150ms)}),
                               scripted(QStringLiteral("b"), 5, {S::hang()}),
                               scripted(QStringLiteral("c"), 5,
                                        {S::yield(S::items({QStringLiteral("x")})), S::hang()})});
    ASSERT_TRUE(spinUntil([&] { return !tab(model, QStringLiteral("c")).items.isEmpty(); }));
    EXPECT_EQ(model.selected(), QStringLiteral("a"))
        << "a streaming update never moves the selection";
    ASSERT_TRUE(spinUntil([&] { return !tab(model, QStringLiteral("a")).phase.isRunning(); }));
    EXPECT_EQ(phaseOf(model, QStringLiteral("a")), QStringLiteral("empty"));
    EXPECT_EQ(model.selected(), QStringLiteral("c"));
    model.cancelTasks();
}

TEST(LookupModelTest, SelectionStaysUntilATabWithItemsEnds)
{
    LookupModel model(kQuery,
                      {scripted(QStringLiteral("a"), 5, {}),
                       scripted(QStringLiteral("b"), 5,
                                {S::wait(150ms), S::yield(S::items({QStringLiteral("x")}))})});
    ASSERT_TRUE(spinUntil(
        [&] { return tab(model, QStringLiteral("a")).phase == LookupModel::Phase::Empty; }));
    EXPECT_EQ(model.selected(), QStringLiteral("a"));
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), QStringLiteral("b"));
}

TEST(LookupModelTest, SelectedTabWithItemsKeepsTheSelection)
{
    LookupModel model(
        kQuery,
        {scripted(QStringLiteral("a"), 5,
                  {S::yield(S::items({QStringLiteral("x")})), S::fail(QStringLiteral("no"))}),
         scripted(QStringLiteral("b"), 5, {S::yield(S::items({QStringLiteral("y")}))})});
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), QStringLiteral("a"));
}

TEST(LookupModelTest, AfterTheUserPicksATabTheSelectionNeverMovesByItself)
{
    LookupModel model(
        kQuery, {scripted(QStringLiteral("a"), 5, {S::wait(100ms)}),
                 scripted(QStringLiteral("b"), 5, {S::yield(S::items({QStringLiteral("x")}))}),
                 scripted(QStringLiteral("c"), 5, {})});
    QSignalSpy changes(&model, &LookupModel::changed);
    model.pickTab(QStringLiteral("c"));
    EXPECT_TRUE(model.userPicked());
    EXPECT_EQ(changes.count(), 1);
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), QStringLiteral("c"));
}

TEST(LookupModelTest, CancellingTasksStopsEveryProducerAndEndsTheRunningTabs)
{
    auto first = scripted(QStringLiteral("a"), 30, {S::hang()});
    auto second =
        scripted(QStringLiteral("b"), 30, {S::yield(S::items({QStringLiteral("x")})), S::hang()});
    auto p1 = std::static_pointer_cast<const ScriptedBackend>(first)->probe();
    auto p2 = std::static_pointer_cast<const ScriptedBackend>(second)->probe();
    LookupModel model(kQuery, {first, second});
    ASSERT_TRUE(spinUntil(
        [&] { return p1->running == 1 && !tab(model, QStringLiteral("b")).items.isEmpty(); }));
    model.cancelTasks();
    EXPECT_TRUE(model.isFinished()) << "a closed panel's report must be final at once";
    EXPECT_EQ(phaseOf(model, QStringLiteral("a")), QStringLiteral("empty"));
    EXPECT_EQ(phaseOf(model, QStringLiteral("b")), QStringLiteral("done"));
    EXPECT_TRUE(spinUntil([&] { return p1->running == 0 && p2->running == 0; }));
    EXPECT_EQ(p1->cancelled + p2->cancelled, 2);
    QCoreApplication::processEvents();
    EXPECT_EQ(phaseOf(model, QStringLiteral("b")), QStringLiteral("done"))
        << "nothing the cancelled producers still send reaches a tab";
}

TEST(LookupModelTest, WaitEndsAtItsDeadlineWhileSourcesRun)
{
    LookupModel model(kQuery, {scripted(QStringLiteral("a"), 30, {S::hang()})});
    QElapsedTimer clock;
    clock.start();
    model.waitUntilFinished(0.2);
    EXPECT_GE(clock.elapsed(), 190);
    EXPECT_LT(clock.elapsed(), 2000);
    EXPECT_FALSE(model.isFinished());
}

TEST(LookupModelTest, ReportFlattensItemsToThreeStrings)
{
    LookupItems items{LookupItem{QStringLiteral("1"), QStringLiteral("Title"), std::nullopt,
                                 QStringLiteral("Body"), QUrl(QStringLiteral("https://x.org"))}};
    LookupModel model(LookupQuery{QStringLiteral("t"), std::nullopt, QStringLiteral("App")},
                      {scripted(QStringLiteral("s"), 5, {S::yield(items)})});
    model.waitUntilFinished(5);
    const QJsonObject report = model.report();
    EXPECT_TRUE(report[QStringLiteral("context")].isNull());
    EXPECT_EQ(report[QStringLiteral("selected")], QStringLiteral("s"));
    const QJsonObject t = report[QStringLiteral("tabs")].toArray()[0].toObject();
    EXPECT_EQ(t.keys(), (QStringList{QStringLiteral("doneMs"), QStringLiteral("firstMs"),
                                     QStringLiteral("id"), QStringLiteral("items"),
                                     QStringLiteral("phase")}));
    EXPECT_EQ(t[QStringLiteral("items")].toArray()[0].toArray(),
              (QJsonArray{QStringLiteral("Title"), QString(), QStringLiteral("Body")}));
    EXPECT_TRUE(t[QStringLiteral("firstMs")].isDouble());
}

TEST(LookupModelTest, ManySourcesStreamingAtOnceEachKeepTheirOwnOrder)
{
    BackendList backends;
    for (int s = 0; s < 6; ++s) {
        std::vector<S::Step> steps;
        for (int i = 0; i < 40; ++i)
            steps.push_back(S::yield(S::items({QStringLiteral("%1-%2").arg(s).arg(i)})));
        backends.append(scripted(QStringLiteral("s%1").arg(s), 10, steps));
    }
    LookupModel model(kQuery, backends);
    QStringList lastSeen(6);
    bool ordered = true;
    QObject::connect(&model, &LookupModel::changed, [&] {
        for (int s = 0; s < 6; ++s) {
            const auto& t = model.tabs()[s];
            if (t.items.isEmpty())
                continue;
            const int n = t.items[0].id.section(QLatin1Char('-'), 1).toInt();
            const int before = lastSeen[s].isEmpty() ? -1 : lastSeen[s].toInt();
            if (n < before)
                ordered = false;
            lastSeen[s] = QString::number(n);
        }
    });
    model.waitUntilFinished(10);
    EXPECT_TRUE(ordered);
    for (const auto& t : model.tabs()) {
        EXPECT_EQ(t.phase, LookupModel::Phase::Done);
        EXPECT_TRUE(t.items[0].id.endsWith(QStringLiteral("-39")));
    }
}

} // namespace
