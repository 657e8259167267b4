#include "backends/sourcesink.h"

#include <algorithm>

void SourceSink::add(const LookupItems& items)
{
    std::lock_guard lock(m_lock);
    for (const LookupItem& item : items) {
        const bool known =
            std::any_of(m_found.cbegin(), m_found.cend(),
                        [&](const LookupItem& found) { return found.id == item.id; });
        if (!known)
            m_found.append(item);
    }
}

LookupItems SourceSink::items() const
{
    std::lock_guard lock(m_lock);
    return m_found.mid(0, shown);
}
