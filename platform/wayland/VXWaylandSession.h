#pragma once

// What a Wayland session offers Wendle, and the desktop adapter and idle source that fit it, chosen
// by what the session offers rather than by environment variables: the compositor's globals
// (the wlroots foreign-toplevel protocol; the Plasma window-management protocol, offered only to
// an authorised Wendle), then the names on the session bus (KWin, GNOME Shell).

#include "VXPresence.h"

#include <QString>

#include <memory>
#include <vector>

class VXToplevelDesktop;
class VXWaylandConnection;

struct VXWaylandChoice {
    // Null when the session offers no way to read its windows.
    std::unique_ptr<VXToplevelDesktop> desktop;
    std::vector<std::unique_ptr<VXInputMonitor>> idleSources;
    // Wendle's own connection to the compositor; null when there is no compositor to reach.
    std::shared_ptr<VXWaylandConnection> connection;
    // Which adapter and why, or why none: a sentence for the log and `wendle status`.
    QString description;
};

// Looks at the compositor of `display` (empty: $WAYLAND_DISPLAY, else "wayland-0") and at the
// session bus.
VXWaylandChoice VXChooseWaylandDesktop(const QString &display = QString());
