#include "VXX11Desktop.h"

#include "VXApplicationResolver.h"
#include "VXDesktopEntryIndex.h"
#include "VXX11Logging.h"
#include "VXXcbReply.h"

#include <QLocale>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

// ---- Atoms

enum AtomIndex : int {
    NET_SUPPORTING_WM_CHECK,
    NET_CLIENT_LIST_STACKING,
    NET_ACTIVE_WINDOW,
    NET_CURRENT_DESKTOP,
    NET_WM_NAME,
    NET_WM_PID,
    NET_WM_WINDOW_TYPE,
    NET_WM_STATE,
    NET_WM_DESKTOP,
    UTF8_STRING,
    GTK_APPLICATION_ID,
    KDE_NET_WM_DESKTOP_FILE,
    TYPE_DESKTOP,
    TYPE_DOCK,
    TYPE_TOOLBAR,
    TYPE_MENU,
    TYPE_UTILITY,
    TYPE_SPLASH,
    TYPE_DIALOG,
    TYPE_DROPDOWN_MENU,
    TYPE_POPUP_MENU,
    TYPE_TOOLTIP,
    TYPE_NOTIFICATION,
    TYPE_COMBO,
    TYPE_DND,
    TYPE_NORMAL,
    STATE_HIDDEN,
    STATE_ABOVE,
    STATE_SKIP_TASKBAR,
    STATE_STICKY,
    AtomCount
};

constexpr std::array<const char *, AtomCount> kAtomNames = {
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_ACTIVE_WINDOW",
    "_NET_CURRENT_DESKTOP",
    "_NET_WM_NAME",
    "_NET_WM_PID",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_STATE",
    "_NET_WM_DESKTOP",
    "UTF8_STRING",
    "_GTK_APPLICATION_ID",
    "_KDE_NET_WM_DESKTOP_FILE",
    "_NET_WM_WINDOW_TYPE_DESKTOP",
    "_NET_WM_WINDOW_TYPE_DOCK",
    "_NET_WM_WINDOW_TYPE_TOOLBAR",
    "_NET_WM_WINDOW_TYPE_MENU",
    "_NET_WM_WINDOW_TYPE_UTILITY",
    "_NET_WM_WINDOW_TYPE_SPLASH",
    "_NET_WM_WINDOW_TYPE_DIALOG",
    "_NET_WM_WINDOW_TYPE_DROPDOWN_MENU",
    "_NET_WM_WINDOW_TYPE_POPUP_MENU",
    "_NET_WM_WINDOW_TYPE_TOOLTIP",
    "_NET_WM_WINDOW_TYPE_NOTIFICATION",
    "_NET_WM_WINDOW_TYPE_COMBO",
    "_NET_WM_WINDOW_TYPE_DND",
    "_NET_WM_WINDOW_TYPE_NORMAL",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_ABOVE",
    "_NET_WM_STATE_SKIP_TASKBAR",
    "_NET_WM_STATE_STICKY",
};

// ---- What is read from each window: one property per slot, reread only when an event names it.

enum Slot : int {
    SlotNetWmName,
    SlotWmName,
    SlotNetWmPid,
    SlotClientMachine,
    SlotWindowType,
    SlotState,
    SlotDesktop,
    SlotWmClass,
    SlotGtkApplicationId,
    SlotKdeDesktopFile,
    SlotCount
};
constexpr std::uint16_t kAllSlots = (1u << SlotCount) - 1;
// Slots whose change can alter the applications (not only the window list).
constexpr std::uint16_t kApplicationSlots = (1u << SlotNetWmPid) | (1u << SlotClientMachine) | (1u << SlotWindowType)
    | (1u << SlotState) | (1u << SlotWmClass) | (1u << SlotGtkApplicationId) | (1u << SlotKdeDesktopFile);

// Longest value read per slot, in 32-bit units: a longer title is cut, a longer list ignored past it.
constexpr std::array<std::uint32_t, SlotCount> kSlotLength = {1024, 1024, 1, 64, 32, 64, 1, 256, 256, 256};

enum RootSlot : int { RootWmCheck, RootStacking, RootActive, RootCurrentDesktop, RootSlotCount };
constexpr std::uint8_t kAllRootSlots = (1u << RootSlotCount) - 1;
// Up to 65536 windows in the stacking list.
constexpr std::uint32_t kStackingLength = 65536;

constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;
constexpr std::uint32_t kClientEventMask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

constexpr int kFloatingWindowLevel = 3;
constexpr int kPopUpMenuWindowLevel = 101;

enum class Kind : std::uint8_t { Normal, Floating, PopUp, DesktopElement };

struct WindowRecord {
    std::uint16_t dirty = kAllSlots;
    // Input not selected yet: the first batch selects it and reads every slot.
    bool isNew = true;
    // Without a window manager: mapped and not override-redirect.
    bool viewable = true;
    bool netWmNameValid = false;
    bool hidden = false;
    bool above = false;
    bool skipTaskbar = false;
    bool sticky = false;
    bool hasDesktop = false;
    Kind kind = Kind::Normal;
    std::uint32_t desktop = 0;
    std::int64_t netWmPid = -1;
    std::int64_t clientPid = -1;
    std::int64_t ownerPid = -1;
    QString netWmName;
    QString wmName;
    QString title;
    QByteArray clientMachine;
    QString wmInstance;
    QString wmClass;
    QString gtkApplicationId;
    QString kdeDesktopFile;
};

