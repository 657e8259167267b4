#include "platform/presstracker.h"

#include <QTest>
#include <gtest/gtest.h>
#include <optional>
#include <variant>

namespace {

struct Press {
    QPointF at;
};
struct Move {
    QPointF to;
};
// Lets the event loop run past the hold.
struct Hold {};
using Step = std::variant<Press, Move, Hold>;

// What came out, as (type, stage) pairs with the place of the deep press.
struct Seen {
    int type;
    int stage;
    QPointF at;
    friend bool operator==(const Seen&, const Seen&) = default;
};

std::ostream& operator<<(std::ostream& out, const Seen& seen)
{
    return out << "(" << seen.type << " stage " << seen.stage << " at " << seen.at.x() << ","
               << seen.at.y() << ")";
}

constexpr int Down = InputEvent::LeftMouseDown;
constexpr int Pressure = InputEvent::Pressure;

// A click and a hold, released, run end to end (tests/e2e/input_test.cpp, gnome_test.cpp);
// here the pointer moving during the press, as the stream reports it or the probe finds it.
TEST(PressTrackerTest, OnlyAPressHeldStillTurnsDeep)
{
    const QPointF o(100, 100);
    const std::optional<QPointF> nowhere;
    const struct {
        const char* why;
        std::vector<Step> steps;
        std::optional<QPointF> probed; // where the position probe says the pointer is
        std::vector<Seen> seen;
    } cases[] = {
        {"4 px away is still",
         {Press{o}, Move{{104, 100}}, Hold{}},
         nowhere,
         {{Down, 0, o}, {Pressure, 1, o}, {Pressure, 2, {104, 100}}}},
        {"farther gives up, even back home",
         {Press{o}, Move{{103, 103}}, Move{o}, Hold{}},
         nowhere,
         {{Down, 0, o}, {Pressure, 1, o}}},
        {"the probe finds it moved away",
         {Press{o}, Hold{}},
         QPointF(110, 100),
         {{Down, 0, o}, {Pressure, 1, o}}},
        {"the probe finds it near",
         {Press{o}, Hold{}},
         QPointF(102, 101),
         {{Down, 0, o}, {Pressure, 1, o}, {Pressure, 2, {102, 101}}}},
    };
    for (const auto& c : cases) {
        std::vector<Seen> seen;
        PressTracker tracker([&](const InputEvent& event) {
            seen.push_back({event.type, event.stage, event.target.screen});
        });
        if (c.probed)
            tracker.setPositionProbe([&] { return c.probed; });
        for (const Step& step : c.steps) {
            if (const auto* press = std::get_if<Press>(&step))
                tracker.press(PointerTarget{press->at, std::nullopt});
            else if (const auto* move = std::get_if<Move>(&step))
                tracker.move(move->to);
            else
                QTest::qWait(PressTracker::kHoldMs + 200);
        }
        EXPECT_EQ(seen, c.seen) << c.why;
    }
}

} // namespace
