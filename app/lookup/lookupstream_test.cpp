#include "lookup/lookupstream.h"

#include <QThread>
#include <atomic>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

using namespace std::chrono_literals;

namespace {

LookupItems list(const QString& id)
{
    return {LookupItem{id, id, std::nullopt, std::nullopt, std::nullopt}};
}

TEST(LookupStreamTest, ConsumerCancellationReachesTheWaitingProducer)
{
    std::atomic<bool> sawCancel{false};
    std::atomic<bool> started{false};
    LookupStream stream = LookupStream::start([&](StreamContext& context) {
        started = true;
        if (!context.sleepFor(30s))
            sawCancel = true;
        context.yield(list(u"late"_s));
    });
    while (!started)
        QThread::msleep(1);
    stream.cancel();
    QFuture<LookupItems> future = stream.future();
    future.waitForFinished();
    for (int i = 0; i < 200 && !sawCancel; ++i)
        QThread::msleep(5);
    EXPECT_TRUE(sawCancel);
    EXPECT_EQ(future.resultCount(), 0) << "a list yielded after cancellation is dropped";
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
