#pragma once

// The pictures of the organizer's rows: an application's icon from its desktop entry through
// the icon theme, a generic application icon (for "Match Any Application" and applications
// without one), and Wendle's own window, pool and info icons, drawn at any device pixel ratio.

#include "VXValue.h"

#include <QIcon>

namespace VXOrganizerIcons {

// The icon of a row's item. Desktop entries are read once per path.
QIcon iconForItem(const VXDictionary &item);
// The icon named by the desktop entry at `path` ("Icon=", a theme name or a file); null when the
// entry names none that can be found.
QIcon iconForDesktopEntry(const QString &path);
QIcon genericApplicationIcon();
QIcon windowIcon();
QIcon poolIcon();
// The pool's info icon; `highlighted` when its notes are not empty (and that is to be shown).
QIcon infoIcon(bool highlighted);

}   // namespace VXOrganizerIcons
