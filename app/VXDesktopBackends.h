#pragma once

// Picks the desktop adapters for this session, in one place, and says in the log which: the
// X11 adapter and idle counter on an X11 session, nothing on a Wayland session without a
// supported compositor (said once, plainly; the program keeps running), and logind for sleep,
// session switches and locks wherever the system bus is there. Callers always get a desktop:
// a do-nothing one when no adapter fits.

#include "VXDesktop.h"
#include "VXPresence.h"

#include <QString>

#include <memory>
#include <vector>

struct VXDesktopBackends {
    std::unique_ptr<VXDesktop> desktop;
    // Started by the caller; those that fail to start cost nothing. Input monitors feed the idle
    // countdown; session notification sources tell of sleep, session switches and locks.
    std::vector<std::unique_ptr<VXInputMonitor>> inputMonitors;
    std::vector<std::unique_ptr<VXSessionNotificationSource>> sessionNotificationSources;
    // A sentence for the log and for `wendle status`.
    QString description;
};

// Reads the session's environment (XDG_SESSION_TYPE, WAYLAND_DISPLAY, DISPLAY).
VXDesktopBackends VXMakeDesktopBackends();
