#include "bodytext.h"
#include "itemrow.h"
#include "lookupview.h"
#include "scriptedbackend.h"
#include "tabbutton.h"

#include <QElapsedTimer>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using S = ScriptedBackend;
using Badge = TabButton::Badge;
using Content = LookupView::Content;

namespace {

template <typename F> bool spinUntil(F condition)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition() && clock.elapsed() < 10'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
    return condition();
}

LookupQuery query(std::optional<QString> context = std::nullopt,
                  std::optional<QString> appName = QStringLiteral("Notes"))
{
    return LookupQuery{QStringLiteral("word"), std::move(context), std::move(appName)};
}

LookupItem linked(const QString& id, const QString& url)
{
    return LookupItem{id, QStringLiteral("Title ") + id, std::nullopt,
                      QStringLiteral("A word in a body."), QUrl(url)};
}

// A view over a one-tab lookup whose source plays `steps`, shown (offscreen) so that its
// layout is real.
struct OneTab {
    explicit OneTab(std::vector<S::Step> steps, double timeout = 60)
        : model(query(), {scripted(QStringLiteral("chats"), timeout, std::move(steps))}),
          view(&model, [this](const QUrl& url) { opened.append(url); })
    {
        view.show();
    }
    const LookupModel::Tab& tab() const { return model.tabs().first(); }
    TabButton* button() const { return view.tabButtons().first(); }

    LookupModel model;
    QList<QUrl> opened;
    LookupView view;
};

TEST(LookupViewTest, RunningTabWithoutResultsAsksWithASpinnerInItsBadge)
{
    OneTab loading({S::hang()});
    EXPECT_EQ(loading.tab().phase.kind(), LookupModel::Phase::Loading);
    EXPECT_EQ(loading.view.content(), Content::Asking);
    EXPECT_EQ(loading.view.stateText(), QStringLiteral("Asking CHATS\u2026"));
    EXPECT_EQ(loading.button()->badge(), Badge::Spinner);

    OneTab streaming({S::yield({}), S::hang()});
    ASSERT_TRUE(
        spinUntil([&] { return streaming.tab().phase.kind() == LookupModel::Phase::Streaming; }));
    EXPECT_EQ(streaming.view.content(), Content::Asking);
    EXPECT_EQ(streaming.view.stateText(), QStringLiteral("Asking CHATS\u2026"));
    EXPECT_EQ(streaming.button()->badge(), Badge::Spinner);
}

TEST(LookupViewTest, StreamingTabWithResultsShowsRowsAndCountsFromTwo)
{
    OneTab one({S::yield(S::items({QStringLiteral("a")})), S::hang()});
    ASSERT_TRUE(spinUntil([&] { return !one.tab().items.isEmpty(); }));
    EXPECT_EQ(one.tab().phase.kind(), LookupModel::Phase::Streaming);
    EXPECT_EQ(one.view.content(), Content::Rows);
    EXPECT_EQ(one.view.rows().size(), 1);
    EXPECT_EQ(one.button()->badge(), Badge::None);
    EXPECT_EQ(one.button()->badgeText(), QString());

    OneTab two({S::yield(S::items({QStringLiteral("a"), QStringLiteral("b")})), S::hang()});
    ASSERT_TRUE(spinUntil([&] { return !two.tab().items.isEmpty(); }));
    EXPECT_EQ(two.view.rows().size(), 2);
    EXPECT_EQ(two.button()->badge(), Badge::Count);
    EXPECT_EQ(two.button()->badgeText(), QStringLiteral("2"));
}

TEST(LookupViewTest, FinishedTabsShowRowsNothingFoundOrTheFailure)
{
    OneTab done(
        {S::yield(S::items({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}))});
    ASSERT_TRUE(spinUntil([&] { return done.tab().phase.kind() == LookupModel::Phase::Done; }));
    EXPECT_EQ(done.view.content(), Content::Rows);
    EXPECT_EQ(done.view.rows().size(), 3);
    EXPECT_EQ(done.view.rows()[2]->item().title, QStringLiteral("c"));
    EXPECT_EQ(done.button()->badgeText(), QStringLiteral("3"));

    OneTab empty({S::yield({})});
    ASSERT_TRUE(spinUntil([&] { return empty.tab().phase.kind() == LookupModel::Phase::Empty; }));
    EXPECT_EQ(empty.view.content(), Content::NothingFound);
    EXPECT_EQ(empty.view.stateText(), QStringLiteral("Nothing in CHATS for \u201cword\u201d."));
    EXPECT_TRUE(empty.view.rows().isEmpty());
    EXPECT_EQ(empty.button()->badge(), Badge::Dash);

    OneTab failed({S::fail(QStringLiteral("Set a base URL for Custom in the menu"))});
    ASSERT_TRUE(spinUntil([&] { return failed.tab().phase.kind() == LookupModel::Phase::Failed; }));
    EXPECT_EQ(failed.view.content(), Content::Failed);
    EXPECT_EQ(failed.view.stateText(), QStringLiteral("Set a base URL for Custom in the menu"));
    EXPECT_EQ(failed.button()->badge(), Badge::Failed);

    // Results that came before a failure stay on screen; the badge still tells the failure.
    OneTab failedWithRows(
        {S::yield(S::items({QStringLiteral("a")})), S::fail(QStringLiteral("broke"))});
    ASSERT_TRUE(
        spinUntil([&] { return failedWithRows.tab().phase.kind() == LookupModel::Phase::Failed; }));
    EXPECT_EQ(failedWithRows.view.content(), Content::Rows);
    EXPECT_EQ(failedWithRows.button()->badge(), Badge::Failed);

    OneTab timedOut({S::hang()}, 0.05);
    ASSERT_TRUE(
        spinUntil([&] { return timedOut.tab().phase.kind() == LookupModel::Phase::Failed; }));
    EXPECT_EQ(timedOut.view.stateText(), QStringLiteral("No answer after 0 s"));
}

