#pragma once

// What a Wayland desktop adapter knows of the compositor's windows, kept from the compositor's
// events, and the tracker's view of it. The three adapters (the wlroots foreign-toplevel
// protocol, KWin, GNOME Shell) only translate their events into calls here; grouping, order and
// the snapshot are the same for all of them.
//
//   applications   one per bundle path: the desktop entry that the toplevel's app id names (as
//                  WM_CLASS does on X11), else the executable of its process, else (no process
//                  known) the program of that name on PATH, else the app id itself. A toplevel
//                  with neither app id nor process belongs to no application and is not listed.
//                  All toplevels of an application are listed under one process identifier: the
//                  lowest one known, or, where the compositor gives none, a number of the
//                  mirror's own (above any real process identifier), kept while the application
//                  runs.
//   front to back  the activation history: the active toplevel first, then the one active
//                  before it, and so on; toplevels never activated come last, oldest first
//   frontmost      the application of the active toplevel. A moment without any active
//                  toplevel (KWin says "none" between two activations) is not believed before
//                  it has lasted kNoActiveGraceMs.
//
// A tick on a steady desktop copies the snapshot made after the last change; nothing is read
// from the disk then. Desktop entries and executables are looked up when a toplevel appears or
// changes its app id or process.

#include "VXApplicationResolver.h"
#include "VXDesktop.h"
#include "VXDesktopEntryIndex.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

struct VXToplevel {
    // The app id (Wayland app_id, KWin's resource class, the desktop ID GNOME Shell matched):
    // names the desktop entry.
    QString appId;
    // A second hint for the entry: the X11 WM_CLASS instance of an XWayland window, GNOME's
    // window class. May be empty.
    QString windowClass;
    // The title, already cleaned (VXWindowTitles.h).
    QString title;
    // Negative when the compositor does not say.
    std::int64_t pid = -1;
    // A normal window shown in task bars (not skip-taskbar, not a dock or desktop).
    bool regular = true;
    bool minimized = false;
    bool onCurrentDesktop = true;
    // Docks, panels and desktop backgrounds: never listed.
    bool desktopElement = false;
    // 0 for normal windows; VXToplevelMirror::kFloatingWindowLevel for windows kept above.
    int layer = 0;

    friend bool operator==(const VXToplevel &, const VXToplevel &) = default;
};

// The state flags that Wendle's KWin script and GNOME Shell extension send with each window
// (kwin/wendle-tracker.js, gnome-shell/tracker.js).
enum VXToplevelFlag : unsigned {
    VXToplevelRegular = 1,
    VXToplevelMinimized = 2,
    VXToplevelOnCurrentDesktop = 4,
    VXToplevelKeepAbove = 8,
    VXToplevelDesktopElement = 16,
};

// Sets the toplevel's states from those flags.
void VXApplyToplevelFlags(VXToplevel &toplevel, unsigned flags);

class VXToplevelMirror
{
public:
    using Id = std::uint64_t;
    // Milliseconds without an active toplevel before the mirror says that none is active.
    static constexpr int kNoActiveGraceMs = 250;
    static constexpr int kFloatingWindowLevel = 3;
    static constexpr int kPopUpMenuWindowLevel = 101;
    // The process identifiers the mirror makes up start here: Linux process identifiers stay
    // below 2^22.
    static constexpr std::int64_t kFirstOwnProcessIdentifier = std::int64_t(1) << 32;

    struct Options {
        // The applications folders searched for desktop entries; default: the XDG folders.
        std::optional<QStringList> applicationFolders;
        // The locale whose Name[...] is taken ("de_DE"); default: QLocale::system().
        std::optional<QString> localeName;
        // Milliseconds of a monotonic clock; default: a steady clock. Tests set their own.
        std::function<std::int64_t()> clock;
    };

    explicit VXToplevelMirror(const Options &options = Options());
    ~VXToplevelMirror();
    VXToplevelMirror(const VXToplevelMirror &) = delete;
    VXToplevelMirror &operator=(const VXToplevelMirror &) = delete;

    // Adds a toplevel, or replaces what is known of it.
    void setToplevel(Id id, const VXToplevel &toplevel);
    // A new title for a known toplevel (the change that comes most often).
    void setTitle(Id id, const QString &title);
    void removeToplevel(Id id);
    // The toplevel that is active now, or none. An id not known yet counts once it is added.
    void setActive(std::optional<Id> id);
    // Forgets every toplevel (the compositor went away, or will send everything again).
    void clear();

    const VXToplevel *toplevel(Id id) const;
    std::size_t size() const { return m_toplevels.size(); }
    std::optional<Id> active() const { return m_active; }

    void takeSnapshot(VXDesktopSnapshot &snapshot);

    // The toplevels of the application with this bundle path, front to back, as of the last
    // snapshot's grouping (made again first when something changed).
    std::vector<Id> toplevelsOfApplication(const QString &bundlePath);

    // What the mirror cost so far, for tests and benchmarks.
    struct Statistics {
        int resolutions = 0;   // toplevels resolved to an application
        int executableSearches = 0;   // PATH searches for an app id without entry or process
        int desktopEntryIndexBuilds = 0;
        int processReads = 0;
    };
    Statistics statistics() const;

private:
    struct Record {
        VXToplevel toplevel;
        std::uint64_t serial = 0;   // creation order
        bool resolved = false;
        int indexGeneration = -1;
        QString name;
        QString bundlePath;
        QString bundleIdentifier;
        std::int64_t ownerPid = -1;   // the application's process identifier, after grouping
    };

    void resolve(Record &record);
    QString executableForAppId(const QString &appId);
    std::optional<Id> effectiveActive();
    void rebuild();
    void rebuildApplications();
    void rebuildWindowList();
    void rebuildFront();

    VXDesktopEntryIndex m_index;
    VXApplicationResolver m_resolver;
    std::function<std::int64_t()> m_clock;

    std::unordered_map<Id, Record> m_toplevels;
    std::vector<Id> m_order;   // front to back
    std::uint64_t m_nextSerial = 0;
    std::optional<Id> m_active;
    // The last active toplevel while "none" is in its grace period, and when it began.
    std::optional<Id> m_lastActive;
    std::int64_t m_noActiveSince = 0;
    std::optional<Id> m_shownActive;

    bool m_applicationsChanged = true;
    bool m_listChanged = true;
    bool m_frontChanged = true;
    VXDesktopSnapshot m_cache;
    // Bundle path -> index into m_cache.runningApplications.
    QHash<QString, int> m_applicationOfPath;
    // Process identifiers made up for applications without one, by bundle path.
    std::map<QString, std::int64_t> m_ownProcessIdentifiers;
    std::int64_t m_nextOwnProcessIdentifier = kFirstOwnProcessIdentifier;
    QHash<QString, QString> m_executables;   // app id -> program on PATH, or empty
    int m_resolutions = 0;
    int m_executableSearches = 0;
};