// The group of windows that makes one application: a process, or, when the process is unknown,
// the X client that made the windows.
struct OwnerKey {
    std::int64_t pid;
    std::uint32_t clientBase;
    friend bool operator<(const OwnerKey &a, const OwnerKey &b)
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

bool isBadWindow(const xcb_generic_error_t *error)
{
    return error && (error->error_code == XCB_WINDOW || error->error_code == XCB_DRAWABLE);
}

// A text property: bytes of format 8 without trailing NULs.
QByteArrayView textBytes(const xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 8 || reply->type == XCB_ATOM_NONE)
        return {};
    const int length = xcb_get_property_value_length(reply);
    QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(reply)), length > 0 ? length : 0);
    while (!bytes.isEmpty() && bytes.back() == '\0')
        bytes.chop(1);
    return bytes;
}

// The values of a format-32 property (atoms, windows, cardinals).
std::pair<const std::uint32_t *, int> values32(const xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 32 || reply->type == XCB_ATOM_NONE)
        return {nullptr, 0};
    const int length = xcb_get_property_value_length(reply) / 4;
    return {static_cast<const std::uint32_t *>(xcb_get_property_value(reply)), std::max(length, 0)};
}

std::optional<std::uint32_t> cardinal(const xcb_get_property_reply_t *reply)
{
    const auto [values, count] = values32(reply);
    if (count < 1)
        return std::nullopt;
    return values[0];
}

QByteArray localHostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return QByteArray();
    return QByteArray(name).toLower();
}

}   // namespace

// -------------------------------------------------------------------------------------------------

struct VXX11Desktop::Private {
    VXXcbConnection connection;
    xcb_window_t root = XCB_NONE;
    std::uint32_t resourceIdMask = 0;
    std::array<xcb_atom_t, AtomCount> atoms {};
    std::array<xcb_atom_t, SlotCount> slotAtoms {};
    bool hasResourceExtension = false;
    QByteArray hostName = localHostName();

    // Window manager: EWMH mode lists _NET_CLIENT_LIST_STACKING; otherwise the root's children.
    bool ewmh = false;
    bool modeKnown = false;
    bool loggedNoWindowManager = false;
    bool lost = false;
    xcb_window_t wmCheckWindow = XCB_NONE;

    // The mirror.
    std::uint8_t rootDirty = kAllRootSlots;
    bool treeDirty = false;
    bool windowsDirty = false;   // some record has dirty slots
    bool haveNewWindows = false;   // some record was never read
    std::vector<xcb_window_t> stacking;   // bottom to top
    std::unordered_map<xcb_window_t, WindowRecord> windows;
    xcb_window_t activeWindow = XCB_NONE;
    std::optional<std::uint32_t> currentDesktop;

    // What the mirror gives the tracker, rebuilt only after a change.
    bool listChanged = true;
    bool applicationsChanged = true;
    bool frontChanged = true;
    VXDesktopSnapshot cache;
    std::map<OwnerKey, int> applicationOfOwner;   // index into cache.runningApplications
    std::unordered_set<std::int64_t> processesToCheck;

    VXDesktopEntryIndex index;
    VXApplicationResolver resolver;

    std::uint64_t requests = 0;
    std::uint64_t roundTrips = 0;

    Private(VXXcbConnection c, const QStringList &folders, const QStringList &localeForms) :
        connection(std::move(c)), index(folders), resolver(index, localeForms)
    {
    }

    xcb_connection_t *c() const { return connection.get(); }

    bool initialize(int screenNumber, QString *whyNot);
    void update();
    void fetch();
    void drainEvents();
    void handleEvent(const xcb_generic_event_t *event);
    bool checkConnection();
    void forgetWindow(xcb_window_t window);
    void setStacking(std::vector<xcb_window_t> list);
    bool confirmWindowManager(xcb_window_t candidate);
    void enterEwmhMode(xcb_window_t checkWindow);
    void enterFallbackMode();

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

    void applySlot(xcb_window_t id, WindowRecord &record, int slot, const xcb_get_property_reply_t *reply);
    void updateOwner(WindowRecord &record);
    Kind kindOf(const xcb_get_property_reply_t *reply) const;
    bool isLocalMachine(const QByteArray &machine) const;
    OwnerKey ownerOf(xcb_window_t id, const WindowRecord &record) const
    {
        if (record.ownerPid >= 0)
            return {record.ownerPid, 0};
        return {-1, id & ~resourceIdMask};
    }
    bool isListed(const WindowRecord &record) const { return record.kind != Kind::DesktopElement && record.viewable; }

    void rebuild();
    void rebuildApplications();
    void rebuildWindowList();
    void rebuildFront();
};