TEST(LookupViewTest, HeaderShowsTermAppAndContextOnlyWhenItSaysMore)
{
    LookupModel sameAsTerm(query(QStringLiteral("word")), {});
    LookupView a(&sameAsTerm, {});
    EXPECT_EQ(a.headerTerm(), QStringLiteral("word"));
    EXPECT_EQ(a.headerAppName(), QStringLiteral("Notes"));
    EXPECT_EQ(a.headerContext(), std::nullopt);

    LookupModel withContext(query(QStringLiteral("One Word, then another word.")), {});
    LookupView b(&withContext, {});
    EXPECT_EQ(b.headerContext(), QStringLiteral("One Word, then another word."));

    LookupModel noApp(query(std::nullopt, std::nullopt), {});
    LookupView c(&noApp, {});
    EXPECT_EQ(c.headerTerm(), QStringLiteral("word"));
    EXPECT_EQ(c.headerAppName(), QString());
    EXPECT_EQ(c.headerContext(), std::nullopt);
    EXPECT_EQ(c.content(), Content::Nothing); // no sources, no tab, nothing to show
    EXPECT_TRUE(c.tabButtons().isEmpty());
}

TEST(LookupViewTest, ClickingATabSelectsItForGood)
{
    LookupModel model(query(), {scripted(QStringLiteral("apple"), 60, {S::hang()}),
                                scripted(QStringLiteral("wikipedia"), 60,
                                         {S::yield(S::items({QStringLiteral("w")}))})});
    LookupView view(&model, {});
    view.show();
    ASSERT_EQ(view.tabButtons().size(), 2);
    EXPECT_TRUE(view.tabButtons()[0]->isSelectedTab());
    QTest::mouseClick(view.tabButtons()[1], Qt::LeftButton);
    EXPECT_EQ(model.selected(), QStringLiteral("wikipedia"));
    EXPECT_TRUE(model.userPicked());
    EXPECT_TRUE(view.tabButtons()[1]->isSelectedTab());
    EXPECT_FALSE(view.tabButtons()[0]->isSelectedTab());
    ASSERT_TRUE(spinUntil([&] { return view.content() == Content::Rows; }));
    EXPECT_EQ(view.rows().first()->item().title, QStringLiteral("w"));
}

// A source that yields its first list at once and its second only when the test says so.
class GatedBackend : public LookupBackend {
public:
    GatedBackend(LookupItems first, LookupItems second)
        : LookupBackend(BackendInfo{QStringLiteral("chats"), QStringLiteral("CHATS"),
                                    QStringLiteral("globe"), 60}),
          m_first(std::move(first)), m_second(std::move(second))
    {
    }
    void open() const { m_gate->store(true); }
    LookupStream lookup(const LookupQuery&) const override
    {
        return stream([first = m_first, second = m_second, gate = m_gate](StreamContext& context) {
            context.yield(first);
            while (!gate->load())
                if (!context.sleepFor(5ms))
                    return;
            context.yield(second);
            while (context.sleepFor(1h)) {
            }
        });
    }

private:
    LookupItems m_first;
    LookupItems m_second;
    std::shared_ptr<std::atomic<bool>> m_gate = std::make_shared<std::atomic<bool>>(false);
};

TEST(LookupViewTest, StreamedUpdatesKeepRowsAndTheScrollPosition)
{
    QStringList first;
    for (int i = 0; i < 12; ++i)
        first.append(QStringLiteral("item %1").arg(i));
    QStringList second = first;
    second.insert(3, QStringLiteral("new"));
    auto source = std::make_shared<GatedBackend>(S::items(first), S::items(second));
    LookupModel model(query(), {source});
    LookupView view(&model, {});
    view.show();
    ASSERT_TRUE(spinUntil([&] { return view.rows().size() == 12; }));
    QCoreApplication::processEvents();
    const QList<ItemRow*> before = view.rows();
    QScrollBar* bar = view.resultsArea()->verticalScrollBar();
    ASSERT_GT(bar->maximum(), 40) << "twelve rows overflow the results area";
    bar->setValue(40);

    source->open();
    ASSERT_TRUE(spinUntil([&] { return view.rows().size() == 13; }));
    QCoreApplication::processEvents();
    const QList<ItemRow*> after = view.rows();
    EXPECT_EQ(after[0], before[0]);
    EXPECT_EQ(after[4], before[3]); // the same row, moved down by the new one
    EXPECT_EQ(after[3]->item().id, QStringLiteral("new"));
    EXPECT_EQ(bar->value(), 40);
}

