#pragma once

// A last save when the process ends without the quit path. Qt's X11 platform ends the process
// with exit(1) when its connection to the X server breaks ("The X11 connection broke", from the
// event reader), and Xlib's default I/O error handler does the same; neither returns to the
// event loop. exit() still runs the handlers registered with atexit(), on the thread that called
// it, which is the main thread here: the handler saves the record there. It touches neither
// windows nor the display, only the tree and files.
//
//     X server dies -> xcb event reader -> exit(1) -> atexit: save -> static destructors
//
// The quit path disarms it first (it saves by itself); a second exit() cannot call it twice.

#include <functional>

namespace VXAbruptEnd {

// Installs `save` to run at exit (once per process; a later call replaces the action).
void install(std::function<void()> save);
// The process ends by the quit path from here on: nothing runs at exit.
void disarm();

}   // namespace VXAbruptEnd
