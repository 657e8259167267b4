#pragma once

#include <QString>

// The folders Peekwell keeps its files in, after the XDG base-directory conventions. Every
// path derives from $HOME and the XDG variables at the moment of the call, so pointing HOME
// at a temporary folder moves the whole program there. Nothing here creates a folder.
namespace XdgPaths {

// $HOME (falling back to the password database's home when HOME is unset).
QString home();
// $XDG_CONFIG_HOME/peekwell, default ~/.config/peekwell
QString configDir();
// $XDG_DATA_HOME/peekwell, default ~/.local/share/peekwell
QString dataDir();
// $XDG_STATE_HOME/peekwell/logs, default ~/.local/state/peekwell/logs
QString logDir();

} // namespace XdgPaths