bool VXX11Desktop::Private::initialize(int screenNumber, QString *whyNot)
{
    const xcb_setup_t *setup = xcb_get_setup(c());
    resourceIdMask = setup->resource_id_mask;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem <= 0) {
        if (whyNot)
            *whyNot = QStringLiteral("the X server has no screen %1").arg(screenNumber);
        return false;
    }
    root = screens.data->root;

    // One batch: the extension query and every atom.
    xcb_prefetch_extension_data(c(), &xcb_res_id);
    std::array<xcb_intern_atom_cookie_t, AtomCount> cookies {};
    for (int i = 0; i < AtomCount; ++i) {
        ++requests;
        cookies[std::size_t(i)] = xcb_intern_atom(c(), 0, std::uint16_t(std::strlen(kAtomNames[std::size_t(i)])),
                                                  kAtomNames[std::size_t(i)]);
    }
    // Property changes on the root tell of the window manager, the stacking list, the active
    // window and the current desktop.
    selectInput(root, XCB_EVENT_MASK_PROPERTY_CHANGE);
    ++roundTrips;
    for (int i = 0; i < AtomCount; ++i) {
        VXXcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(c(), cookies[std::size_t(i)], nullptr));
        atoms[std::size_t(i)] = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }
    if (!checkConnection()) {
        if (whyNot)
            *whyNot = QStringLiteral("the X server closed the connection");
        return false;
    }
    slotAtoms = {atoms[NET_WM_NAME],        XCB_ATOM_WM_NAME,
                 atoms[NET_WM_PID],         XCB_ATOM_WM_CLIENT_MACHINE,
                 atoms[NET_WM_WINDOW_TYPE], atoms[NET_WM_STATE],
                 atoms[NET_WM_DESKTOP],     XCB_ATOM_WM_CLASS,
                 atoms[GTK_APPLICATION_ID], atoms[KDE_NET_WM_DESKTOP_FILE]};

    const xcb_query_extension_reply_t *resource = xcb_get_extension_data(c(), &xcb_res_id);
    if (resource && resource->present) {
        ++requests;
        ++roundTrips;
        VXXcbReply<xcb_res_query_version_reply_t> version(
            xcb_res_query_version_reply(c(), xcb_res_query_version(c(), 1, 2), nullptr));
        // Client ids (and with them process identifiers) came with version 1.2.
        hasResourceExtension
            = version && (version->server_major > 1 || (version->server_major == 1 && version->server_minor >= 2));
    }
    if (!hasResourceExtension)
        qCInfo(lcX11) << "the X server has no X-Resource extension 1.2: windows without _NET_WM_PID have no process";
    update();
    return !lost;
}

bool VXX11Desktop::Private::checkConnection()
{
    if (lost)
        return false;
    if (const int error = xcb_connection_has_error(c())) {
        lost = true;
        qCWarning(lcX11) << "lost the connection to the X server (xcb error" << error
                         << "): no windows or applications will be seen";
        cache.clear();
        return false;
    }
    return true;
}

void VXX11Desktop::Private::forgetWindow(xcb_window_t window)
{
    if (windows.erase(window) == 0)
        return;
    listChanged = true;
    applicationsChanged = true;
}

void VXX11Desktop::Private::drainEvents()
{
    while (xcb_generic_event_t *raw = xcb_poll_for_event(c())) {
        const VXXcbReply<xcb_generic_event_t> event(raw);
        handleEvent(event.get());
    }
    checkConnection();
}

void VXX11Desktop::Private::handleEvent(const xcb_generic_event_t *event)
{
    switch (event->response_type & 0x7f) {
    case 0: qCDebug(lcX11) << "X error" << reinterpret_cast<const xcb_generic_error_t *>(event)->error_code; break;
    case XCB_PROPERTY_NOTIFY: {
        const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event);
        if (notify->window == root) {
            if (notify->atom == atoms[NET_CLIENT_LIST_STACKING])
                rootDirty |= 1u << RootStacking;
            else if (notify->atom == atoms[NET_ACTIVE_WINDOW])
                rootDirty |= 1u << RootActive;
            else if (notify->atom == atoms[NET_CURRENT_DESKTOP])
                rootDirty |= 1u << RootCurrentDesktop;
            else if (notify->atom == atoms[NET_SUPPORTING_WM_CHECK])
                rootDirty |= 1u << RootWmCheck;
            break;
        }
        if (notify->window == wmCheckWindow && notify->atom == atoms[NET_SUPPORTING_WM_CHECK])
            rootDirty |= 1u << RootWmCheck;
        const auto found = windows.find(notify->window);
        if (found == windows.end())
            break;
        for (int slot = 0; slot < SlotCount; ++slot) {
            if (slotAtoms[std::size_t(slot)] == notify->atom && notify->atom != XCB_ATOM_NONE) {
                found->second.dirty |= std::uint16_t(1u << slot);
                windowsDirty = true;
            }
        }
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto *notify = reinterpret_cast<const xcb_destroy_notify_event_t *>(event);
        if (notify->window == wmCheckWindow && wmCheckWindow != XCB_NONE)
            rootDirty |= 1u << RootWmCheck;
        if (!ewmh && notify->event == root)
            treeDirty = true;
        forgetWindow(notify->window);
        break;
    }
    case XCB_MAP_NOTIFY: {
        const auto *notify = reinterpret_cast<const xcb_map_notify_event_t *>(event);
        if (ewmh)
            break;
        const auto found = windows.find(notify->window);
        if (found == windows.end()) {
            treeDirty = treeDirty || notify->event == root;
        } else if (found->second.viewable != !notify->override_redirect) {
            found->second.viewable = !notify->override_redirect;
            listChanged = applicationsChanged = true;
        }
        break;
    }
    case XCB_UNMAP_NOTIFY: {
        const auto *notify = reinterpret_cast<const xcb_unmap_notify_event_t *>(event);
        if (ewmh)
            break;
        const auto found = windows.find(notify->window);
        if (found != windows.end() && found->second.viewable) {
            found->second.viewable = false;
            listChanged = applicationsChanged = true;
        }
        break;
    }
    case XCB_CREATE_NOTIFY:
    case XCB_REPARENT_NOTIFY:
        if (!ewmh)
            treeDirty = true;
        break;
    default: break;
    }
}