TEST(LookupViewTest, ClickingARowOpensItsUrlAndARowWithoutOneDoesNothing)
{
    OneTab tab({S::yield({linked(QStringLiteral("a"), QStringLiteral("https://example.org/a")),
                          LookupItem{QStringLiteral("b"), QStringLiteral("No link"), std::nullopt,
                                     QStringLiteral("body"), std::nullopt}})});
    ASSERT_TRUE(spinUntil([&] { return tab.view.rows().size() == 2; }));
    QCoreApplication::processEvents();
    ItemRow* withUrl = tab.view.rows()[0];
    ItemRow* without = tab.view.rows()[1];

    QTest::mouseClick(without, Qt::LeftButton, {}, QPoint(5, 5));
    QTest::mouseClick(without->bodyText()->viewport(), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_TRUE(tab.opened.isEmpty());

    QTest::mouseClick(withUrl, Qt::LeftButton, {}, QPoint(5, 5));
    ASSERT_EQ(tab.opened.size(), 1);
    EXPECT_EQ(tab.opened[0], QUrl(QStringLiteral("https://example.org/a")));
    // The body is part of the row: a plain click on it opens too.
    QTest::mouseClick(withUrl->bodyText()->viewport(), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(tab.opened.size(), 2);
}

TEST(LookupViewTest, DraggingOverTheBodySelectsTextInsteadOfOpening)
{
    OneTab tab({S::yield({linked(QStringLiteral("a"), QStringLiteral("https://example.org/a"))})});
    ASSERT_TRUE(spinUntil([&] { return tab.view.rows().size() == 1; }));
    QCoreApplication::processEvents();
    BodyText* body = tab.view.rows()[0]->bodyText();
    ASSERT_NE(body, nullptr);
    QWidget* surface = body->viewport();
    QTest::mousePress(surface, Qt::LeftButton, {}, QPoint(2, 6));
    QTest::mouseMove(surface, QPoint(60, 6));
    QTest::mouseRelease(surface, Qt::LeftButton, {}, QPoint(60, 6));
    EXPECT_TRUE(body->textCursor().hasSelection());
    EXPECT_FALSE(body->textCursor().selectedText().isEmpty());
    EXPECT_TRUE(tab.opened.isEmpty());
}

TEST(LookupViewTest, RowBodyIsSelectableHighlightedAndNeverCut)
{
    QString longBody;
    for (int i = 0; i < 30; ++i)
        longBody += QStringLiteral("Another sentence with the word in it. ");
    OneTab tab({S::yield({LookupItem{QStringLiteral("a"), QStringLiteral("T"), QStringLiteral("d"),
                                     longBody, std::nullopt}})});
    ASSERT_TRUE(spinUntil([&] { return tab.view.rows().size() == 1; }));
    QCoreApplication::processEvents();
    BodyText* body = tab.view.rows()[0]->bodyText();
    ASSERT_NE(body, nullptr);
    EXPECT_TRUE(body->textInteractionFlags() & Qt::TextSelectableByMouse);
    EXPECT_EQ(body->body().emphasised.size(), 30);
    // Every line of the text fits in the body's height: it grows instead of scrolling.
    EXPECT_GE(body->height(), qRound(body->document()->size().height()));
    EXPECT_GT(body->height(), 200);
}

TEST(LookupViewTest, ImageIsTheViewAtTwicePixelsOnTheWindowBackground)
{
    LookupModel model(
        query(QStringLiteral("A word.")),
        {scripted(QStringLiteral("chats"), 60, {S::yield(S::items({QStringLiteral("a")}))})});
    ASSERT_TRUE(spinUntil([&] { return model.isFinished(); }));
    const QImage image = LookupView::image(&model, Appearance::Dark, 2.0);
    EXPECT_EQ(image.size(), QSize(940, 680));
    const PanelStyle dark = PanelStyle::forAppearance(Appearance::Dark);
    EXPECT_EQ(image.pixelColor(2, 2), dark.windowBackground);
    // Text was drawn: some pixels in the header are light on the dark background.
    int light = 0;
    for (int y = 20; y < 90; ++y)
        for (int x = 20; x < 300; ++x)
            light += image.pixelColor(x, y).lightness() > 160;
    EXPECT_GT(light, 100);
}

} // namespace
