#include "VXResets.h"

#include "VXActivitySampler.h"
#include "VXBlacklists.h"
#include "VXClock.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXExporter.h"
#include "VXFolderAccessUserInterface.h"
#include "VXPatternExtensions.h"
#include "VXResetsDelegate.h"
#include "VXScheduler.h"
#include "VXSorting.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <optional>

const QString VXResets::kDoAutoTasksOperation = QStringLiteral("doAutoTasksIfNecessary:");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXResets", text);
}

// The windows a reset of `item`'s timers touches: the item when it is a window, all of an
// application's, none of a pool item's. Nothing when the item is in neither list.
std::optional<VXTickWindows> windowsResetWith(const VXDictionary &tree, const VXDictionary &item)
{
    VXTickWindows touched;
    if (isPoolOrPoolItem(item))
        return touched;
    const VXDictionary *applications = tree.value(VXApplicationsKey).dictionary();
    for (std::size_t i = 0; applications && i < applications->size(); ++i) {
        const VXDictionary *application = applications->entries()[i].value.dictionary();
        const VXDictionary *windows = application ? application->value(VXWindowsByNameKey).dictionary() : nullptr;
        if (!windows)
            continue;
        for (const VXDictionary::Entry &entry : *windows) {
            if (application == &item || entry.value.dictionary() == &item)
                touched.windows.push_back({application, entry.key, entry.value.dictionary()});
        }
        if (application == &item || !touched.windows.empty())
            return touched;
    }
    return std::nullopt;
}

}   // namespace

VXResets::VXResets(VXUserDefaults &defaults, const VXClock &clock, VXScheduler &scheduler, VXResetsDelegate &delegate) :
    m_defaults(defaults), m_clock(clock), m_scheduler(scheduler), m_delegate(delegate)
{
}

VXResets::~VXResets()
{
    m_scheduler.cancelAll(this);
}

bool VXResets::confirm(const char *message, const char *informativeText, const char *defaultButton)
{
    return m_delegate.runAlert(tr(message), tr(informativeText),
                               {tr(defaultButton), QCoreApplication::translate("VXDialogs", VXCancelButtonTitle)})
        == 0;
}

// ---- Resets

void VXResets::resetApplicationTimers(bool resetApplications, bool resetPools, bool afterPushingUndoState,
                                      bool withConfirmation)
{
    const VXDictionaryRef configuration = m_delegate.currentConfiguration();
    bool confirmed = false;
    bool applicationsChanged = false;

    VXDictionary *applications = configuration ? configuration->value(VXApplicationsKey).dictionary() : nullptr;
    if (resetApplications && applications && !applications->isEmpty()) {
        if (afterPushingUndoState) {
            if (withConfirmation) {
                if (!confirm(VXResetTimersMessage, VXResetTimersInformativeText, VXResetButtonTitle))
                    return;
                confirmed = true;
            }
            m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
        }
        // The next tick refills the list with what runs, from zero.
        applications->clear();
        configuration->remove(VXFirstTimestampKey);
        configuration->remove(VXOverallTimeKey);
        m_delegate.ignoreTimeSinceLastUpdate();
        applicationsChanged = true;
    }

    VXArray *pools = configuration ? configuration->value(VXPoolsKey).array() : nullptr;
    if (!pools || pools->isEmpty()) {
        if (resetPools) {
            if (configuration) {
                configuration->remove(VXFirstPoolTimestampKey);
                configuration->remove(VXOverallPoolTimeKey);
            }
            m_delegate.ignoreTimeSinceLastUpdate();
        }
        if (resetPools || applicationsChanged)
            m_delegate.updateListsAfterChange();
        return;
    }
    if (!resetPools) {
        if (applicationsChanged)
            m_delegate.updateListsAfterChange();
        return;
    }
    if (afterPushingUndoState) {
        // One confirmation and one undo state cover both halves.
        if (withConfirmation && !confirmed
            && !confirm(VXResetTimersMessage, VXResetTimersInformativeText, VXResetButtonTitle))
            return;
        if (!applicationsChanged)
            m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
    }
    // Pools keep their definitions, names and members.
    for (const VXValue &pool : *pools) {
        if (VXDictionary *item = pool.dictionary())
            resetTimersRecursively(*item);
    }
    configuration->remove(VXFirstPoolTimestampKey);
    configuration->remove(VXOverallPoolTimeKey);
    // The applications were left alone.
    if (afterPushingUndoState && !applicationsChanged)
        m_delegate.noteChangeConfinedTo(VXTickWindows());
    m_delegate.ignoreTimeSinceLastUpdate();
    m_delegate.updateListsAfterChange();
}