void VXX11Desktop::Private::setStacking(std::vector<xcb_window_t> list)
{
    // A list may name a window twice, the root, or nothing; keep the first of each.
    std::unordered_set<xcb_window_t> listed;
    listed.reserve(list.size());
    std::vector<xcb_window_t> clean;
    clean.reserve(list.size());
    for (const xcb_window_t window : list) {
        if (window == XCB_NONE || window == root || !listed.insert(window).second)
            continue;
        clean.push_back(window);
    }
    // Forget what is no longer listed, and stop hearing from it.
    for (auto it = windows.begin(); it != windows.end();) {
        if (listed.count(it->first)) {
            ++it;
            continue;
        }
        if (!it->second.isNew)
            selectInput(it->first, XCB_EVENT_MASK_NO_EVENT);
        it = windows.erase(it);
        applicationsChanged = true;
    }
    for (const xcb_window_t window : clean) {
        if (windows.try_emplace(window).second)
            applicationsChanged = haveNewWindows = true;
    }
    stacking = std::move(clean);
    listChanged = true;
}

void VXX11Desktop::Private::enterEwmhMode(xcb_window_t checkWindow)
{
    const bool wasEwmh = ewmh && modeKnown;
    wmCheckWindow = checkWindow;
    // Hear when the window manager goes away (its check window is destroyed) or changes.
    selectInput(checkWindow, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
    if (!wasEwmh) {
        if (modeKnown)
            qCInfo(lcX11) << "an EWMH window manager manages the screen now";
        selectInput(root, XCB_EVENT_MASK_PROPERTY_CHANGE);
    }
    ewmh = true;
    modeKnown = true;
    treeDirty = false;
    for (auto &entry : windows)
        entry.second.viewable = true;
    rootDirty |= (1u << RootStacking) | (1u << RootActive) | (1u << RootCurrentDesktop);
    frontChanged = listChanged = true;
}

void VXX11Desktop::Private::enterFallbackMode()
{
    if (!ewmh && modeKnown)
        return;
    if (!loggedNoWindowManager) {
        loggedNoWindowManager = true;
        qCWarning(lcX11) << "no EWMH window manager (_NET_SUPPORTING_WM_CHECK): listing the mapped top-level"
                            " windows without stacking order or front window";
    }
    ewmh = false;
    modeKnown = true;
    wmCheckWindow = XCB_NONE;
    activeWindow = XCB_NONE;
    currentDesktop.reset();
    // Without a window manager, the root's children are the windows: hear them come and go.
    selectInput(root, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    treeDirty = true;
    frontChanged = listChanged = applicationsChanged = true;
}

bool VXX11Desktop::Private::confirmWindowManager(xcb_window_t candidate)
{
    // The check window must name itself; a stale root property (the manager died) does not.
    ++roundTrips;
    VXXcbError error;
    VXXcbReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(c(), requestProperty(candidate, atoms[NET_SUPPORTING_WM_CHECK], 1), error.out()));
    const std::optional<std::uint32_t> self = cardinal(reply.get());
    return !error.get() && self && *self == candidate;
}

void VXX11Desktop::Private::fetch()
{
    // ---- First batch: the root's changed properties (or the tree) and every changed slot.
    struct PendingSlot {
        xcb_window_t window;
        int slot;
        xcb_get_property_cookie_t cookie;
    };
    std::vector<PendingSlot> pendingSlots;
    std::array<std::optional<xcb_get_property_cookie_t>, RootSlotCount> rootCookies {};
    std::optional<xcb_query_tree_cookie_t> treeCookie;

    const std::uint8_t rootWanted = ewmh || !modeKnown ? rootDirty : std::uint8_t(rootDirty & (1u << RootWmCheck));
    rootDirty = 0;
    constexpr std::array<AtomIndex, RootSlotCount> rootAtoms
        = {NET_SUPPORTING_WM_CHECK, NET_CLIENT_LIST_STACKING, NET_ACTIVE_WINDOW, NET_CURRENT_DESKTOP};
    for (int slot = 0; slot < RootSlotCount; ++slot) {
        if (rootWanted & (1u << slot))
            rootCookies[std::size_t(slot)] = requestProperty(root, atoms[rootAtoms[std::size_t(slot)]],
                                                             slot == RootStacking ? kStackingLength : 1);
    }
    if (!ewmh && modeKnown && treeDirty) {
        treeDirty = false;
        ++requests;
        treeCookie = xcb_query_tree(c(), root);
    }
    if (windowsDirty) {
        windowsDirty = false;
        for (auto &[id, record] : windows) {
            if (record.isNew || !record.dirty)
                continue;
            for (int slot = 0; slot < SlotCount; ++slot) {
                if (record.dirty & (1u << slot))
                    pendingSlots.push_back(
                        {id, slot, requestProperty(id, slotAtoms[std::size_t(slot)], kSlotLength[std::size_t(slot)])});
            }
            record.dirty = 0;
        }
    }
    const bool waited = !pendingSlots.empty() || treeCookie
        || std::any_of(rootCookies.begin(), rootCookies.end(), [](const auto &cookie) { return cookie.has_value(); });
    if (waited)
        ++roundTrips;

    for (const PendingSlot &pending : pendingSlots) {
        VXXcbError error;
        VXXcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c(), pending.cookie, error.out()));
        if (isBadWindow(error.get())) {
            forgetWindow(pending.window);
            continue;
        }
        const auto found = windows.find(pending.window);
        if (found != windows.end())
            applySlot(pending.window, found->second, pending.slot, reply.get());
    }

    std::array<VXXcbReply<xcb_get_property_reply_t>, RootSlotCount> rootReplies;
    for (int slot = 0; slot < RootSlotCount; ++slot) {
        if (rootCookies[std::size_t(slot)])
            rootReplies[std::size_t(slot)].reset(xcb_get_property_reply(c(), *rootCookies[std::size_t(slot)], nullptr));
    }
    VXXcbReply<xcb_query_tree_reply_t> tree;
    if (treeCookie)
        tree.reset(xcb_query_tree_reply(c(), *treeCookie, nullptr));
    if (!checkConnection())
        return;

    // The window manager first: it decides what the other root properties mean.
    if (rootWanted & (1u << RootWmCheck)) {
        const std::optional<std::uint32_t> candidate = cardinal(rootReplies[RootWmCheck].get());
        if (candidate && *candidate != XCB_NONE && confirmWindowManager(*candidate)) {
            if (!ewmh || !modeKnown || wmCheckWindow != *candidate) {
                enterEwmhMode(*candidate);
                return;   // the stacking list and friends are read in the next pass
            }
        } else {
            const bool wasKnown = modeKnown;
            const bool wasEwmh = ewmh;
            enterFallbackMode();
            if (!wasKnown || wasEwmh)
                return;   // the tree is read in the next pass
        }
    }
    if (ewmh) {
        if (rootWanted & (1u << RootStacking)) {
            const auto [values, count] = values32(rootReplies[RootStacking].get());
            setStacking(std::vector<xcb_window_t>(values, values + count));
        }
        if (rootWanted & (1u << RootActive)) {
            const xcb_window_t active = cardinal(rootReplies[RootActive].get()).value_or(XCB_NONE);
            if (active != activeWindow) {
                activeWindow = active;
                frontChanged = true;
            }
        }
        if (rootWanted & (1u << RootCurrentDesktop)) {
            const std::optional<std::uint32_t> current = cardinal(rootReplies[RootCurrentDesktop].get());
            if (current != currentDesktop) {
                currentDesktop = current;
                listChanged = true;
            }
        }
    } else if (tree) {
        const xcb_window_t *children = xcb_query_tree_children(tree.get());
        setStacking(std::vector<xcb_window_t>(children, children + xcb_query_tree_children_length(tree.get())));
    }

    // ---- Second batch: the windows seen for the first time. Input is selected before the
    // properties are read, so that no change falls between the two.
    struct PendingNew {
        xcb_window_t window;
        std::array<xcb_get_property_cookie_t, SlotCount> slots;
        std::optional<xcb_res_query_client_ids_cookie_t> client;
        std::optional<xcb_get_window_attributes_cookie_t> attributes;
    };
    if (!haveNewWindows)
        return;
    haveNewWindows = false;
    std::vector<PendingNew> pendingNew;
    for (auto &[id, record] : windows) {
        if (!record.isNew)
            continue;
        PendingNew pending {id, {}, std::nullopt, std::nullopt};
        selectInput(id, kClientEventMask);
        for (int slot = 0; slot < SlotCount; ++slot)
            pending.slots[std::size_t(slot)]
                = requestProperty(id, slotAtoms[std::size_t(slot)], kSlotLength[std::size_t(slot)]);
        if (hasResourceExtension) {
            // Asked for every new window, so that a window without _NET_WM_PID costs no extra trip.
            xcb_res_client_id_spec_t wanted {id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            ++requests;
            pending.client = xcb_res_query_client_ids(c(), 1, &wanted);
        }
        if (!ewmh) {
            ++requests;
            pending.attributes = xcb_get_window_attributes(c(), id);
        }
        pendingNew.push_back(pending);
        record.isNew = false;
        record.dirty = 0;
    }
    if (pendingNew.empty())
        return;
    ++roundTrips;
    for (const PendingNew &pending : pendingNew) {
        bool gone = false;
        for (int slot = 0; slot < SlotCount; ++slot) {
            VXXcbError error;
            VXXcbReply<xcb_get_property_reply_t> reply(
                xcb_get_property_reply(c(), pending.slots[std::size_t(slot)], error.out()));
            gone = gone || isBadWindow(error.get());
            if (gone)
                continue;
            const auto found = windows.find(pending.window);
            if (found != windows.end())
                applySlot(pending.window, found->second, slot, reply.get());
        }
        std::int64_t clientPid = -1;
        if (pending.client) {
            VXXcbReply<xcb_res_query_client_ids_reply_t> reply(
                xcb_res_query_client_ids_reply(c(), *pending.client, nullptr));
            if (reply) {
                for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
                     xcb_res_client_id_value_next(&ids)) {
                    if ((ids.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
                        && xcb_res_client_id_value_value_length(ids.data) >= 1) {
                        clientPid = *xcb_res_client_id_value_value(ids.data);
                        break;
                    }
                }
            }
        }
        bool viewable = true;
        if (pending.attributes) {
            VXXcbReply<xcb_get_window_attributes_reply_t> reply(
                xcb_get_window_attributes_reply(c(), *pending.attributes, nullptr));
            viewable = reply && reply->map_state != XCB_MAP_STATE_UNMAPPED && !reply->override_redirect;
            gone = gone || !reply;
        }
        if (gone) {
            forgetWindow(pending.window);
            continue;
        }
        const auto found = windows.find(pending.window);
        if (found == windows.end())
            continue;
        found->second.clientPid = clientPid > 0 ? clientPid : -1;
        found->second.viewable = viewable;
        updateOwner(found->second);
    }
    checkConnection();
}

