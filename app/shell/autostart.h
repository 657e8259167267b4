#pragma once

#include <QByteArray>
#include <QString>

// Starting Peekwell at login: an entry in the desktop's autostart folder
// ($XDG_CONFIG_HOME/autostart/peekwell.desktop) that the desktop runs when the user logs in.
namespace Autostart {

QString entryPath();
bool isEnabled();
// Writes the entry, which starts `executable`, or removes it. False when the file could not
// be written or removed; the reason is logged.
bool setEnabled(bool enabled, const QString& executable);
// The entry's text for `executable`.
QByteArray entry(const QString& executable);

} // namespace Autostart
