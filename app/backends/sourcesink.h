#pragma once

#include "lookup/lookupitem.h"

#include <mutex>

// The items Recall's tools have found during one lookup, in the order first found, no two
// with the same id. Shared by the tools (which may run at once, each on its own thread) and
// the lookup's producer; every access takes the one lock.
class SourceSink {
public:
    // How many found items a list shows.
    static constexpr qsizetype shown = 6;

    // Appends every item whose id is not yet present; the first item with an id wins, also
    // within one call.
    void add(const LookupItems& items);
    // The first `shown` items found (all of them when there are fewer).
    LookupItems items() const;

private:
    mutable std::mutex m_lock;
    LookupItems m_found; // guarded by m_lock
};