Kind VXX11Desktop::Private::kindOf(const xcb_get_property_reply_t *reply) const
{
    // The types are listed in order of preference: the first one known decides.
    const auto [values, count] = values32(reply);
    for (int i = 0; i < count; ++i) {
        const xcb_atom_t type = values[i];
        if (type == XCB_ATOM_NONE)
            continue;
        if (type == atoms[TYPE_DESKTOP] || type == atoms[TYPE_DOCK])
            return Kind::DesktopElement;
        if (type == atoms[TYPE_UTILITY] || type == atoms[TYPE_TOOLBAR] || type == atoms[TYPE_MENU])
            return Kind::Floating;
        if (type == atoms[TYPE_POPUP_MENU] || type == atoms[TYPE_DROPDOWN_MENU] || type == atoms[TYPE_TOOLTIP]
            || type == atoms[TYPE_NOTIFICATION] || type == atoms[TYPE_COMBO] || type == atoms[TYPE_DND])
            return Kind::PopUp;
        if (type == atoms[TYPE_NORMAL] || type == atoms[TYPE_DIALOG] || type == atoms[TYPE_SPLASH])
            return Kind::Normal;
    }
    return Kind::Normal;
}

bool VXX11Desktop::Private::isLocalMachine(const QByteArray &machine) const
{
    if (machine.isEmpty() || hostName.isEmpty())
        return true;
    const QByteArray lower = machine.toLower();
    if (lower == hostName || lower == "localhost")
        return true;
    // "host" and "host.example.org" are the same machine.
    const QByteArray shortMachine = lower.left(lower.indexOf('.') < 0 ? lower.size() : lower.indexOf('.'));
    const QByteArray shortHost = hostName.left(hostName.indexOf('.') < 0 ? hostName.size() : hostName.indexOf('.'));
    return shortMachine == shortHost;
}

