#include "copylink.h"
#include "itemrow.h"
#include "lookuppanel.h"
#include "lookuppanelcontroller.h"
#include "scriptedbackend.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPointer>
#include <QTest>
#include <QThread>
#include <gtest/gtest.h>

using S = ScriptedBackend;
using Screen = LookupPanelController::ScreenArea;

namespace {

template <typename F> bool spinUntil(F condition)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition() && clock.elapsed() < 10'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(2);
    }
    return condition();
}

QRectF placed(double x, double y, const QList<Screen>& screens, qsizetype main = 0)
{
    return LookupPanelController::frame(QPointF(x, y), screens, main);
}

QRectF at(double x, double y)
{
    return {x, y, 470, 340};
}

// A 1440 × 900 screen whose top 25 points are taken by a panel bar.
const Screen kLaptop{QRectF(0, 0, 1440, 900), QRectF(0, 25, 1440, 875)};
// A 1920 × 1080 screen to the left of it.
const Screen kLeftMonitor{QRectF(-1920, 0, 1920, 1080), QRectF(-1920, 0, 1920, 1080)};

TEST(PanelPlacementTest, BelowAndLeftOfThePointerWhereThereIsRoom)
{
    EXPECT_EQ(placed(100, 200, {kLaptop}), at(64, 216));
    // Right under the bar at the top: still below the pointer.
    EXPECT_EQ(placed(500, 26, {kLaptop}), at(464, 42));
}

TEST(PanelPlacementTest, AboveThePointerNearTheBottom)
{
    EXPECT_EQ(placed(500, 800, {kLaptop}), at(464, 436));
    // The last pointer height that still fits below (bottom edge 8 above the screen's end)…
    EXPECT_EQ(placed(500, 536, {kLaptop}), at(464, 552));
    // …and one lower, which goes above.
    EXPECT_EQ(placed(500, 537, {kLaptop}), at(464, 173));
    // Near the bottom of a short area where above does not fit either: pushed back inside.
    const Screen shortScreen{QRectF(0, 0, 1000, 400), QRectF(0, 0, 1000, 400)};
    EXPECT_EQ(placed(500, 200, {shortScreen}), at(464, 8));
}

TEST(PanelPlacementTest, KeptEightPointsInsideTheLeftAndRightEdges)
{
    EXPECT_EQ(placed(1430, 300, {kLaptop}), at(962, 316));
    EXPECT_EQ(placed(10, 300, {kLaptop}), at(8, 316));
    EXPECT_EQ(placed(44, 300, {kLaptop}), at(8, 316));
    EXPECT_EQ(placed(45, 300, {kLaptop}), at(9, 316));
}

TEST(PanelPlacementTest, UsesTheScreenUnderThePointerNotThePrimaryOne)
{
    const QList<Screen> screens{kLaptop, kLeftMonitor};
    EXPECT_EQ(placed(-1000, 500, screens), at(-1036, 516));
    // Near the right end of the left monitor: kept on that monitor.
    EXPECT_EQ(placed(-20, 500, screens), at(-478, 516));
    // Low on the left monitor, below where the laptop's screen ends: the monitor's bottom counts.
    EXPECT_EQ(placed(-1000, 700, screens), at(-1036, 716));
    // A point on no screen falls back to the main one.
    EXPECT_EQ(placed(5000, 5000, screens, 0), at(962, 552));
    EXPECT_EQ(placed(5000, 5000, screens, 1), at(-478, 732));
}

TEST(PanelPlacementTest, NarrowScreenLetsTheRightAndTopEdgesWin)
{
    const Screen narrow{QRectF(0, 0, 400, 300), QRectF(0, 0, 400, 300)};
    EXPECT_EQ(placed(100, 100, {narrow}), at(-78, 8));
    // No screens at all: the panel keeps to a panel-sized area at the origin.
    EXPECT_EQ(placed(100, 100, {}), at(-8, 8));
}

// Records the URLs the desktop would open.
class UrlRecorder : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public Q_SLOTS:
    void open(const QUrl& url) { urls.append(url); }
};

class PanelControllerTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        controller.close();
        QCoreApplication::processEvents();
    }
    LookupPanelController& controller = LookupPanelController::shared();
    const LookupQuery query{QStringLiteral("word"), std::nullopt, QStringLiteral("Peekwell test")};
};

