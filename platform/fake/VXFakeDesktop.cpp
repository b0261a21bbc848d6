#include "VXFakeDesktop.h"

#include <algorithm>

void VXFakeDesktop::launch(const QString &name, const QString &bundlePath, const QString &bundleIdentifier,
                           std::int64_t processIdentifier, VXActivationPolicy policy)
{
    VXRunningApplication application;
    application.activationPolicy = policy;
    application.localizedName = name;
    application.bundlePath = bundlePath;
    application.bundleIdentifier = bundleIdentifier;
    application.processIdentifier = processIdentifier;
    m_state.runningApplications.push_back(application);
}

bool VXFakeDesktop::quit(std::int64_t processIdentifier)
{
    auto &applications = m_state.runningApplications;
    const auto found = std::find_if(applications.begin(), applications.end(), [&](const VXRunningApplication &a) {
        return a.processIdentifier == processIdentifier;
    });
    if (found == applications.end())
        return false;
    const QString path = found->bundlePath;
    applications.erase(found);
    std::erase_if(m_state.windows, [&](const VXWindowListEntry &w) { return w.ownerPID == processIdentifier; });
    const bool pathStillRuns = std::any_of(applications.begin(), applications.end(),
                                           [&](const VXRunningApplication &a) { return a.bundlePath == path; });
    if (m_state.frontmostApplicationPath == path && !pathStillRuns)
        m_state.frontmostApplicationPath.clear();
    return true;
}

bool VXFakeDesktop::activate(std::int64_t processIdentifier)
{
    for (const VXRunningApplication &application : m_state.runningApplications) {
        if (application.processIdentifier == processIdentifier) {
            m_state.frontmostApplicationPath = application.bundlePath;
            return true;
        }
    }
    return false;
}

void VXFakeDesktop::setFrontmostApplicationPath(const QString &path)
{
    m_state.frontmostApplicationPath = path;
}

std::uint64_t VXFakeDesktop::openWindow(std::int64_t ownerPID, const QString &title, int layer)
{
    VXWindowListEntry entry;
    entry.ownerPID = ownerPID;
    entry.layer = layer;
    entry.title = title;
    entry.number = m_nextWindowNumber++;
    m_state.windows.insert(m_state.windows.begin(), entry);
    return entry.number;
}

VXWindowListEntry *VXFakeDesktop::window(std::uint64_t number)
{
    for (VXWindowListEntry &entry : m_state.windows) {
        if (entry.number == number)
            return &entry;
    }
    return nullptr;
}

bool VXFakeDesktop::closeWindow(std::uint64_t number)
{
    return std::erase_if(m_state.windows, [&](const VXWindowListEntry &w) { return w.number == number; }) > 0;
}

bool VXFakeDesktop::setWindowTitle(std::uint64_t number, const QString &title)
{
    VXWindowListEntry *entry = window(number);
    if (entry)
        entry->title = title;
    return entry != nullptr;
}

bool VXFakeDesktop::raiseWindow(std::uint64_t number)
{
    auto &windows = m_state.windows;
    const auto found
        = std::find_if(windows.begin(), windows.end(), [&](const VXWindowListEntry &w) { return w.number == number; });
    if (found == windows.end())
        return false;
    std::rotate(windows.begin(), found, found + 1);
    return true;
}

bool VXFakeDesktop::setWindowOnScreen(std::uint64_t number, bool onScreen, bool orderedIn)
{
    VXWindowListEntry *entry = window(number);
    if (!entry)
        return false;
    entry->onScreen = onScreen;
    entry->orderedIn = orderedIn;
    return true;
}

void VXFakeDesktop::setWindowLevels(int floatingWindowLevel, int popUpMenuWindowLevel)
{
    m_state.floatingWindowLevel = floatingWindowLevel;
    m_state.popUpMenuWindowLevel = popUpMenuWindowLevel;
}

void VXFakeDesktop::takeSnapshot(VXDesktopSnapshot &snapshot)
{
    ++m_snapshotCount;
    snapshot.runningApplications = m_state.runningApplications;
    snapshot.frontmostApplicationPath = m_state.frontmostApplicationPath;
    snapshot.windows = m_state.windows;
    snapshot.floatingWindowLevel = m_state.floatingWindowLevel;
    snapshot.popUpMenuWindowLevel = m_state.popUpMenuWindowLevel;
}
