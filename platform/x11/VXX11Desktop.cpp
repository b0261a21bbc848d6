#include "VXX11Desktop.h"

#include "VXX11DesktopPrivate.h"
#include "VXX11Logging.h"

#include "VXDesktopEntryLauncher.h"

#include <QCoreApplication>
#include <QLocale>

#include <xcb/res.h>

#include <algorithm>
#include <unordered_set>

namespace {

// Requests made on the user's behalf by a program other than the window's own carry the source
// indication of a pager, which window managers honour without their focus-stealing rules.
constexpr std::uint32_t kSourcePager = 2;

}   // namespace

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
    const VXX11Atoms::Cookies cookies = VXX11Atoms::request(c());
    requests += cookies.size();
    // Property changes on the root tell of the window manager, the stacking list, the active
    // window and the current desktop.
    selectInput(root, XCB_EVENT_MASK_PROPERTY_CHANGE);
    ++roundTrips;
    atoms.receive(c(), cookies);
    if (!checkConnection()) {
        if (whyNot)
            *whyNot = QStringLiteral("the X server closed the connection");
        return false;
    }
    slotAtoms = VXX11SlotAtoms(atoms);

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
    const std::optional<std::uint32_t> self = VXX11Cardinal(reply.get());
    return !error.get() && self && *self == candidate;
}

void VXX11Desktop::Private::updateOwner(VXX11WindowRecord &record)
{
    const std::int64_t owner = record.owningProcess(hostName);
    if (owner != record.ownerPid) {
        record.ownerPid = owner;
        if (owner > 0)
            processesToCheck.insert(owner);
        applicationsChanged = listChanged = true;
    }
}

void VXX11Desktop::Private::applySlot(VXX11WindowRecord &record, VXX11Slot slot, const xcb_get_property_reply_t *reply)
{
    if (kVXX11ApplicationSlots & (1u << slot))
        applicationsChanged = true;
    listChanged = true;
    record.apply(slot, reply, atoms);
    if (slot == SlotNetWmPid || slot == SlotClientMachine)
        updateOwner(record);
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

std::vector<xcb_window_t> VXX11Desktop::Private::windowsToActOn(const QString &bundlePath, const char *action,
                                                                QString *whyNot)
{
    update();
    if (lost || !ewmh) {
        qCWarning(lcX11).nospace() << "cannot " << action << " " << bundlePath << ": no EWMH window manager to ask";
        if (whyNot)
            *whyNot = QCoreApplication::translate("VXX11Desktop", "The window manager cannot be asked to do this.");
        return {};
    }
    std::vector<xcb_window_t> found = windowsOfApplication(bundlePath);
    if (found.empty()) {
        qCInfo(lcX11).nospace() << "cannot " << action << " " << bundlePath << ": it has no window";
        if (whyNot)
            *whyNot = QCoreApplication::translate("VXX11Desktop", "<%1> has no open window.").arg(bundlePath);
    }
    return found;
}

std::vector<xcb_window_t> VXX11Desktop::Private::windowsOfApplication(const QString &bundlePath) const
{
    std::vector<xcb_window_t> result;
    if (bundlePath.isEmpty())
        return result;
    for (const VXWindowListEntry &entry : cache.windows) {
        const auto found = windows.find(xcb_window_t(entry.number));
        if (found == windows.end())
            continue;
        const auto application = applicationOfOwner.find(ownerOf(found->first, found->second));
        if (application != applicationOfOwner.end()
            && cache.runningApplications[std::size_t(application->second)].bundlePath == bundlePath)
            result.push_back(found->first);
    }
    return result;
}

void VXX11Desktop::Private::sendToWindowManager(xcb_window_t window, VXX11Atom type, std::array<std::uint32_t, 5> data)
{
    xcb_client_message_event_t event {};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atoms[type];
    std::copy(data.begin(), data.end(), event.data.data32);
    ++requests;
    xcb_send_event(c(), 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
}

// ---- The adapter

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

bool VXX11Desktop::activateApplication(const QString &bundlePath, QString *whyNot)
{
    const std::vector<xcb_window_t> windows = d->windowsToActOn(bundlePath, "bring to the front", whyNot);
    if (windows.empty())
        return false;
    d->sendToWindowManager(windows.front(), NET_ACTIVE_WINDOW, {kSourcePager, XCB_CURRENT_TIME, XCB_NONE, 0, 0});
    xcb_flush(d->c());
    return d->checkConnection();
}

bool VXX11Desktop::quitApplication(const QString &bundlePath, QString *whyNot)
{
    const std::vector<xcb_window_t> windows = d->windowsToActOn(bundlePath, "quit", whyNot);
    for (const xcb_window_t window : windows)
        d->sendToWindowManager(window, NET_CLOSE_WINDOW, {XCB_CURRENT_TIME, kSourcePager, 0, 0, 0});
    xcb_flush(d->c());
    return !windows.empty() && d->checkConnection();
}

bool VXX11Desktop::launchApplication(const QString &bundlePath, QString *whyNot)
{
    return VXLaunchApplication(bundlePath, whyNot);
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
