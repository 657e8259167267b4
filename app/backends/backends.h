#pragma once

#include "lookup/lookupbackend.h"

#include <QUrl>
#include <optional>

class Preferences;

// The sources that take part in a lookup, built afresh from the preferences at each call.
namespace Backends {

// The library's address when no valid text is stored or registered.
inline const QString defaultShelfwiseURL = QStringLiteral("http://localhost:3010");

// The enabled sources in tab order: Answer ("apple"), Recall, Chats, Library ("shelfwise"),
// Wikipedia, with their fixed captions, symbols and time-outs. The library takes part only
// with a valid address, which Recall's library tool then shares. `preferences` must outlive
// the sources (the standard store lives for ever). Main thread; nothing is written.
BackendList enabled(const Preferences& preferences);

// The library's base address: none when the library source is off or its address is not a
// URL with a scheme and a host.
std::optional<QUrl> shelfwiseURL(const Preferences& preferences);

} // namespace Backends
