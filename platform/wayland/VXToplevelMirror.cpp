#include "VXToplevelMirror.h"

#include <QElapsedTimer>
#include <QLocale>
#include <QStandardPaths>

#include <algorithm>
#include <map>

namespace {

std::function<std::int64_t()> steadyClock()
{
    auto timer = std::make_shared<QElapsedTimer>();
    timer->start();
    return [timer] { return timer->elapsed(); };
}

}   // namespace

void VXApplyToplevelFlags(VXToplevel &toplevel, unsigned flags)
{
    toplevel.regular = flags & VXToplevelRegular;
    toplevel.minimized = flags & VXToplevelMinimized;
    toplevel.onCurrentDesktop = flags & VXToplevelOnCurrentDesktop;
    toplevel.layer = flags & VXToplevelKeepAbove ? VXToplevelMirror::kFloatingWindowLevel : 0;
    toplevel.desktopElement = flags & VXToplevelDesktopElement;
}

VXToplevelMirror::VXToplevelMirror(const Options &options) :
    m_index(options.applicationFolders.value_or(VXDesktopEntryIndex::applicationFolders())),
    m_resolver(m_index, VXDesktopEntry::localeForms(options.localeName.value_or(QLocale::system().name()))),
    m_clock(options.clock ? options.clock : steadyClock())
{
    m_cache.floatingWindowLevel = kFloatingWindowLevel;
    m_cache.popUpMenuWindowLevel = kPopUpMenuWindowLevel;
}

VXToplevelMirror::~VXToplevelMirror() = default;

void VXToplevelMirror::setToplevel(Id id, const VXToplevel &toplevel)
{
    auto found = m_toplevels.find(id);
    if (found == m_toplevels.end()) {
        Record record;
        record.toplevel = toplevel;
        record.serial = m_nextSerial++;
        m_toplevels.emplace(id, std::move(record));
        // Never activated yet: behind every toplevel that was (unless it was named active first).
        if (m_active == id)
            m_order.insert(m_order.begin(), id);
        else
            m_order.push_back(id);
        m_applicationsChanged = m_listChanged = true;
        return;
    }
    Record &record = found->second;
    if (record.toplevel == toplevel)
        return;
    if (record.toplevel.appId != toplevel.appId || record.toplevel.windowClass != toplevel.windowClass
        || record.toplevel.pid != toplevel.pid) {
        record.resolved = false;
        m_applicationsChanged = true;
    } else if (record.toplevel.regular != toplevel.regular
               || record.toplevel.desktopElement != toplevel.desktopElement) {
        m_applicationsChanged = true;
    }
    record.toplevel = toplevel;
    m_listChanged = true;
}

void VXToplevelMirror::setTitle(Id id, const QString &title)
{
    const auto found = m_toplevels.find(id);
    if (found == m_toplevels.end() || found->second.toplevel.title == title)
        return;
    found->second.toplevel.title = title;
    m_listChanged = true;
}

void VXToplevelMirror::removeToplevel(Id id)
{
    if (m_toplevels.erase(id) == 0)
        return;
    m_order.erase(std::find(m_order.begin(), m_order.end(), id));
    if (m_active == id)
        m_active.reset();
    if (m_lastActive == id)
        m_lastActive.reset();
    m_applicationsChanged = m_listChanged = true;
}

void VXToplevelMirror::setActive(std::optional<Id> id)
{
    if (id == m_active)
        return;
    if (!id && m_active) {
        m_lastActive = m_active;
        m_noActiveSince = m_clock();
    }
    m_active = id;
    if (id) {
        m_lastActive.reset();
        const auto position = std::find(m_order.begin(), m_order.end(), *id);
        if (position != m_order.end() && position != m_order.begin()) {
            std::rotate(m_order.begin(), position, position + 1);
            m_listChanged = true;
        }
    }
    m_frontChanged = true;
}

