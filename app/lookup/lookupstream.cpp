#include "lookup/lookupstream.h"

#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

QThreadPool& ioThreadPool()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(64);
        p->setExpiryTimeout(30'000);
        return p;
    }();
    return *pool;
}

void StreamContext::yield(const LookupItems& items)
{
    m_promise.addResult(items);
}

bool StreamContext::sleepFor(std::chrono::milliseconds duration) const
{
    using namespace std::chrono;
    const auto deadline = steady_clock::now() + duration;
    while (!isCanceled()) {
        const auto left = duration_cast<milliseconds>(deadline - steady_clock::now());
        if (left.count() <= 0)
            return true;
        QThread::msleep(static_cast<unsigned long>(std::min<long long>(left.count(), 10)));
    }
    return false;
}

LookupStream LookupStream::start(Producer producer)
{
    LookupStream stream;
    stream.m_error = std::make_shared<ErrorSlot>();
    auto slot = stream.m_error;
    stream.m_future = QtConcurrent::run(
        &ioThreadPool(),
        [slot](QPromise<LookupItems>& promise, const Producer& produce) {
            StreamContext context(promise);
            try {
                produce(context);
            } catch (...) {
                std::lock_guard lock(slot->mutex);
                slot->error = std::current_exception();
            }
        },
        std::move(producer));
    return stream;
}

std::exception_ptr LookupStream::error() const
{
    if (!m_error)
        return nullptr;
    std::lock_guard lock(m_error->mutex);
    return m_error->error;
}

QList<LookupItems> LookupStream::waitForAll() const
{
    QFuture<LookupItems> future = m_future;
    future.waitForFinished();
    if (auto failure = error())
        std::rethrow_exception(failure);
    return future.results();
}
