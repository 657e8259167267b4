#pragma once

#include "lookup/lookupitem.h"

#include <QFuture>
#include <QPromise>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

class QThreadPool;

// The pool that runs source producers. They block on network and disk, so it is sized for
// waiting work rather than for the number of cores (the global pool has one thread per core).
QThreadPool& ioThreadPool();

// What a producer sees of its stream. Valid only while the producer runs; may be used from
// the producer's thread and from threads it starts.
class StreamContext {
public:
    explicit StreamContext(QPromise<LookupItems>& promise) : m_promise(promise) {}

    // Hands one complete list to the consumer. Lists are never dropped and arrive in order.
    void yield(const LookupItems& items);
    // True once the consumer has let go of the stream; the producer stops at its next wait.
    bool isCanceled() const { return m_promise.isCanceled(); }
    // Sleeps, waking early on cancellation. Returns false when cancelled.
    bool sleepFor(std::chrono::milliseconds duration) const;

private:
    QPromise<LookupItems>& m_promise;
};

using Producer = std::function<void(StreamContext&)>;

// A source's answer: a stream of complete item lists fed by a producer on ioThreadPool().
//
// Elements travel through the future's result store (unbounded, in yield order). The
// producer's exception travels beside it rather than as the future's exception, because
// QFuture discards the stored results once an exception is reported, and a list yielded
// before a failure must still reach the consumer. error() is set before the future finishes.
//
// Cancelling the future (cancel()) is the consumer letting go: the producer sees it at its
// next wait through StreamContext::isCanceled() and whatever it yields afterwards is dropped.
class LookupStream {
public:
    // Starts the producer at once on ioThreadPool(); lists yielded before anyone watches
    // the future are kept.
    static LookupStream start(Producer producer);

    const QFuture<LookupItems>& future() const { return m_future; }
    // The producer's exception, or null when it returned normally (or has not ended yet).
    std::exception_ptr error() const;
    void cancel() { m_future.cancel(); }

    // Blocks until the producer ends and returns every list it yielded, rethrowing its
    // exception. For tests and the command line; never call it on the main thread of a
    // running panel.
    QList<LookupItems> waitForAll() const;

private:
    struct ErrorSlot {
        mutable std::mutex mutex;
        std::exception_ptr error;
    };
    QFuture<LookupItems> m_future;
    std::shared_ptr<ErrorSlot> m_error;
};
