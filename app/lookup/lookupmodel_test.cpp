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

QString phaseOf(const LookupModel& model, const QString& id)
{
    for (const auto& tab : model.tabs())
        if (tab.id == id)
            return tab.phase.reportText();
    return u"<no tab>"_s;
}

const LookupModel::Tab& tab(const LookupModel& model, const QString& id)
{
    for (const auto& t : model.tabs())
        if (t.id == id)
            return t;
    throw std::runtime_error("no tab");
}

// How a source's script ends its tab: the phase as reported, the items that stay and when the
// first list with items came.
TEST(LookupModelTest, EachWayASourceEndsGivesItsPhaseItemsAndTimings)
{
    const struct {
        const char* name;
        double timeout;
        std::vector<S::Step> steps;
        QString phase;
        QStringList items;
        std::optional<qint64> firstMsAtLeast; // none: no list with items came
    } cases[] = {
        {"done", 5, {S::wait(30ms), S::yield(S::items({"x"}))}, "done", {"x"}, 25},
        {"only empty lists", 5, {S::yield({}), S::wait(10ms), S::yield({})}, "empty", {}, {}},
        {"a thrown error keeps the items",
         5,
         {S::yield(S::items({"kept"})), S::fail("Wikipedia returned 500")},
         "failed: Wikipedia returned 500",
         {"kept"},
         0},
        {"a time-out counts whole seconds",
         1.9,
         {S::hang()},
         "failed: No answer after 1 s",
         {},
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        LookupModel model(kQuery, {scripted(u"s"_s, c.timeout, c.steps)});
        model.waitUntilFinished(5);
        const auto& t = tab(model, u"s"_s);
        EXPECT_EQ(model.report()[u"tabs"_s][0][u"phase"_s], c.phase);
        QStringList ids;
        for (const LookupItem& item : t.items)
            ids.append(item.id);
        EXPECT_EQ(ids, c.items);
        ASSERT_TRUE(t.doneMs);
        EXPECT_EQ(t.firstMs.has_value(), c.firstMsAtLeast.has_value());
        if (t.firstMs && c.firstMsAtLeast) {
            EXPECT_GE(*t.firstMs, *c.firstMsAtLeast) << "counted from the start of the lookup";
            EXPECT_LE(*t.firstMs, *t.doneMs);
        }
    }
}

TEST(LookupModelTest, HangingSourceTimesOutWithTheTruncatedSecondsAndIsCancelled)
{
    auto hanging = scripted(u"chats"_s, 0.3, {S::yield(S::items({u"x"_s})), S::hang()});
    auto probe = std::static_pointer_cast<const ScriptedBackend>(hanging)->probe();
    LookupModel model(kQuery, {hanging});
    model.waitUntilFinished(5);
    const auto& t = tab(model, u"chats"_s);
    EXPECT_EQ(t.phase, LookupModel::Phase::failed(u"No answer after 0 s"_s));
    EXPECT_EQ(t.items.size(), 1) << "items received before the time-out stay";
    ASSERT_TRUE(t.doneMs);
    EXPECT_GE(*t.doneMs, 290) << "not before the time-out";
    EXPECT_TRUE(spinUntil([&] { return probe->cancelled == 1 && probe->running == 0; }))
        << "the time-out must stop the producer";
}

TEST(LookupModelTest, FirstTabEndingEmptyMovesToTheFirstTabWithItems)
{
    LookupModel model(kQuery,
                      {scripted(u"a"_s, 5, {S::wait(150ms)}), scripted(u"b"_s, 5, {S::hang()}),
                       scripted(u"c"_s, 5, {S::yield(S::items({u"x"_s})), S::hang()})});
    ASSERT_TRUE(spinUntil([&] { return !tab(model, u"c"_s).items.isEmpty(); }));
    EXPECT_EQ(model.selected(), u"a"_s) << "a streaming update never moves the selection";
    ASSERT_TRUE(spinUntil([&] { return !tab(model, u"a"_s).phase.isRunning(); }));
    EXPECT_EQ(phaseOf(model, u"a"_s), u"empty"_s);
    EXPECT_EQ(model.selected(), u"c"_s);
    model.cancelTasks();
}

TEST(LookupModelTest, SelectionStaysUntilATabWithItemsEnds)
{
    LookupModel model(kQuery,
                      {scripted(u"a"_s, 5, {}),
                       scripted(u"b"_s, 5, {S::wait(150ms), S::yield(S::items({u"x"_s}))})});
    ASSERT_TRUE(spinUntil([&] { return tab(model, u"a"_s).phase == LookupModel::Phase::Empty; }));
    EXPECT_EQ(model.selected(), u"a"_s);
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), u"b"_s);
}