TEST_F(PanelControllerTest, ShowPlacesOnePanelAndANewLookupReplacesIt)
{
    auto first = std::make_shared<ScriptedBackend>(
        BackendInfo{QStringLiteral("a"), QStringLiteral("A"), QStringLiteral("globe"), 60},
        std::vector<S::Step>{S::hang()});
    const std::shared_ptr<LookupModel> model = controller.show(query, QPointF(100, 200), {first});
    ASSERT_TRUE(model);
    QPointer<LookupPanel> panel = controller.panel();
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(QRectF(panel->geometry()), LookupPanelController::frame(QPointF(100, 200)));
    EXPECT_TRUE(panel->windowFlags() & Qt::WindowStaysOnTopHint);
    EXPECT_TRUE(panel->windowFlags() & Qt::WindowDoesNotAcceptFocus);
    EXPECT_TRUE(panel->windowFlags() & Qt::FramelessWindowHint);
    ASSERT_TRUE(spinUntil([&] { return first->probe()->running == 1; }));

    const std::shared_ptr<LookupModel> second = controller.show(query, QPointF(300, 300), {});
    EXPECT_NE(second, model);
    EXPECT_EQ(controller.model(), second);
    ASSERT_TRUE(spinUntil([&] { return first->probe()->cancelled == 1; }))
        << "the first lookup's source was not cancelled";
    ASSERT_TRUE(spinUntil([&] { return panel.isNull(); })) << "the first panel is still there";
    ASSERT_TRUE(controller.panel());
    EXPECT_EQ(controller.panel()->pos(),
              LookupPanelController::frame(QPointF(300, 300)).topLeft().toPoint());
}

TEST_F(PanelControllerTest, CloseIsSafeTwiceAndCancelsTheLookup)
{
    auto source = std::make_shared<ScriptedBackend>(
        BackendInfo{QStringLiteral("a"), QStringLiteral("A"), QStringLiteral("globe"), 60},
        std::vector<S::Step>{S::hang()});
    const std::shared_ptr<LookupModel> model = controller.show(query, QPointF(10, 10), {source});
    ASSERT_TRUE(spinUntil([&] { return source->probe()->running == 1; }));
    controller.close();
    controller.close();
    EXPECT_EQ(controller.panel(), nullptr);
    EXPECT_EQ(controller.model(), nullptr);
    // The caller's model outlives the panel, with its source stopped.
    EXPECT_EQ(model->query().term, QStringLiteral("word"));
    EXPECT_TRUE(spinUntil([&] { return source->probe()->cancelled == 1; }));
}

TEST_F(PanelControllerTest, EscapeClosesThePanelAndOtherKeysDoNot)
{
    controller.show(query, QPointF(100, 100), {});
    LookupPanel* panel = controller.panel();
    ASSERT_TRUE(panel);
    QTest::keyClick(panel, Qt::Key_A);
    QCoreApplication::processEvents();
    EXPECT_TRUE(controller.panel());
    QTest::keyClick(panel, Qt::Key_Escape);
    EXPECT_TRUE(spinUntil([&] { return controller.panel() == nullptr; }));
}

TEST_F(PanelControllerTest, OpeningACopyLinkCopiesItsCommandAndCloses)
{
    const QUrl link = *CopyLink::url(QStringLiteral("cd '/p' && claude --resume 9"));
    auto source = scripted(QStringLiteral("chats"), 60,
                           {S::yield({LookupItem{QStringLiteral("x"), QStringLiteral("Chat"),
                                                 std::nullopt, QStringLiteral("a word"), link}})});
    controller.show(query, QPointF(100, 100), {source});
    LookupPanel* panel = controller.panel();
    ASSERT_TRUE(spinUntil([&] { return panel->view()->rows().size() == 1; }));
    QCoreApplication::processEvents();
    QTest::mouseClick(panel->view()->rows()[0], Qt::LeftButton, {}, QPoint(4, 4));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("cd '/p' && claude --resume 9"));
    EXPECT_TRUE(spinUntil([&] { return controller.panel() == nullptr; }));
}

TEST_F(PanelControllerTest, OpeningAnyOtherUrlHandsItToTheDesktopAndCloses)
{
    UrlRecorder recorder;
    QDesktopServices::setUrlHandler(QStringLiteral("https"), &recorder, "open");
    QGuiApplication::clipboard()->setText(QStringLiteral("untouched"));
    controller.show(query, QPointF(100, 100), {});
    controller.open(QUrl(QStringLiteral("https://en.wikipedia.org/wiki/Word")));
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    EXPECT_EQ(recorder.urls,
              (QList<QUrl>{QUrl(QStringLiteral("https://en.wikipedia.org/wiki/Word"))}));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("untouched"));
    EXPECT_EQ(controller.panel(), nullptr);
}

TEST_F(PanelControllerTest, ClickingInsideThePanelKeepsIt)
{
    auto source =
        scripted(QStringLiteral("chats"), 60,
                 {S::yield({LookupItem{QStringLiteral("x"), QStringLiteral("No link"), std::nullopt,
                                       QStringLiteral("a word"), std::nullopt}})});
    controller.show(query, QPointF(100, 100), {source});
    LookupPanel* panel = controller.panel();
    ASSERT_TRUE(spinUntil([&] { return panel->view()->rows().size() == 1; }));
    QTest::mouseClick(panel->view()->rows()[0], Qt::LeftButton, {}, QPoint(4, 4));
    QTest::mouseClick(panel, Qt::LeftButton, {}, QPoint(200, 100));
    QCoreApplication::processEvents();
    EXPECT_EQ(controller.panel(), panel);
}

} // namespace

#include "lookuppanelcontroller_test.moc"
