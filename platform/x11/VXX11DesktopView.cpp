// The tracker's view of the adapter's mirror, rebuilt only after a fetch changed something:
//
//   applications   one per bundle path: the processes that own managed windows (or the X clients
//                  of unknown processes) named through their desktop entries, and those of one
//                  entry, or of one executable without an entry, merged; regular when one of
//                  them owns a window that is not skip-taskbar, dock or desktop
//   window list    on-screen windows first, then the others, each front to back, with their layer,
//                  each under the process its application is reported with
//   front          the application that owns _NET_ACTIVE_WINDOW
//
// Merging is what makes an application of several processes (a terminal or a viewer per window)
// count once: the sampler credits each running application it is given, and takes the windows
// listed under its process identifier, front to back.

#include "VXX11DesktopPrivate.h"

#include <QHash>

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
    // The front and the process each window is listed under follow the applications.
    frontChanged = listChanged = true;
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

    // Each process (or client of an unknown process) as its desktop entry names it.
    std::vector<VXX11Process> processes;
    processes.reserve(groups.size());
    for (const auto &[owner, group] : groups) {
        VXX11Process &process = processes.emplace_back();
        process.owner = owner;
        process.regular = group.regular;
        resolver.resolve(owner.pid, group.hints, processesToCheck.count(owner.pid) != 0, process.application);
        if (owner.pid >= 0)
            process.executable = resolver.executable(owner.pid);
    }
    processesToCheck.clear();
    joinEntriesOfExecutables(processes);

    // One application per bundle path, reported under its first process: known processes come
    // first, so that is the lowest known identifier while there is one. Regular when any of its
    // processes is.
    std::vector<VXRunningApplication> &applications = cache.runningApplications;
    applications.clear();
    applicationOfOwner.clear();
    QHash<QString, int> applicationOfPath;
    std::vector<std::int64_t> alive;
    for (VXX11Process &process : processes) {
        const QString path = process.application.bundlePath;
        int position = path.isEmpty() ? -1 : applicationOfPath.value(path, -1);
        if (position < 0) {
            position = int(applications.size());
            applications.push_back(std::move(process.application));
            applications.back().activationPolicy = VXActivationPolicy::Accessory;
            if (!path.isEmpty())
                applicationOfPath.insert(path, position);
        }
        if (process.regular)
            applications[std::size_t(position)].activationPolicy = VXActivationPolicy::Regular;
        applicationOfOwner.emplace(process.owner, position);
        if (process.owner.pid >= 0)
            alive.push_back(process.owner.pid);
    }
    resolver.retainProcesses(alive);   // sorted: known processes come first, ascending
    for (const xcb_window_t id : ids) {
        VXX11WindowRecord &record = windows.at(id);
        record.listedPid = applications[std::size_t(applicationOfOwner.at(ownerOf(id, record)))].processIdentifier;
    }
}

void VXX11Desktop::Private::joinEntriesOfExecutables(std::vector<VXX11Process> &processes)
{
    // The entries the processes of each executable have now.
    struct Found {
        const VXRunningApplication *entry = nullptr;
        bool several = false;
        bool rememberedOneRuns = false;
    };
    QHash<QString, Found> found;
    for (const VXX11Process &process : processes) {
        if (process.executable.isEmpty())
            continue;
        Found &here = found[process.executable];
        const VXRunningApplication &application = process.application;
        if (application.bundleIdentifier.isEmpty())
            continue;
        const auto remembered = entryOfExecutable.constFind(process.executable);
        if (remembered != entryOfExecutable.constEnd() && remembered->bundlePath == application.bundlePath)
            here.rememberedOneRuns = true;
        if (!here.entry)
            here.entry = &application;
        else if (here.entry->bundlePath != application.bundlePath)
            here.several = true;
    }
    // One entry is remembered; with none (its processes quit) the remembered one stays, and with
    // several (an interpreter running different programs) it stays only when it is among them,
    // as nothing tells which one a process without an entry belongs to.
    for (auto it = entryOfExecutable.begin(); it != entryOfExecutable.end();) {
        const auto now = found.constFind(it.key());
        const bool keep = now != found.constEnd() && (!now->entry || now->rememberedOneRuns);
        it = keep ? std::next(it) : entryOfExecutable.erase(it);
    }
    for (auto it = found.constBegin(); it != found.constEnd(); ++it) {
        if (it->entry && !it->several)
            entryOfExecutable.insert(it.key(), *it->entry);
    }
    for (VXX11Process &process : processes) {
        if (!process.application.bundleIdentifier.isEmpty() || process.executable.isEmpty())
            continue;
        const auto entry = entryOfExecutable.constFind(process.executable);
        if (entry == entryOfExecutable.constEnd())
            continue;
        process.application.localizedName = entry->localizedName;
        process.application.bundlePath = entry->bundlePath;
        process.application.bundleIdentifier = entry->bundleIdentifier;
    }
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
            entry.ownerPID = record.listedPid;
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
