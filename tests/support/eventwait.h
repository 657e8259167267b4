#pragma once

#include "lookup/backenderror.h"
#include "lookup/lookupstream.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

// Runs the event loop, deferred deletions included, until the condition holds or `ms` pass.
// Returns the condition's last value.
template <typename F> bool spinUntil(F condition, int ms = 10'000)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition() && clock.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(2);
    }
    return condition();
}

// Waits for the stream's producer and returns the text of the error it ended with; empty
// when it ended normally.
inline QString failureOf(const LookupStream& stream)
{
    try {
        stream.waitForAll();
    } catch (const BackendError& error) {
        return error.localizedDescription();
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    return {};
}
