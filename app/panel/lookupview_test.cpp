#include "panel/bodytext.h"
#include "panel/itemrow.h"
#include "panel/lookupview.h"
#include "panel/tabbutton.h"
#include "tests/support/eventwait.h"
#include "tests/support/scriptedbackend.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using S = ScriptedBackend;
using Badge = TabButton::Badge;
using Content = LookupView::Content;

namespace {

LookupQuery query(std::optional<QString> context = std::nullopt,
                  std::optional<QString> appName = u"Notes"_s)
{
    return LookupQuery{u"word"_s, std::move(context), std::move(appName)};
}

// A view over a one-tab lookup whose source plays `steps`, shown (offscreen) so that its
// layout is real.
struct OneTab {
    explicit OneTab(std::vector<S::Step> steps)
        : model(query(), {scripted(u"chats"_s, 60, std::move(steps))}),
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

TEST(LookupViewTest, EachPhaseShowsItsContentStateTextAndBadge)
{
    using P = LookupModel::Phase;
    const QStringList abc = {u"a"_s, u"b"_s, u"c"_s};
    const QString asking = u"Asking CHATS\u2026"_s;
    const QString failure = u"Set a base URL for Custom in the menu"_s;
    const struct {
        const char* name;
        std::vector<S::Step> steps;
        P::Kind phase;
        Content content;
        QString stateText;
        Badge badge;
        qsizetype rows;
    } cases[] = {
        // clang-format off
        {"loading", {S::hang()}, P::Loading, Content::Asking, asking, Badge::Spinner, 0},
        {"streaming, nothing yet", {S::yield({}), S::hang()}, P::Streaming, Content::Asking,
         asking, Badge::Spinner, 0},
        {"streaming one row", {S::yield(S::items(abc.mid(0, 1))), S::hang()}, P::Streaming,
         Content::Rows, {}, Badge::None, 1},
        {"streaming two rows", {S::yield(S::items(abc.mid(0, 2))), S::hang()}, P::Streaming,
         Content::Rows, {}, Badge::Count, 2},
        {"done", {S::yield(S::items(abc))}, P::Done, Content::Rows, {}, Badge::Count, 3},
        {"empty", {S::yield({})}, P::Empty, Content::NothingFound,
         u"Nothing in CHATS for \u201cword\u201d."_s, Badge::Dash, 0},
        {"failed", {S::fail(failure)}, P::Failed, Content::Failed, failure, Badge::Failed, 0},
        // Results that came before a failure stay on screen; the badge tells the failure.
        {"failed after rows", {S::yield(S::items(abc.mid(0, 1))), S::fail(u"broke"_s)}, P::Failed,
         Content::Rows, {}, Badge::Failed, 1},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        OneTab tab(c.steps);
        ASSERT_TRUE(spinUntil(
            [&] { return tab.tab().phase.kind() == c.phase && tab.tab().items.size() == c.rows; }));
        QCoreApplication::processEvents();
        EXPECT_EQ(tab.view.content(), c.content);
        if (!c.stateText.isEmpty()) {
            EXPECT_EQ(tab.view.stateText(), c.stateText);
        }
        EXPECT_EQ(tab.view.rows().size(), c.rows);
        EXPECT_EQ(tab.button()->badge(), c.badge);
        EXPECT_EQ(tab.button()->badgeText(),
                  c.badge == Badge::Count ? QString::number(c.rows) : QString());
        if (c.rows > 0) {
            EXPECT_EQ(tab.view.rows().last()->item().title, abc[c.rows - 1]);
        }
    }
}

TEST(LookupViewTest, HeaderShowsTermAppAndContextOnlyWhenItSaysMore)
{
    LookupModel sameAsTerm(query(u"word"_s), {});
    LookupView a(&sameAsTerm, {});
    EXPECT_EQ(a.headerTerm(), u"word"_s);
    EXPECT_EQ(a.headerAppName(), u"Notes"_s);
    EXPECT_EQ(a.headerContext(), std::nullopt);

    LookupModel withContext(query(u"One Word, then another word."_s), {});
    LookupView b(&withContext, {});
    EXPECT_EQ(b.headerContext(), u"One Word, then another word."_s);

    LookupModel noApp(query(std::nullopt, std::nullopt), {});
    LookupView c(&noApp, {});
    EXPECT_EQ(c.headerAppName(), QString());
    EXPECT_EQ(c.content(), Content::Nothing); // no sources, no tab, nothing to show
    EXPECT_TRUE(c.tabButtons().isEmpty());
}

TEST(LookupViewTest, ClickingATabSelectsItForGood)
{
    LookupModel model(query(), {scripted(u"apple"_s, 60, {S::hang()}),
                                scripted(u"wikipedia"_s, 60, {S::yield(S::items({u"w"_s}))})});
    LookupView view(&model, {});
    view.show();
    ASSERT_EQ(view.tabButtons().size(), 2);
    EXPECT_TRUE(view.tabButtons()[0]->isSelectedTab());
    QTest::mouseClick(view.tabButtons()[1], Qt::LeftButton);
    EXPECT_EQ(model.selected(), u"wikipedia"_s);
    EXPECT_TRUE(model.userPicked());
    EXPECT_TRUE(view.tabButtons()[1]->isSelectedTab());
    EXPECT_FALSE(view.tabButtons()[0]->isSelectedTab());
    ASSERT_TRUE(spinUntil([&] { return view.content() == Content::Rows; }));
    EXPECT_EQ(view.rows().first()->item().title, u"w"_s);
}

TEST(LookupViewTest, StreamedUpdatesKeepRowsAndTheScrollPosition)
{
    QStringList first;
    for (int i = 0; i < 12; ++i)
        first.append(u"item %1"_s.arg(i));
    QStringList second = first;
    second.insert(3, u"new"_s);
    const BackendPtr source =
        scripted(u"chats"_s, 60,
                 {S::yield(S::items(first)), S::gate(), S::yield(S::items(second)), S::hang()});
    LookupModel model(query(), {source});
    LookupView view(&model, {});
    view.show();
    ASSERT_TRUE(spinUntil([&] { return view.rows().size() == 12; }));
    QCoreApplication::processEvents();
    const QList<ItemRow*> before = view.rows();
    QScrollBar* bar = view.resultsArea()->verticalScrollBar();
    ASSERT_GT(bar->maximum(), 40) << "twelve rows overflow the results area";
    bar->setValue(40);

    std::static_pointer_cast<const ScriptedBackend>(source)->openGate();
    ASSERT_TRUE(spinUntil([&] { return view.rows().size() == 13; }));
    QCoreApplication::processEvents();
    const QList<ItemRow*> after = view.rows();
    EXPECT_EQ(after[0], before[0]);
    EXPECT_EQ(after[4], before[3]); // the same row, moved down by the new one
    EXPECT_EQ(after[3]->item().id, u"new"_s);
    EXPECT_EQ(bar->value(), 40);
}

TEST(LookupViewTest, RowsOpenOnAClickSelectOnADragAndShowTheirWholeBody)
{
    QString longBody;
    for (int i = 0; i < 30; ++i)
        longBody += u"Another sentence with the word in it. "_s;
    OneTab tab(
        {S::yield({LookupItem{u"a"_s, u"T"_s, u"d"_s, longBody, QUrl(u"https://example.org/a"_s)},
                   LookupItem{u"b"_s, u"No link"_s, std::nullopt, u"body"_s, std::nullopt}})});
    ASSERT_TRUE(spinUntil([&] { return tab.view.rows().size() == 2; }));
    QCoreApplication::processEvents();
    ItemRow* withUrl = tab.view.rows()[0];
    ItemRow* without = tab.view.rows()[1];

    QTest::mouseClick(without, Qt::LeftButton, {}, QPoint(5, 5));
    QTest::mouseClick(without->bodyText()->viewport(), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_TRUE(tab.opened.isEmpty());

    QTest::mouseClick(withUrl, Qt::LeftButton, {}, QPoint(5, 5));
    ASSERT_EQ(tab.opened.size(), 1);
    EXPECT_EQ(tab.opened[0], QUrl(u"https://example.org/a"_s));
    // The body is part of the row: a plain click on it opens too.
    BodyText* body = withUrl->bodyText();
    QWidget* surface = body->viewport();
    QTest::mouseClick(surface, Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(tab.opened.size(), 2);
    // Dragging over the body selects its text instead of opening.
    QTest::mousePress(surface, Qt::LeftButton, {}, QPoint(2, 6));
    QTest::mouseMove(surface, QPoint(60, 6));
    QTest::mouseRelease(surface, Qt::LeftButton, {}, QPoint(60, 6));
    EXPECT_FALSE(body->textCursor().selectedText().isEmpty());
    EXPECT_EQ(tab.opened.size(), 2);

    EXPECT_EQ(body->body().emphasised.size(), 30);
    // Every line of the text fits in the body's height: it grows instead of scrolling.
    EXPECT_GE(body->height(), qRound(body->document()->size().height()));
    EXPECT_GT(body->height(), 200);
}

TEST(LookupViewTest, ImageIsTheViewAtTwicePixelsOnTheWindowBackground)
{
    LookupModel model(query(u"A word."_s),
                      {scripted(u"chats"_s, 60, {S::yield(S::items({u"a"_s}))})});
    ASSERT_TRUE(spinUntil([&] { return model.isFinished(); }));
    const QImage image = LookupView::image(&model, Appearance::Dark, 2.0);
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