void VXX11Desktop::Private::updateOwner(WindowRecord &record)
{
    std::int64_t owner = -1;
    if (record.netWmPid > 0 && isLocalMachine(record.clientMachine))
        owner = record.netWmPid;
    else if (record.clientPid > 0)
        owner = record.clientPid;
    if (owner != record.ownerPid) {
        record.ownerPid = owner;
        if (owner > 0)
            processesToCheck.insert(owner);
        applicationsChanged = listChanged = true;
    }
}

void VXX11Desktop::Private::applySlot(xcb_window_t id, WindowRecord &record, int slot,
                                      const xcb_get_property_reply_t *reply)
{
    Q_UNUSED(id);
    if (kApplicationSlots & (1u << slot))
        applicationsChanged = true;
    listChanged = true;
    switch (slot) {
    case SlotNetWmName:
        // Only UTF8_STRING is the EWMH name; another type (some tools write STRING) is ignored.
        record.netWmNameValid = reply && reply->type == atoms[UTF8_STRING] && reply->format == 8;
        record.netWmName = record.netWmNameValid ? QString::fromUtf8(textBytes(reply)) : QString();
        break;
    case SlotWmName: {
        const QByteArrayView bytes = textBytes(reply);
        // STRING is Latin-1; COMPOUND_TEXT is read as Latin-1 too (its ASCII part is what
        // matters for a title); some clients write UTF8_STRING here.
        record.wmName
            = reply && reply->type == atoms[UTF8_STRING] ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
        break;
    }
    case SlotNetWmPid: {
        const std::optional<std::uint32_t> pid = cardinal(reply);
        record.netWmPid = pid && *pid > 0 && *pid <= 0x7fffffff ? std::int64_t(*pid) : -1;
        updateOwner(record);
        break;
    }
    case SlotClientMachine:
        record.clientMachine = textBytes(reply).toByteArray();
        updateOwner(record);
        break;
    case SlotWindowType: record.kind = kindOf(reply); break;
    case SlotState: {
        record.hidden = record.above = record.skipTaskbar = record.sticky = false;
        const auto [values, count] = values32(reply);
        for (int i = 0; i < count; ++i) {
            record.hidden = record.hidden || values[i] == atoms[STATE_HIDDEN];
            record.above = record.above || values[i] == atoms[STATE_ABOVE];
            record.skipTaskbar = record.skipTaskbar || values[i] == atoms[STATE_SKIP_TASKBAR];
            record.sticky = record.sticky || values[i] == atoms[STATE_STICKY];
        }
        break;
    }
    case SlotDesktop: {
        const std::optional<std::uint32_t> desktop = cardinal(reply);
        record.hasDesktop = desktop.has_value();
        record.desktop = desktop.value_or(0);
        break;
    }
    case SlotWmClass: {
        // "instance\0class\0"; either part may be missing in a broken property.
        const QByteArrayView bytes = textBytes(reply);
        const qsizetype nul = bytes.indexOf('\0');
        record.wmInstance = QString::fromLatin1(nul < 0 ? bytes : bytes.first(nul));
        QByteArrayView rest = nul < 0 ? QByteArrayView() : bytes.sliced(nul + 1);
        if (const qsizetype end = rest.indexOf('\0'); end >= 0)
            rest = rest.first(end);
        record.wmClass = QString::fromLatin1(rest);
        break;
    }
    case SlotGtkApplicationId: record.gtkApplicationId = QString::fromUtf8(textBytes(reply)).trimmed(); break;
    case SlotKdeDesktopFile: record.kdeDesktopFile = QString::fromUtf8(textBytes(reply)).trimmed(); break;
    default: break;
    }
    if (slot == SlotNetWmName || slot == SlotWmName) {
        QString title = record.netWmNameValid && !record.netWmName.isEmpty() ? record.netWmName : record.wmName;
        if (title != record.title)
            record.title = std::move(title);
    }
}