void VXResets::resetApplicationTimers()
{
    resetApplicationTimers(true, false, true, true);
}

void VXResets::resetPoolTimers()
{
    resetApplicationTimers(false, true, true, true);
}

void VXResets::resetAllTimers()
{
    resetApplicationTimers(true, true, true, true);
}

void VXResets::resetTimerViaMenuItem(const VXDictionaryRef &representedItem)
{
    const VXDictionaryRef item = representedItem ? representedItem : m_delegate.selectedItem();
    if (!item) {
        m_delegate.beep();
        return;
    }
    m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
    resetTimersRecursively(*item);
    const VXDictionaryRef configuration = m_delegate.currentConfiguration();
    if (const std::optional<VXTickWindows> windows
        = configuration ? windowsResetWith(*configuration, *item) : std::nullopt)
        m_delegate.noteChangeConfinedTo(*windows);
    m_delegate.updateListsAfterChange();
}

// ---- Clears

void VXResets::clearApplications()
{
    m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
    if (const VXDictionaryRef configuration = m_delegate.currentConfiguration()) {
        if (VXDictionary *applications = configuration->value(VXApplicationsKey).dictionary())
            applications->clear();
        configuration->remove(VXFirstTimestampKey);
        configuration->remove(VXOverallTimeKey);
    }
    m_delegate.ignoreTimeSinceLastUpdate();
    m_delegate.updateListsAfterChange();
}

void VXResets::clearPools()
{
    const VXDictionaryRef configuration = m_delegate.currentConfiguration();
    VXArray *pools = configuration ? configuration->value(VXPoolsKey).array() : nullptr;
    if (!pools || pools->isEmpty())
        return;
    m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
    pools->clear();
    configuration->remove(VXFirstPoolTimestampKey);
    configuration->remove(VXOverallPoolTimeKey);
    m_delegate.noteChangeConfinedTo(VXTickWindows());
    m_delegate.updateListsAfterChange();
}

void VXResets::clearAll()
{
    if (!confirm(VXClearAllMessage, VXClearAllInformativeText, VXClearAllButtonTitle))
        return;
    m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
    m_delegate.forgetLastUpdate();
    m_delegate.replaceConfiguration(VXDictionaryRef());
    m_delegate.updateListsAfterChange();
}

// ---- Removing items

bool VXResets::deleteItem(const VXDictionaryRef &item, bool forceBlacklisting)
{
    if (!canDeleteItem(item.get()))
        return false;
    const VXDictionaryRef configuration = m_delegate.currentConfiguration();
    if (!configuration)
        return false;

    if (!isPoolOrPoolItem(*item)) {
        VXDictionary *applications = configuration->value(VXApplicationsKey).dictionary();
        if (!applications)
            return false;
        QStringList keys;
        keys.reserve(qsizetype(applications->size()));
        for (const VXDictionary::Entry &entry : *applications)
            keys.append(entry.key);

        bool found = false;
        bool isApplication = false;
        QString name;
        QString applicationName;
        for (const QString &key : std::as_const(keys)) {
            const VXDictionaryRef application = applications->value(key).dictionaryRef();
            if (!application)
                continue;
            if (application == item) {
                name = itemName(*application);
                m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
                applications->remove(key);
                found = isApplication = true;
                break;
            }
            VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary();
            if (!windows)
                continue;
            for (const VXDictionary::Entry &entry : *windows) {
                if (entry.value.dictionary() != item.get())
                    continue;
                name = entry.key;
                applicationName = itemName(*application);
                m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
                windows->remove(name);
                found = true;
                break;
            }
            if (found)
                break;
        }
        if (!found)
            return false;
        // An item that is running or open would come back at the next tick unless blacklisted.
        if (forceBlacklisting || boolForKey(*item, VXActiveKey)) {
            if (isApplication)
                addToBlacklist(*configuration, VXApplicationBlacklistKey, name, name, QString());
            else
                addToBlacklist(*configuration, VXWindowBlacklistKey,
                               applicationName + u' ' + rightTriangleArrowString() + u' ' + name, name,
                               applicationName);
        }
        m_delegate.updateListsAfterChange();
        return true;
    }

    VXArray *pools = configuration->value(VXPoolsKey).array();
    if (!pools)
        return false;
    const VXValue target(item);
    auto removeFrom = [&](VXArray &array) {
        const std::ptrdiff_t index = array.indexOfIdentical(target);
        if (index < 0)
            return false;
        m_delegate.pushUndoStateAndClearRedoStatesAfterDelay();
        array.removeAt(std::size_t(index));
        return true;
    };
    if (removeFrom(*pools)) {
        m_delegate.updateListsAfterChange();
        return true;
    }
    // Two levels below the pools: their members, and the members' window entries.
    for (const VXValue &pool : *pools) {
        VXArray *members = pool.dictionary() ? pool.dictionary()->value(VXChildrenKey).array() : nullptr;
        if (!members)
            continue;
        if (removeFrom(*members)) {
            m_delegate.updateListsAfterChange();
            return true;
        }
        for (const VXValue &member : *members) {
            VXDictionary *memberItem = member.dictionary();
            VXArray *entries = memberItem ? memberItem->value(VXChildrenKey).array() : nullptr;
            if (!entries || !removeFrom(*entries))
                continue;
            if (entries->isEmpty())
                memberItem->remove(VXChildrenKey);
            m_delegate.updateListsAfterChange();
            return true;
        }
    }
    return false;
}

