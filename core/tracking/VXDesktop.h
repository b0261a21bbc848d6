#pragma once

// What the sampler needs to know about the desktop at each tick, as plain values: the running
// applications, the frontmost one, and the window list front to back. An adapter (X11, Wayland,
// the fake desktop of the tests) fills one snapshot per tick; the sampler never calls back into
// it while the tick runs.
//
// A running application is one per bundle path, however many processes it runs as (a terminal or
// a document viewer often starts one process per window): the adapter merges them, lists all of
// their windows under the one process identifier it reports, and calls the application frontmost
// when it owns the active window. The sampler therefore credits such an application once.
//
// Adapters keep their own mirror of the desktop (from X events, from the compositor's toplevel
// protocol) and copy it into the snapshot. The caller keeps the snapshot from tick to tick so
// that its vectors keep their capacity, and QString copies only share data: a steady desktop
// makes a tick allocate nothing here.

#include <QCoreApplication>
#include <QString>

#include <cstdint>
#include <vector>

// How a process takes part in the desktop. Only regular applications (a process that owns at
// least one normal top-level window shown in the taskbar) are ever tracked; tray helpers,
// daemons and other background processes are not, even when frontmost.
enum class VXActivationPolicy : int {
    Regular = 0,
    Accessory = 1,
    Prohibited = 2,
};

struct VXRunningApplication {
    VXActivationPolicy activationPolicy = VXActivationPolicy::Regular;
    // The localized name of the application, or its bundle name when it has none.
    QString localizedName;
    // The bundle path (on Linux: the desktop entry's path, else the executable); empty when the
    // process has none, in which case it is not tracked.
    QString bundlePath;
    // The bundle identifier (on Linux: the desktop-file ID); empty when none is known, in which
    // case the application is identified by its bundle path.
    QString bundleIdentifier;
    // The process under which the window list lists every window of the application (one of its
    // processes); negative when none is known: the application is then tracked without windows.
    std::int64_t processIdentifier = -1;
};

// One entry of the window list. Desktop elements (docks, desktop windows) are never listed.
struct VXWindowListEntry {
    // The owning process; negative when unknown (the window is then skipped).
    std::int64_t ownerPID = -1;
    // The window level: 0 for normal windows, the floating level for windows kept above others
    // and utility windows, the pop-up-menu level for menus.
    int layer = 0;
    // The title as the window gives it (untrimmed); empty when it has none.
    QString title;
    // The window server's number for the window (the X window id).
    std::uint64_t number = 0;
    // On screen in the current space (current desktop, or sticky, and not minimised).
    bool onScreen = true;
    // The ordered-in test: the window exists in some space and is not hidden. False also when
    // the test itself fails. Consulted only for windows that are not on screen.
    bool orderedIn = true;
};

struct VXDesktopSnapshot {
    // Every running application, one per bundle path (an empty path aside), in the platform's
    // order.
    std::vector<VXRunningApplication> runningApplications;
    // The bundle path of the application that owns the menu bar (the one owning the active
    // window); empty when it cannot be told.
    QString frontmostApplicationPath;
    // Every managed window, front to back, each marked whether it is on screen in the current
    // space. The sampler takes the windows on screen first, then (when windows of all spaces are
    // included) the others, each group in this order.
    std::vector<VXWindowListEntry> windows;
    // The two window levels that bound what counts as a document window: below the floating
    // level normally, below the pop-up-menu level when floating windows are included.
    int floatingWindowLevel = 3;
    int popUpMenuWindowLevel = 101;

    void clear()
    {
        runningApplications.clear();
        frontmostApplicationPath.clear();
        windows.clear();
    }
};

class VXDesktop
{
public:
    virtual ~VXDesktop() = default;
    // Replaces the snapshot's contents with the desktop as it is now. Called once per tick, on
    // the main thread; must not block or read the disk.
    virtual void takeSnapshot(VXDesktopSnapshot &snapshot) = 0;

    // The organizer's "Launch", "Bring to Foreground" and "Quit" for an application, named by its
    // bundle path; bringing to the front and quitting act on every process of the application.
    // Each answers whether the request went out (the desktop carries it out a moment later); when
    // not, `whyNot` says why in a sentence for the user. A desktop that cannot act answers false.

    // Brings the application's frontmost window to the front (raised, focused, shown if it was
    // minimised or on another desktop).
    virtual bool activateApplication(const QString &bundlePath, QString *whyNot = nullptr)
    {
        Q_UNUSED(bundlePath);
        return notAvailableHere(whyNot);
    }
    // Asks every window of the application to close, as its close button would.
    virtual bool quitApplication(const QString &bundlePath, QString *whyNot = nullptr)
    {
        Q_UNUSED(bundlePath);
        return notAvailableHere(whyNot);
    }
    // Starts the application from its desktop entry (or its executable).
    virtual bool launchApplication(const QString &bundlePath, QString *whyNot = nullptr)
    {
        Q_UNUSED(bundlePath);
        return notAvailableHere(whyNot);
    }

protected:
    static bool notAvailableHere(QString *whyNot)
    {
        if (whyNot)
            *whyNot = QCoreApplication::translate("VXDesktop", "This is not available on this desktop.");
        return false;
    }
};

// The desktop of a session that offers no way to read it: nothing runs, nothing is in front, and
// nothing can be brought to the front or quit. Callers never need to test for a missing adapter.
class VXNullDesktop final : public VXDesktop
{
public:
    void takeSnapshot(VXDesktopSnapshot &snapshot) override { snapshot.clear(); }
};