TEST(LookupModelTest, SelectedTabWithItemsKeepsTheSelection)
{
    LookupModel model(kQuery,
                      {scripted(u"a"_s, 5, {S::yield(S::items({u"x"_s})), S::fail(u"no"_s)}),
                       scripted(u"b"_s, 5, {S::yield(S::items({u"y"_s}))})});
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), u"a"_s);
}

TEST(LookupModelTest, AfterTheUserPicksATabTheSelectionNeverMovesByItself)
{
    LookupModel model(kQuery, {scripted(u"a"_s, 5, {S::wait(100ms)}),
                               scripted(u"b"_s, 5, {S::yield(S::items({u"x"_s}))}),
                               scripted(u"c"_s, 5, {})});
    QSignalSpy changes(&model, &LookupModel::changed);
    model.pickTab(u"c"_s);
    EXPECT_TRUE(model.userPicked());
    EXPECT_EQ(changes.count(), 1);
    model.waitUntilFinished(5);
    EXPECT_EQ(model.selected(), u"c"_s);
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
    EXPECT_EQ(phaseOf(model, u"a"_s), u"empty"_s);
    EXPECT_EQ(phaseOf(model, u"b"_s), u"done"_s);
    EXPECT_TRUE(spinUntil([&] { return p1->running == 0 && p2->running == 0; }));
    EXPECT_EQ(p1->cancelled + p2->cancelled, 2);
    QCoreApplication::processEvents();
    EXPECT_EQ(phaseOf(model, u"b"_s), u"done"_s)
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

TEST(LookupModelTest, ReportFlattensItemsToThreeStrings)
{
    LookupModel none(kQuery, {});
    EXPECT_TRUE(none.isFinished()) << "no sources: finished at once";
    EXPECT_EQ(none.report().keys(),
              (QStringList{u"context"_s, u"selected"_s, u"tabs"_s, u"term"_s}));
    EXPECT_EQ(none.report()[u"context"_s].toString(), u"A word here."_s);

    LookupItems items{
        LookupItem{u"1"_s, u"Title"_s, std::nullopt, u"Body"_s, QUrl(u"https://x.org"_s)}};
    LookupModel model(LookupQuery{u"t"_s, std::nullopt, u"App"_s},
                      {scripted(u"s"_s, 5, {S::yield(items)})});
    model.waitUntilFinished(5);
    const QJsonObject report = model.report();
    EXPECT_TRUE(report[u"context"_s].isNull());
    EXPECT_EQ(report[u"selected"_s], u"s"_s);
    const QJsonObject t = report[u"tabs"_s].toArray()[0].toObject();
    EXPECT_EQ(t.keys(), (QStringList{u"doneMs"_s, u"firstMs"_s, u"id"_s, u"items"_s, u"phase"_s}));
    EXPECT_EQ(t[u"items"_s].toArray()[0].toArray(), (QJsonArray{u"Title"_s, QString(), u"Body"_s}));
    EXPECT_TRUE(t[u"firstMs"_s].isDouble());
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
        EXPECT_TRUE(t.items[0].id.endsWith(u"-39"_s));
    }
}

} // namespace
