#pragma once

#include <QString>

namespace corvantis {

// The program's entry among the desktop's applications, which makes the system hand it links of its
// scheme ("x-scheme-handler/corvantis").
namespace DesktopEntry {

// The entry's text for the executable at `executable`.
QString text(const QString& executable);
// "corvantis.desktop" in the user's applications folder ($XDG_DATA_HOME/applications).
QString path();
// Writes the entry when it is missing or starts another executable, and then registers the scheme
// with `xdg-mime` when that command exists. True when the entry was written. A failure to write is
// left for the next start: the program works without the entry.
bool ensure(const QString& executable);

} // namespace DesktopEntry

} // namespace corvantis
