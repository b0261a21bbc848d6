#pragma once

// The destructive changes to the tree, each undoable: resetting timers (by hand, per item, and
// once a day), clearing the lists, and removing an item (and blacklisting it).
//
// Resetting applications empties "Applications" (the next tick refills it with what runs,
// from zero); resetting pools keeps their definitions and clears their timers and logs. One
// confirmation and one undo state cover both halves of a reset.
//
// The daily tasks run every 59 s while "Auto-Export Reports", "Auto-Reset Applications" or
// "Auto-Reset Pools" is on; from "Auto-Export Hour" (6 unless set) on they export, then reset
// each half at most once per local calendar day (the day is stored before the reset):
//
//     checks:   05:59:xx   06:00:yy   06:01:zz ...  05:59 (next day)  06:00 ...
//     reset:       -          x          -              -              x

#include "VXValue.h"

#include <QString>
#include <QtGlobal>

#include <cstdint>
#include <functional>

class VXClock;
class VXResetsDelegate;
class VXScheduler;
class VXUserDefaults;

// Settings of the daily resets. ("Auto-Export Reports" is the exporter's.)
inline const QString VXAutoResetApplicationsKey = QStringLiteral("Auto-Reset Applications");
inline const QString VXAutoResetPoolsKey = QStringLiteral("Auto-Reset Pools");
inline const QString VXAutoExportHourKey = QStringLiteral("Auto-Export Hour");
// The local day ("YYYY-MM-DD") of the last automatic reset of each half.
inline const QString VXAutoResetApplicationsLastDateKey = QStringLiteral("Auto-Reset Applications: Last Date");
inline const QString VXAutoResetPoolsLastDateKey = QStringLiteral("Auto-Reset Pools: Last Date");

// The confirmations. Translation context "VXResets".
inline constexpr char VXResetTimersMessage[] = QT_TRANSLATE_NOOP("VXResets", "Reset timers?");
inline constexpr char VXResetTimersInformativeText[] = QT_TRANSLATE_NOOP(
    "VXResets", "Are you sure you want to reset?\n\nIf you change your mind after the fact, this action is undoable.");
inline constexpr char VXResetButtonTitle[] = QT_TRANSLATE_NOOP("VXResets", "Reset");
inline constexpr char VXClearAllMessage[] = QT_TRANSLATE_NOOP("VXResets", "Clear all?");
inline constexpr char VXClearAllInformativeText[] = QT_TRANSLATE_NOOP(
    "VXResets",
    "Are you sure you want to clear all your applications and pools?\n\nIf you change your mind after the fact, this action is undoable.");
inline constexpr char VXClearAllButtonTitle[] = QT_TRANSLATE_NOOP("VXResets", "Clear All");

class VXResets
{
public:
    // The daily-tasks check (with this object as target).
    static const QString kDoAutoTasksOperation;   // "doAutoTasksIfNecessary:"
    static constexpr double kAutoTasksInterval = 59.0;
    static constexpr std::uint64_t kDefaultAutoTasksHour = 6;

    VXResets(VXUserDefaults &defaults, const VXClock &clock, VXScheduler &scheduler, VXResetsDelegate &delegate);
    ~VXResets();

    VXResets(const VXResets &) = delete;
    VXResets &operator=(const VXResets &) = delete;

    // The export half of the daily tasks, run before the resets once the hour has come.
    void setAutoExport(std::function<void()> autoExport) { m_autoExport = std::move(autoExport); }

    // ---- Resets

    // Resets the application timers, the pool timers or both; with `afterPushingUndoState`
    // the change is undoable and, with `withConfirmation`, asked first (once for both halves).
    void resetApplicationTimers(bool resetApplicationTimers, bool resetPoolTimers, bool afterPushingUndoState,
                                bool withConfirmation);
    // The menu commands: undoable and confirmed.
    void resetApplicationTimers();
    void resetPoolTimers();
    void resetAllTimers();

    // Resets the timers of one item (the given one, else the selected one) and of everything
    // under it; the overall totals stay. Beeps when there is no item.
    void resetTimerViaMenuItem(const VXDictionaryRef &representedItem);

    // ---- Clears

    void clearApplications();
    // Unlike every other clear and reset, this leaves the time since the last tick to be
    // credited.
    void clearPools();
    // Asks first; the whole tree goes, and the next tick starts a new one.
    void clearAll();

    // ---- Removing items

    // Removes an application or window (found by identity in "Applications"), or a pool, pool
    // member or window entry (searched two levels below the pools). An application or window
    // that is running or open, or any one with `forceBlacklisting`, is added to its blacklist
    // (a window in the qualified form "Application ▸ Window") unless the blacklist covers it
    // already; otherwise it would come back at the next tick. Answers whether it was found.
    bool deleteItem(const VXDictionaryRef &item, bool forceBlacklisting);
    bool canDeleteItem(const VXDictionary *item) const { return item != nullptr; }
    bool canDeleteSelectedItem();
    bool deleteSelectedItem();
    bool deleteDraggedItem(const VXDictionaryRef &item);
    // The context menu's two entries: tag 0 removes, a negative tag removes and blacklists.
    // Beeps when the item cannot be removed.
    bool deleteItemViaMenuItem(const VXDictionaryRef &item, int tag);

    // ---- Daily tasks

    // One check (see above), then the next one in 59 s, unless all three options are off. A
    // sender (the preferences, the launch) replaces the pending check.
    void doAutoTasksIfNecessary(const void *sender);
    // "Auto-Export Hour" as an unsigned number; 6 when it is not set.
    std::uint64_t autoTasksHour() const;

private:
    bool confirm(const char *message, const char *informativeText, const char *defaultButton);
    void addToBlacklist(VXDictionary &configuration, const QString &blacklistName, const QString &entry,
                        const QString &name, const QString &qualifier);

    VXUserDefaults &m_defaults;
    const VXClock &m_clock;
    VXScheduler &m_scheduler;
    VXResetsDelegate &m_delegate;
    std::function<void()> m_autoExport;
};