void VXResets::addToBlacklist(VXDictionary &configuration, const QString &blacklistName, const QString &entry,
                              const QString &name, const QString &qualifier)
{
    VXArray &blacklist = blacklistWithName(configuration, blacklistName);
    QStringList lines;
    lines.reserve(qsizetype(blacklist.size()));
    for (const VXValue &line : blacklist)
        lines.append(line.toString());
    if (validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(name, lines, qualifier)) {
        blacklist.append(entry);
        lines.append(entry);
    }
    std::sort(lines.begin(), lines.end(), VXStringOrder());
    m_delegate.showBlacklistText(blacklistName, lines.join(u'\n'));
}

bool VXResets::canDeleteSelectedItem()
{
    return canDeleteItem(m_delegate.selectedItem().get());
}

bool VXResets::deleteSelectedItem()
{
    return deleteItem(m_delegate.selectedItem(), false);
}

bool VXResets::deleteDraggedItem(const VXDictionaryRef &item)
{
    return deleteItem(item, false);
}

bool VXResets::deleteItemViaMenuItem(const VXDictionaryRef &item, int tag)
{
    const bool deleted = deleteItem(item, tag < 0);
    if (!deleted)
        m_delegate.beep();
    return deleted;
}

// ---- Daily tasks

std::uint64_t VXResets::autoTasksHour() const
{
    const VXValue hour = m_defaults.objectForKey(VXAutoExportHourKey);
    if (hour.isNull())
        return kDefaultAutoTasksHour;
    return std::uint64_t(m_defaults.integerForKey(VXAutoExportHourKey));
}

void VXResets::doAutoTasksIfNecessary(const void *sender)
{
    if (sender)
        m_scheduler.cancel(this, kDoAutoTasksOperation);
    const bool autoExport = m_defaults.boolForKey(VXAutoExportKey::kAutoExportReports);
    const bool autoResetApplications = m_defaults.boolForKey(VXAutoResetApplicationsKey);
    const bool autoResetPools = m_defaults.boolForKey(VXAutoResetPoolsKey);
    if (!autoExport && !autoResetApplications && !autoResetPools)
        return;

    int hour = 0;
    const QString today = currentYearMonthDayStringWithHour(m_clock, &hour);
    if (hour >= 0 && std::uint64_t(hour) >= autoTasksHour()) {
        if (m_autoExport)
            m_autoExport();
        // The day is stored before the reset: each half runs at most once per calendar day.
        bool resetApplications = false;
        bool resetPools = false;
        if (autoResetApplications && m_defaults.stringForKey(VXAutoResetApplicationsLastDateKey) != today) {
            m_defaults.setString(today, VXAutoResetApplicationsLastDateKey);
            resetApplications = true;
        }
        if (autoResetPools && m_defaults.stringForKey(VXAutoResetPoolsLastDateKey) != today) {
            m_defaults.setString(today, VXAutoResetPoolsLastDateKey);
            resetPools = true;
        }
        resetApplicationTimers(resetApplications, resetPools, true, false);
    }
    m_scheduler.performAfterDelay(this, kDoAutoTasksOperation, kAutoTasksInterval,
                                  [this] { doAutoTasksIfNecessary(nullptr); });
}
