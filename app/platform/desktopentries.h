#pragma once

#include <QString>

// The names the desktop's application menus show, from the desktop entries
// (applications/*.desktop under $XDG_DATA_HOME and $XDG_DATA_DIRS). Read again at most once a
// minute. Main thread only.
namespace DesktopEntries {

// The name of the entry whose Exec (or TryExec) program has the same file name as
// `executable` ("/usr/lib/chromium/chromium" matches "Exec=/usr/bin/chromium %U"), in the
// language of $LANGUAGE, $LC_ALL, $LC_MESSAGES or $LANG where the entry has it. Of several,
// one that starts the program without options wins over one that passes some ("mousepad %U"
// over "mousepad --preferences"), a shown one over one kept out of menus, and then the first
// in the order the data folders take precedence. Hidden entries do not count. Empty when none
// matches.
QString nameForExecutable(const QString& executable);

} // namespace DesktopEntries