void VXToplevelMirror::clear()
{
    m_toplevels.clear();
    m_order.clear();
    m_active.reset();
    m_lastActive.reset();
    m_applicationsChanged = m_listChanged = m_frontChanged = true;
}

const VXToplevel *VXToplevelMirror::toplevel(Id id) const
{
    const auto found = m_toplevels.find(id);
    return found == m_toplevels.end() ? nullptr : &found->second.toplevel;
}

std::optional<VXToplevelMirror::Id> VXToplevelMirror::effectiveActive()
{
    if (m_active)
        return m_toplevels.count(*m_active) ? m_active : std::nullopt;
    if (m_lastActive && m_clock() - m_noActiveSince < kNoActiveGraceMs)
        return m_lastActive;
    m_lastActive.reset();
    return std::nullopt;
}

void VXToplevelMirror::takeSnapshot(VXDesktopSnapshot &snapshot)
{
    rebuild();
    // Plain copies: the vectors keep their capacity and the strings share their data.
    snapshot.runningApplications = m_cache.runningApplications;
    snapshot.frontmostApplicationPath = m_cache.frontmostApplicationPath;
    snapshot.windows = m_cache.windows;
    snapshot.floatingWindowLevel = m_cache.floatingWindowLevel;
    snapshot.popUpMenuWindowLevel = m_cache.popUpMenuWindowLevel;
}

std::vector<VXToplevelMirror::Id> VXToplevelMirror::toplevelsOfApplication(const QString &bundlePath)
{
    rebuild();
    std::vector<Id> ids;
    for (const Id id : m_order) {
        const Record &record = m_toplevels.at(id);
        if (!bundlePath.isEmpty() && record.bundlePath == bundlePath)
            ids.push_back(id);
    }
    return ids;
}

VXToplevelMirror::Statistics VXToplevelMirror::statistics() const
{
    Statistics statistics;
    statistics.resolutions = m_resolutions;
    statistics.executableSearches = m_executableSearches;
    statistics.desktopEntryIndexBuilds = m_index.buildCount();
    statistics.processReads = m_resolver.processReads();
    return statistics;
}

// ---- Applications

QString VXToplevelMirror::executableForAppId(const QString &appId)
{
    // A plain program name only: an app id with a path or a reverse-DNS name is no program.
    if (appId.isEmpty() || appId.contains(QLatin1Char('/')) || appId.contains(QLatin1Char('.')))
        return QString();
    const auto found = m_executables.constFind(appId);
    if (found != m_executables.cend())
        return *found;
    ++m_executableSearches;
    const QString path = QStandardPaths::findExecutable(appId);
    m_executables.insert(appId, path);
    return path;
}

void VXToplevelMirror::resolve(Record &record)
{
    ++m_resolutions;
    VXApplicationHints hints;
    hints.desktopFileID = record.toplevel.appId;
    hints.windowInstance = record.toplevel.windowClass;
    hints.windowClass = record.toplevel.appId.isEmpty() ? record.toplevel.windowClass : record.toplevel.appId;
    VXRunningApplication application;
    m_resolver.resolve(record.toplevel.pid, hints, false, application);
    if (application.bundlePath.isEmpty() && record.toplevel.pid < 0) {
        // No entry and no process: the program of that name, else the app id itself stands for
        // the application, so that its time is not lost.
        application.bundlePath = executableForAppId(hints.windowClass);
        if (application.bundlePath.isEmpty())
            application.bundlePath = hints.windowClass;
    }
    record.name = application.localizedName;
    record.bundlePath = application.bundlePath;
    record.bundleIdentifier = application.bundleIdentifier;
    record.resolved = true;
    record.indexGeneration = m_index.generation();
}

void VXToplevelMirror::rebuild()
{
    if (m_applicationsChanged)
        rebuildApplications();
    if (m_listChanged)
        rebuildWindowList();
    if (m_shownActive != effectiveActive())
        m_frontChanged = true;
    if (m_frontChanged)
        rebuildFront();
}

