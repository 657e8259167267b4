#include "lookup/lookupstream.h"

#include <QThread>
#include <atomic>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;

namespace {

// That the cancellation wakes a waiting producer is checked through the lookup model.
TEST(LookupStreamTest, AListYieldedAfterCancellationIsDropped)
{
    std::atomic<bool> started{false};
    LookupStream stream = LookupStream::start([&](StreamContext& context) {
        started = true;
        context.sleepFor(30s);
        context.yield(LookupItems{LookupItem{u"late"_s, u"late"_s, {}, {}, {}}});
    });
    while (!started)
        QThread::msleep(1);
    stream.cancel();
    stream.waitForAll();
    EXPECT_EQ(stream.future().resultCount(), 0);
}

TEST(LookupStreamTest, ManyStreamsAtOnceDoNotWaitForEachOther)
{
    // More blocking producers than cores: the pool must run them side by side.
    std::atomic<int> running{0};
    std::atomic<int> peak{0};
    QList<LookupStream> streams;
    for (int i = 0; i < 8; ++i) {
        streams.append(LookupStream::start([&](StreamContext& context) {
            const int now = ++running;
            int seen = peak.load();
            while (now > seen && !peak.compare_exchange_weak(seen, now)) {
            }
            context.sleepFor(200ms);
            --running;
        }));
    }
    for (const LookupStream& stream : streams)
        stream.waitForAll();
    EXPECT_GE(peak.load(), 5);
}

} // namespace
