#include "VXWindowDescriptions.h"

#include "VXConfigurationKeys.h"
#include "VXLog.h"
#include "VXStringExtensions.h"

#include <algorithm>

namespace {

QString describe(const VXWindowListEntry &window)
{
    return QStringLiteral("{owner %1, layer %2, number %3, title \"%4\"}")
        .arg(window.ownerPID)
        .arg(window.layer)
        .arg(window.number)
        .arg(window.title);
}

// One entry of the window list, appended to `into` when it qualifies.
void processWindow(const VXWindowListEntry &window, int levelLimit,
                   const std::function<std::optional<QString>(const QString &)> &checkedTitle, bool testOrderedIn,
                   std::vector<VXWindowDescription> &into)
{
    if (window.ownerPID < 0 || !(window.layer < levelLimit))
        return;
    const std::optional<QString> title = checkedTitle(window.title);
    if (!title)
        return;
    if (testOrderedIn && !window.orderedIn) {
        VXDebugLog(QStringLiteral("not ordered in: %1"), describe(window));
        return;
    }
    into.push_back({window.ownerPID, *title, window.number});
}

}   // namespace

std::span<const VXWindowDescription> VXWindowDescriptions::windowsOfProcess(std::int64_t processIdentifier) const
{
    struct ByProcess {
        bool operator()(const VXWindowDescription &a, std::int64_t b) const { return a.processIdentifier < b; }
        bool operator()(std::int64_t a, const VXWindowDescription &b) const { return a < b.processIdentifier; }
    };
    const auto range = std::equal_range(m_descriptions.begin(), m_descriptions.end(), processIdentifier, ByProcess());
    return {range.first, range.second};
}

void VXWindowDescriptionsByPID(const VXDesktopSnapshot &desktop, const std::vector<VXPattern> &blacklist,
                               bool includeWindowsFromAllSpaces, bool includeFloatingWindows,
                               VXWindowDescriptions &descriptions)
{
    VXWindowDescriptionsByPID(
        desktop, [&blacklist](const QString &title) { return validItemNameCheckedAgainstBlacklist(title, blacklist); },
        includeWindowsFromAllSpaces, includeFloatingWindows, descriptions);
}

void VXWindowDescriptionsByPID(const VXDesktopSnapshot &desktop,
                               const std::function<std::optional<QString>(const QString &)> &blacklist,
                               bool includeWindowsFromAllSpaces, bool includeFloatingWindows,
                               VXWindowDescriptions &descriptions)
{
    std::vector<VXWindowDescription> &into = descriptions.m_descriptions;
    into.clear();
    const int limit = includeFloatingWindows ? desktop.popUpMenuWindowLevel : desktop.floatingWindowLevel;
    for (const VXWindowListEntry &window : desktop.windows) {
        if (window.onScreen)
            processWindow(window, limit, blacklist, false, into);
    }
    if (includeWindowsFromAllSpaces) {
        for (const VXWindowListEntry &window : desktop.windows) {
            if (!window.onScreen)
                processWindow(window, limit, blacklist, true, into);
        }
    }
    std::stable_sort(into.begin(), into.end(), [](const VXWindowDescription &a, const VXWindowDescription &b) {
        return a.processIdentifier < b.processIdentifier;
    });
}

VXDictionaryRef VXMakeWindowItem(const VXWindowDescription &description)
{
    VXDictionaryRef item = VXMakeDictionary();
    item->reserve(12);
    item->insert(VXPIDKey, static_cast<long long>(description.processIdentifier));
    item->insert(VXNameKey, description.name);
    item->insert(VXPathKey, VXWindowPathMarker);
    item->insert(VXWindowNumberKey, static_cast<unsigned long long>(description.windowNumber));
    return item;
}
