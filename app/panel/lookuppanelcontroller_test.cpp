#include "panel/lookuppanel.h"
#include "panel/lookuppanelcontroller.h"
#include "tests/support/eventwait.h"
#include "tests/support/scriptedbackend.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QPointer>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using S = ScriptedBackend;
using Screen = LookupPanelController::ScreenArea;

namespace {

// A 1440 × 900 screen whose top 25 points are taken by a panel bar.
const Screen kLaptop{QRectF(0, 0, 1440, 900), QRectF(0, 25, 1440, 875)};
// A 1920 × 1080 screen to the left of it.
const Screen kLeftMonitor{QRectF(-1920, 0, 1920, 1080), QRectF(-1920, 0, 1920, 1080)};

TEST(PanelPlacementTest, BelowOrAboveThePointerKeptInsideTheScreenUnderIt)
{
    const Screen shortScreen{QRectF(0, 0, 1000, 400), QRectF(0, 0, 1000, 400)};
    const Screen narrow{QRectF(0, 0, 400, 300), QRectF(0, 0, 400, 300)};
    const QList<Screen> both{kLaptop, kLeftMonitor};
    const struct {
        const char* why;
        QPointF pointer;
        QList<Screen> screens;
        qsizetype main;
        QPointF topLeft;
    } cases[] = {
        {"right under the bar", {500, 26}, {kLaptop}, 0, {464, 42}},
        {"the last height that fits below", {500, 536}, {kLaptop}, 0, {464, 552}},
        {"one lower goes above", {500, 537}, {kLaptop}, 0, {464, 173}},
        {"neither fits: pushed back inside", {500, 200}, {shortScreen}, 0, {464, 8}},
        {"right edge", {1430, 300}, {kLaptop}, 0, {962, 316}},
        {"left edge, last clamped", {44, 300}, {kLaptop}, 0, {8, 316}},
        {"left edge, first free", {45, 300}, {kLaptop}, 0, {9, 316}},
        {"kept on the left monitor", {-20, 500}, both, 0, {-478, 516}},
        {"the monitor's own bottom", {-1000, 700}, both, 0, {-1036, 716}},
        {"on no screen: the main one", {5000, 5000}, both, 0, {962, 552}},
        {"on no screen: the other main one", {5000, 5000}, both, 1, {-478, 732}},
        {"narrow: right and top edges win", {100, 100}, {narrow}, 0, {-78, 8}},
        {"no screens at all", {100, 100}, {}, 0, {-8, 8}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(LookupPanelController::frame(c.pointer, c.screens, c.main),
                  QRectF(c.topLeft, QSizeF(470, 340)))
            << c.why;
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
    static std::shared_ptr<ScriptedBackend> hanging()
    {
        return std::make_shared<ScriptedBackend>(BackendInfo{u"a"_s, u"A"_s, u"globe"_s, 60},
                                                 std::vector<S::Step>{S::hang()});
    }
    LookupPanelController& controller = LookupPanelController::shared();
    const LookupQuery query{u"word"_s, std::nullopt, u"Peekwell test"_s};
};

TEST_F(PanelControllerTest, ANewLookupReplacesThePanelAndCloseCancelsItsSource)
{
    auto first = hanging();
    ASSERT_TRUE(controller.show(query, QPointF(100, 200), {first}));
    QPointer<LookupPanel> panel = controller.panel();
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_TRUE(panel->windowFlags() & Qt::FramelessWindowHint); // the rest: on X (tests/e2e)
    ASSERT_TRUE(spinUntil([&] { return first->probe()->running == 1; }));

    auto second = hanging();
    const std::shared_ptr<LookupModel> model = controller.show(query, QPointF(300, 300), {second});
    EXPECT_EQ(controller.model(), model);
    ASSERT_TRUE(spinUntil([&] { return first->probe()->cancelled == 1; }))
        << "the first lookup's source was not cancelled";
    ASSERT_TRUE(spinUntil([&] { return panel.isNull(); })) << "the first panel is still there";
    ASSERT_TRUE(controller.panel());
    EXPECT_EQ(controller.panel()->pos(),
              LookupPanelController::frame(QPointF(300, 300)).topLeft().toPoint());
    ASSERT_TRUE(spinUntil([&] { return second->probe()->running == 1; }));

    controller.close();
    controller.close();
    EXPECT_EQ(controller.panel(), nullptr);
    EXPECT_EQ(controller.model(), nullptr);
    // The caller's model outlives the panel, with its source stopped.
    EXPECT_EQ(model->query().term, u"word"_s);
    EXPECT_TRUE(spinUntil([&] { return second->probe()->cancelled == 1; }));
}

TEST_F(PanelControllerTest, OpeningAnyOtherUrlHandsItToTheDesktopAndCloses)
{
    UrlRecorder recorder;
    QDesktopServices::setUrlHandler(u"https"_s, &recorder, "open");
    QGuiApplication::clipboard()->setText(u"untouched"_s);
    controller.show(query, QPointF(100, 100), {});
    controller.open(QUrl(u"https://en.wikipedia.org/wiki/Word"_s));
    QDesktopServices::unsetUrlHandler(u"https"_s);
    EXPECT_EQ(recorder.urls, (QList<QUrl>{QUrl(u"https://en.wikipedia.org/wiki/Word"_s)}));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), u"untouched"_s);
    EXPECT_EQ(controller.panel(), nullptr);
}

} // namespace

#include "lookuppanelcontroller_test.moc"