void VXX11Desktop::Private::update()
{
    if (lost)
        return;
    drainEvents();
    // A pass that finds a new window manager or new windows needs another; changes that arrive
    // while replies are awaited get one more pass, and after that wait for the next tick.
    for (int pass = 0; pass < 3 && !lost; ++pass) {
        const bool anything = rootDirty || treeDirty || windowsDirty || haveNewWindows;
        if (!anything)
            break;
        fetch();
        drainEvents();
    }
    if (!lost)
        rebuild();
}

// ---- The tracker's view of the mirror

void VXX11Desktop::Private::rebuild()
{
    if (applicationsChanged)
        rebuildApplications();
    if (listChanged)
        rebuildWindowList();
    if (frontChanged)
        rebuildFront();
}

void VXX11Desktop::Private::rebuildApplications()
{
    applicationsChanged = false;
    frontChanged = true;
    struct Group {
        VXApplicationHints hints;
        bool haveDesktopFileID = false;
        bool haveClass = false;
        bool regular = false;
    };
    std::map<OwnerKey, Group> groups;
    // Hints come from the process's oldest window (lowest id), so that they do not change with
    // the stacking order.
    std::vector<xcb_window_t> ids;
    ids.reserve(windows.size());
    for (const auto &[id, record] : windows) {
        if (!record.isNew && record.viewable)
            ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    for (const xcb_window_t id : ids) {
        const WindowRecord &record = windows.at(id);
        Group &group = groups[ownerOf(id, record)];
        const QString &desktopFileID
            = !record.gtkApplicationId.isEmpty() ? record.gtkApplicationId : record.kdeDesktopFile;
        if (!group.haveDesktopFileID && !desktopFileID.isEmpty()) {
            group.hints.desktopFileID = desktopFileID;
            group.haveDesktopFileID = true;
        }
        if (!group.haveClass && (!record.wmInstance.isEmpty() || !record.wmClass.isEmpty())) {
            group.hints.windowInstance = record.wmInstance;
            group.hints.windowClass = record.wmClass;
            group.haveClass = true;
        }
        group.regular = group.regular || (record.kind != Kind::DesktopElement && !record.skipTaskbar);
    }

    std::vector<VXRunningApplication> &applications = cache.runningApplications;
    applications.resize(groups.size());
    applicationOfOwner.clear();
    std::vector<std::int64_t> alive;
    std::size_t position = 0;
    for (const auto &[owner, group] : groups) {
        VXRunningApplication &application = applications[position];
        resolver.resolve(owner.pid, group.hints, processesToCheck.count(owner.pid) != 0, application);
        application.activationPolicy = group.regular ? VXActivationPolicy::Regular : VXActivationPolicy::Accessory;
        applicationOfOwner.emplace(owner, int(position));
        if (owner.pid >= 0)
            alive.push_back(owner.pid);
        ++position;
    }
    processesToCheck.clear();
    resolver.retainProcesses(alive);   // sorted: known processes come first, ascending
}

void VXX11Desktop::Private::rebuildWindowList()
{
    listChanged = false;
    std::vector<VXWindowListEntry> &list = cache.windows;
    list.clear();
    const auto onScreen = [&](const WindowRecord &record) {
        if (record.hidden)
            return false;
        if (!currentDesktop || !record.hasDesktop || record.sticky || record.desktop == kAllDesktops)
            return true;
        return record.desktop == *currentDesktop;
    };
    // On-screen windows first, then the rest, each front to back.
    for (const bool wantOnScreen : {true, false}) {
        for (auto it = stacking.rbegin(); it != stacking.rend(); ++it) {
            const auto found = windows.find(*it);
            if (found == windows.end() || found->second.isNew || !isListed(found->second))
                continue;
            const WindowRecord &record = found->second;
            const bool visible = ewmh ? onScreen(record) : true;
            if (visible != wantOnScreen)
                continue;
            VXWindowListEntry &entry = list.emplace_back();
            entry.ownerPID = record.ownerPid;
            entry.number = *it;
            entry.title = record.title;
            entry.onScreen = visible;
            entry.orderedIn = ewmh ? !record.hidden : true;
            if (!ewmh)
                entry.layer = 0;   // no stacking information: one layer
            else if (record.kind == Kind::PopUp)
                entry.layer = kPopUpMenuWindowLevel;
            else if (record.kind == Kind::Floating || record.above)
                entry.layer = kFloatingWindowLevel;
            else
                entry.layer = 0;
        }
    }
    cache.floatingWindowLevel = kFloatingWindowLevel;
    cache.popUpMenuWindowLevel = kPopUpMenuWindowLevel;
}

void VXX11Desktop::Private::rebuildFront()
{
    frontChanged = false;
    cache.frontmostApplicationPath.clear();
    if (!ewmh || activeWindow == XCB_NONE)
        return;
    const auto found = windows.find(activeWindow);
    if (found == windows.end() || found->second.isNew)
        return;
    const auto application = applicationOfOwner.find(ownerOf(activeWindow, found->second));
    if (application != applicationOfOwner.end())
        cache.frontmostApplicationPath = cache.runningApplications[std::size_t(application->second)].bundlePath;
}

// -------------------------------------------------------------------------------------------------

VXX11Desktop::VXX11Desktop(std::unique_ptr<Private> p) : d(std::move(p)) { }

VXX11Desktop::~VXX11Desktop() = default;

std::unique_ptr<VXX11Desktop> VXX11Desktop::connect(const Options &options, QString *whyNot)
{
    const QByteArray display = options.display.isEmpty() ? qgetenv("DISPLAY") : options.display.toLocal8Bit();
    if (display.isEmpty()) {
        if (whyNot)
            *whyNot = QStringLiteral("no X display (DISPLAY is not set)");
        return nullptr;
    }
    int screenNumber = 0;
    VXXcbConnection connection(xcb_connect(display.constData(), &screenNumber));
    if (const int error = xcb_connection_has_error(connection.get())) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot connect to the X display %1 (xcb error %2)")
                          .arg(QString::fromLocal8Bit(display))
                          .arg(error);
        return nullptr;
    }
    const QStringList folders = options.applicationFolders.value_or(VXDesktopEntryIndex::applicationFolders());
    const QStringList localeForms = VXDesktopEntry::localeForms(options.localeName.value_or(QLocale::system().name()));
    auto d = std::make_unique<Private>(std::move(connection), folders, localeForms);
    if (!d->initialize(screenNumber, whyNot))
        return nullptr;
    return std::unique_ptr<VXX11Desktop>(new VXX11Desktop(std::move(d)));
}

