#pragma once

// Picks the desktop adapters for this session, in one place, and says in the log which and why:
// on a Wayland session the native adapter that the compositor allows (wlroots, KWin, GNOME
// Shell; see VXWaylandSession.h) with the compositor's idle source, never X11 (through XWayland
// only X11 programs would be visible); on an X11 session the X11 adapter and idle counter;
// nothing when no adapter fits (said once, plainly; the program keeps running); and logind for
// sleep, session switches and locks wherever the system bus is there. Callers always get a
// desktop: a do-nothing one when no adapter fits.

#include "VXDesktop.h"
#include "VXPresence.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

class VXToplevelDesktop;
class VXWaylandConnection;

struct VXDesktopBackends {
    std::unique_ptr<VXDesktop> desktop;
    // Started by the caller; those that fail to start cost nothing. Input monitors feed the idle
    // countdown; session notification sources tell of sleep, session switches and locks.
    std::vector<std::unique_ptr<VXInputMonitor>> inputMonitors;
    std::vector<std::unique_ptr<VXSessionNotificationSource>> sessionNotificationSources;
    // Which adapter and why: a sentence for the log and for `wendle status`.
    QString description;
    // The Wayland adapter, when `desktop` is one, and Wendle's connection to the compositor.
    VXToplevelDesktop *waylandDesktop = nullptr;
    std::shared_ptr<VXWaylandConnection> waylandConnection;

    // The description, what the adapter cannot see, and what the user must do, if anything:
    // the lines of `wendle status`.
    QString status() const;
    // Something the user has to do before windows are tracked (log in again, turn extensions
    // on); empty when there is nothing. It may change while the program runs.
    QString notice() const;
    // Calls `handler` once, on the main thread, when the session's compositor goes away (the
    // session is over), before Qt's Wayland platform ends the process.
    void onSessionLost(const std::function<void()> &handler) const;
};

// Reads the session: XDG_SESSION_TYPE, WAYLAND_DISPLAY and DISPLAY say where to look; what the
// compositor and the session bus offer decides.
VXDesktopBackends VXMakeDesktopBackends();
