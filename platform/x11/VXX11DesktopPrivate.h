#pragma once

// The inside of VXX11Desktop, shared by its three parts:
//
//   VXX11Desktop.cpp       the connection, the events that mark what changed, the window manager
//   VXX11DesktopFetch.cpp  the requests: what changed (root and window properties), then what is new
//   VXX11DesktopView.cpp   the tracker's view of the mirror: applications, window list, front
//
// Every reread is driven by a dirty mark: an event sets it, a fetch clears it, and a rebuild
// happens only when a fetch changed what the tracker sees.

#include "VXApplicationResolver.h"
#include "VXDesktopEntryIndex.h"
#include "VXX11Atoms.h"
#include "VXX11Desktop.h"
#include "VXX11WindowRecord.h"
#include "VXXcbReply.h"

#include <QHash>

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

enum VXX11RootSlot : int { RootWmCheck, RootStacking, RootActive, RootCurrentDesktop, RootSlotCount };
inline constexpr std::uint8_t kVXX11AllRootSlots = (1u << RootSlotCount) - 1;

// The group of windows that makes one application: a process, or, when the process is unknown,
// the X client that made the windows.
struct VXX11OwnerKey {
    std::int64_t pid;
    std::uint32_t clientBase;
    friend bool operator<(const VXX11OwnerKey &a, const VXX11OwnerKey &b)
    {
        // Known processes first, by identifier; then the unknown ones by client.
        const bool aUnknown = a.pid < 0;
        const bool bUnknown = b.pid < 0;
        if (aUnknown != bUnknown)
            return bUnknown;
        if (a.pid != b.pid)
            return a.pid < b.pid;
        return a.clientBase < b.clientBase;
    }
};

// A process (or client) on its way to becoming (part of) a running application.
struct VXX11Process {
    VXX11OwnerKey owner {-1, 0};
    VXRunningApplication application;
    QString executable;
    bool regular = false;
};

struct VXX11Desktop::Private {
    VXXcbConnection connection;
    xcb_window_t root = XCB_NONE;
    std::uint32_t resourceIdMask = 0;
    VXX11Atoms atoms;
    std::array<xcb_atom_t, SlotCount> slotAtoms {};
    bool hasResourceExtension = false;
    QByteArray hostName = VXX11LocalHostName();

    // Window manager: EWMH mode lists _NET_CLIENT_LIST_STACKING; otherwise the root's children.
    bool ewmh = false;
    bool modeKnown = false;
    bool loggedNoWindowManager = false;
    bool lost = false;
    xcb_window_t wmCheckWindow = XCB_NONE;

    // The mirror.
    std::uint8_t rootDirty = kVXX11AllRootSlots;
    bool treeDirty = false;
    bool windowsDirty = false;   // some record has dirty slots
    bool haveNewWindows = false;   // some record was never read
    std::vector<xcb_window_t> stacking;   // bottom to top
    std::unordered_map<xcb_window_t, VXX11WindowRecord> windows;
    xcb_window_t activeWindow = XCB_NONE;
    std::optional<std::uint32_t> currentDesktop;

    // What the mirror gives the tracker, rebuilt only after a change.
    bool listChanged = true;
    bool applicationsChanged = true;
    bool frontChanged = true;
    VXDesktopSnapshot cache;
    std::map<VXX11OwnerKey, int> applicationOfOwner;   // index into cache.runningApplications
    std::unordered_set<std::int64_t> processesToCheck;
    // The desktop entry a process without one joins, by executable, kept while the executable runs.
    QHash<QString, VXRunningApplication> entryOfExecutable;

    VXDesktopEntryIndex index;
    VXApplicationResolver resolver;

    std::uint64_t requests = 0;
    std::uint64_t roundTrips = 0;

    Private(VXXcbConnection c, const QStringList &folders, const QStringList &localeForms) :
        connection(std::move(c)), index(folders), resolver(index, localeForms)
    {
    }

    xcb_connection_t *c() const { return connection.get(); }

    // ---- VXX11Desktop.cpp: connection, events, window manager

    bool initialize(int screenNumber, QString *whyNot);
    // Drains the events, fetches what they marked, and rebuilds the tracker's view if needed.
    void update();
    void drainEvents();
    void handleEvent(const xcb_generic_event_t *event);
    bool checkConnection();
    void forgetWindow(xcb_window_t window);
    void setStacking(std::vector<xcb_window_t> list);
    bool confirmWindowManager(xcb_window_t candidate);
    void enterEwmhMode(xcb_window_t checkWindow);
    void enterFallbackMode();
    void applySlot(VXX11WindowRecord &record, VXX11Slot slot, const xcb_get_property_reply_t *reply);
    void updateOwner(VXX11WindowRecord &record);
    VXX11OwnerKey ownerOf(xcb_window_t id, const VXX11WindowRecord &record) const
    {
        if (record.ownerPid >= 0)
            return {record.ownerPid, 0};
        return {-1, id & ~resourceIdMask};
    }

    xcb_get_property_cookie_t requestProperty(xcb_window_t window, xcb_atom_t atom, std::uint32_t length)
    {
        ++requests;
        return xcb_get_property(c(), 0, window, atom, XCB_GET_PROPERTY_TYPE_ANY, 0, length);
    }
    // Errors of this request are dropped: a window that is gone shows itself in the replies to
    // the requests that follow, and an error arriving later could otherwise be taken for a new
    // window that reuses the id.
    void selectInput(xcb_window_t window, std::uint32_t mask)
    {
        ++requests;
        xcb_discard_reply(c(), xcb_change_window_attributes_checked(c(), window, XCB_CW_EVENT_MASK, &mask).sequence);
    }

    // The windows of the application with this bundle path, as listed (on screen first, each
    // group front to back).
    std::vector<xcb_window_t> windowsOfApplication(const QString &bundlePath) const;
    // The same, read afresh, for a request to the window manager; none, with a log line naming the
    // action, when there is no window manager or the application has no window.
    std::vector<xcb_window_t> windowsToActOn(const QString &bundlePath, const char *action, QString *whyNot);
    // A request to the window manager about a window (a client message to the root window).
    void sendToWindowManager(xcb_window_t window, VXX11Atom type, std::array<std::uint32_t, 5> data);

    // ---- VXX11DesktopFetch.cpp: the requests

    // One pass: the changed root properties and window slots in one batch; then, when the
    // stacking list named windows never seen, their properties in a second batch.
    void fetch();
    // Answers false when the pass must stop here (the window manager changed, or the server went).
    bool fetchChanges();
    void fetchNewWindows();

    // ---- VXX11DesktopView.cpp: the tracker's view

    void rebuild();
    void rebuildApplications();
    // Processes without a desktop entry take the one of the other processes of their executable.
    void joinEntriesOfExecutables(std::vector<VXX11Process> &processes);
    void rebuildWindowList();
    void rebuildFront();
};