void VXToplevelMirror::rebuildApplications()
{
    m_applicationsChanged = false;
    m_listChanged = m_frontChanged = true;

    struct Group {
        std::uint64_t oldest = ~std::uint64_t(0);
        const Record *named = nullptr;   // the oldest toplevel: it names the application
        std::int64_t pid = -1;
        bool regular = false;
    };
    std::map<QString, Group> groups;
    for (auto &[id, record] : m_toplevels) {
        if (!record.resolved || record.indexGeneration != m_index.generation())
            resolve(record);
        if (record.bundlePath.isEmpty())
            continue;
        Group &group = groups[record.bundlePath];
        if (record.serial < group.oldest) {
            group.oldest = record.serial;
            group.named = &record;
        }
        if (record.toplevel.pid >= 0 && (group.pid < 0 || record.toplevel.pid < group.pid))
            group.pid = record.toplevel.pid;
        group.regular = group.regular || (record.toplevel.regular && !record.toplevel.desktopElement);
    }

    std::vector<VXRunningApplication> &applications = m_cache.runningApplications;
    applications.resize(groups.size());
    m_applicationOfPath.clear();
    std::vector<std::int64_t> alive;
    std::map<QString, std::int64_t> ownProcessIdentifiers;
    std::size_t position = 0;
    for (auto &[path, group] : groups) {
        if (group.pid < 0) {
            const auto known = m_ownProcessIdentifiers.find(path);
            group.pid = known != m_ownProcessIdentifiers.end() ? known->second : m_nextOwnProcessIdentifier++;
            ownProcessIdentifiers.emplace(path, group.pid);
        } else {
            alive.push_back(group.pid);
        }
        VXRunningApplication &application = applications[position];
        application.activationPolicy = group.regular ? VXActivationPolicy::Regular : VXActivationPolicy::Accessory;
        application.localizedName = group.named->name;
        application.bundlePath = path;
        application.bundleIdentifier = group.named->bundleIdentifier;
        application.processIdentifier = group.pid;
        m_applicationOfPath.insert(path, int(position));
        ++position;
    }
    m_ownProcessIdentifiers = std::move(ownProcessIdentifiers);
    for (auto &[id, record] : m_toplevels) {
        const auto application = m_applicationOfPath.constFind(record.bundlePath);
        record.ownerPid = application == m_applicationOfPath.cend()
            ? -1
            : applications[std::size_t(*application)].processIdentifier;
        // Every process of the application stays cached, not only the one it is listed under.
        if (record.toplevel.pid >= 0)
            alive.push_back(record.toplevel.pid);
    }
    std::sort(alive.begin(), alive.end());
    m_resolver.retainProcesses(alive);
}

void VXToplevelMirror::rebuildWindowList()
{
    m_listChanged = false;
    std::vector<VXWindowListEntry> &list = m_cache.windows;
    list.clear();
    // On-screen windows first, then the rest, each front to back.
    for (const bool wantOnScreen : {true, false}) {
        for (const Id id : m_order) {
            const Record &record = m_toplevels.at(id);
            const VXToplevel &toplevel = record.toplevel;
            if (toplevel.desktopElement || record.ownerPid < 0)
                continue;
            const bool onScreen = toplevel.onCurrentDesktop && !toplevel.minimized;
            if (onScreen != wantOnScreen)
                continue;
            VXWindowListEntry &entry = list.emplace_back();
            entry.ownerPID = record.ownerPid;
            entry.layer = toplevel.layer;
            entry.title = toplevel.title;
            entry.number = id;
            entry.onScreen = onScreen;
            entry.orderedIn = !toplevel.minimized;
        }
    }
}

void VXToplevelMirror::rebuildFront()
{
    m_frontChanged = false;
    m_shownActive = effectiveActive();
    m_cache.frontmostApplicationPath.clear();
    if (!m_shownActive)
        return;
    const Record &record = m_toplevels.at(*m_shownActive);
    if (m_applicationOfPath.contains(record.bundlePath))
        m_cache.frontmostApplicationPath = record.bundlePath;
}
