// The tracker's view of the adapter's mirror, rebuilt only after a fetch changed something:
//
//   applications   one per process that owns managed windows (or per X client when the process
//                  is unknown), named through its desktop entry; regular when it owns a window
//                  that is not skip-taskbar, dock or desktop
//   window list    on-screen windows first, then the others, each front to back, with their layer
//   front          the application that owns _NET_ACTIVE_WINDOW

#include "VXX11DesktopPrivate.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;
constexpr int kFloatingWindowLevel = 3;
constexpr int kPopUpMenuWindowLevel = 101;

}   // namespace

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
    std::map<VXX11OwnerKey, Group> groups;
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
        const VXX11WindowRecord &record = windows.at(id);
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
        group.regular = group.regular || (record.kind != VXX11WindowKind::DesktopElement && !record.skipTaskbar);
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
    const auto onScreen = [&](const VXX11WindowRecord &record) {
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
            if (found == windows.end() || found->second.isNew || !found->second.isListed())
                continue;
            const VXX11WindowRecord &record = found->second;
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
            else if (record.kind == VXX11WindowKind::PopUp)
                entry.layer = kPopUpMenuWindowLevel;
            else if (record.kind == VXX11WindowKind::Floating || record.above)
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
