#pragma once

// Wendle's own icon, drawn from the scalable picture compiled into the program (wendle.svg in
// resources/), for its windows and its tray icon: in colour, and in grey scale for the times
// tracking hibernates.

#include <QIcon>
#include <QImage>

// The icon at the usual sizes of windows, taskbars and trays (16 to 256 pixels), made once.
// Null when the picture cannot be drawn (a line in the log says so).
QIcon applicationIcon(bool greyScale = false);

// The picture drawn `pixels` square; null when it cannot be drawn.
QImage applicationIconImage(int pixels, bool greyScale = false);