void VXX11Desktop::takeSnapshot(VXDesktopSnapshot &snapshot)
{
    if (d->lost) {
        snapshot.clear();
        return;
    }
    d->update();
    if (d->lost) {
        snapshot.clear();
        return;
    }
    // Plain copies: the vectors keep their capacity and the strings share their data.
    snapshot.runningApplications = d->cache.runningApplications;
    snapshot.frontmostApplicationPath = d->cache.frontmostApplicationPath;
    snapshot.windows = d->cache.windows;
    snapshot.floatingWindowLevel = d->cache.floatingWindowLevel;
    snapshot.popUpMenuWindowLevel = d->cache.popUpMenuWindowLevel;
}

VXX11Desktop::Statistics VXX11Desktop::statistics() const
{
    Statistics statistics;
    statistics.requests = d->requests;
    statistics.roundTrips = d->roundTrips;
    statistics.desktopEntryIndexBuilds = d->index.buildCount();
    statistics.processReads = d->resolver.processReads();
    return statistics;
}

bool VXX11Desktop::hasWindowManager() const
{
    return d->ewmh;
}

bool VXX11Desktop::isConnected() const
{
    return !d->lost;
}

std::unique_ptr<VXDesktop> VXMakeX11Desktop(QString *whyNot, const QString &display)
{
    VXX11Desktop::Options options;
    options.display = display;
    return VXX11Desktop::connect(options, whyNot);
}
