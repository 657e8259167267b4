#pragma once

#include "lookup/lookupquery.h"
#include "lookup/lookupstream.h"

#include <QString>
#include <memory>

// The identity every source carries: the tab's id, caption and symbol name, and how long
// the lookup model waits for the source's stream to end (seconds).
struct BackendInfo {
    QString id;
    QString title;
    QString symbol;
    double timeout = 0;

    friend bool operator==(const BackendInfo&, const BackendInfo&) = default;
};

// A source of lookup results. lookup() returns at once; the work happens in the stream's
// producer, off the main thread, and every element is the source's whole current list.
// Sources are immutable after construction, so one may serve several lookups at once.
class LookupBackend {
public:
    explicit LookupBackend(BackendInfo info) : m_info(std::move(info)) {}
    virtual ~LookupBackend() = default;

    const QString& id() const { return m_info.id; }
    const QString& title() const { return m_info.title; }
    const QString& symbol() const { return m_info.symbol; }
    double timeout() const { return m_info.timeout; }
    const BackendInfo& info() const { return m_info; }

    virtual LookupStream lookup(const LookupQuery& query) const = 0;

protected:
    static LookupStream stream(Producer producer)
    {
        return LookupStream::start(std::move(producer));
    }

private:
    BackendInfo m_info;
};

using BackendPtr = std::shared_ptr<const LookupBackend>;
using BackendList = QList<BackendPtr>;
