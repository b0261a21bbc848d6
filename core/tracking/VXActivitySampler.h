#pragma once

// The sampler: one tick reads the desktop, credits the time since the previous tick to every
// application, window, pool, pool member and window entry that was in the same state at both
// ticks, records the changes of state in the event logs, and rebuilds the sorted lists the
// organizer shows. The run loop, the pause gate and the user interface are the controller's;
// this class is the tick itself.
//
// Credit rule: an interval is credited to an item only when the item was in the state at the
// earlier tick (its persistent flag) and is found in it again now (its working mark is being
// set), never across a gap, and at most once per tick for windows, pools, members and entries.
// (Applications are credited once per running process: two instances of one application share
// an item and both credit it.)
//
//     ticks:        t0    t1    t2  (gap)  t3    t4
//     app seen:      x     x     x          x     x
//     credited:         +1    +1     0         +1
//     active log:  [+t0        -t2]       [+t3  ...
//
// Every item of the tree is consolidated once per tick, so no working mark outlives it. An item
// that was seen neither at the previous tick nor now has no flag, no mark and closed logs after
// its last consolidation, so consolidating it again would change nothing: the sampler remembers
// which applications, windows and pool items were seen (keeping references to them and to the
// tables that hold them) and consolidates those and the ones seen now, so that a steady desktop
// does not walk every window of the year twice a second. It also keeps the blacklists, cut-offs
// and pools prepared, with the answers they gave for each name and title, for as long as they
// stay equal to what they were prepared from. The result is the same tree, item for item, as a
// walk over everything; the tests compare the two after every tick of randomized days.

#include "VXDesktop.h"
#include "VXPatternExtensions.h"
#include "VXPools.h"
#include "VXValue.h"
#include "VXWindowDescriptions.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

class VXUserDefaults;

// What one tick may have changed, for the journal, which then compares only those items instead
// of every item the record holds. Windows: each window the tick credited or consolidated (of a
// walk over all of an application's windows, those whose change count moved), with its
// application and its key under "Windows By Name". Applications and pool items: those the tick
// consolidated, unless it walked every one of them (`everyApplication`, `everyPoolItem`); the
// lists of pool items it sorted, unless it sorted them all.
struct VXTickWindows {
    struct Window {
        const VXDictionary *application;
        QString key;
        const VXDictionary *window;
    };
    struct Application {
        const VXDictionary *application;
        QString key;
    };
    std::vector<Window> windows;
    bool everyApplication = true;
    std::vector<Application> applications;
    bool everyPoolItem = true;
    std::vector<const VXDictionary *> poolItems;
    std::vector<const VXArray *> sortedPoolLists;
};

// Settings the sampler reads (the registered ones are in VXRegisteredDefaults.h).
inline const QString VXUpdateIntervalKey = QStringLiteral("Update Interval");
inline const QString VXIncludeFloatingWindowsKey = QStringLiteral("Include Floating Windows");
inline const QString VXQualifiedBlacklistEatsFrontmostWindowKey
    = QStringLiteral("Qualified Blacklist Eats Frontmost Window");
inline const QString VXShowInactiveApplicationItemsKey = QStringLiteral("Show Inactive Application Items");

// The shortest delay between two ticks: any "Update Interval" not above it is read as it.
inline constexpr double VXMinimumUpdateInterval = 0.5;

// "Update Interval" as the tick uses it: values not above the minimum (and a missing value,
// which reads as 0) give the minimum.
double VXUpdateIntervalFromValue(double value);
// The label beside the preferences slider: "1 second", else "<value> seconds" with one trimmed
// fraction digit.
QString VXUpdateIntervalText(double interval);

// Settings of other parts that decide whether the organizer's expansion states are restored
// after a tick: whether a report shows the lists' content.
inline const QString VXLiveReportContentKey = QStringLiteral("Live Report Content");
inline const QString VXShowActivityReportInDockKey = QStringLiteral("Show Activity Report In Dock");
inline const QString VXShowActivityReportOnDesktopKey = QStringLiteral("Show Activity Report On Desktop");

// Whether a full tick restores the organizer's expansion states. It always does, except in the
// status-item mode once the first full tick is done, while the list window is hidden and no
// report needs the lists (the report window is hidden or shows other content than the lists',
// and the report is neither in the Dock tile nor on the desktop).
struct VXExpansionRefreshFacts {
    bool firstFullTick = false;
    bool runsAsStatusItem = false;
    bool listWindowVisible = false;
    bool reportWindowVisible = false;
    std::int64_t liveReportContent = 0;
    bool showActivityReportInDock = false;
    bool showActivityReportOnDesktop = false;
};
bool VXShouldRestoreExpansionStates(const VXExpansionRefreshFacts &facts);

struct VXSamplerSettings {
    bool includeWindowsFromAllSpaces = true;
    bool includeFloatingWindows = false;
    bool qualifiedBlacklistEatsFrontmostWindow = false;
    bool showInactiveApplicationItems = false;
    bool showInactivePools = true;
    int sortColumn = 1;

    // The per-tick settings from the store (the two "Show Inactive" flags are left alone: the
    // program reads them at start-up).
    void readTickSettings(const VXUserDefaults &defaults);
};

class VXActivitySampler
{
public:
    VXActivitySampler();
    ~VXActivitySampler();

    // One tick at `now` (Unix seconds): time and timestamps, the desktop's applications and
    // windows, blacklists, cut-offs and pools, consolidation of every item, and the sorted lists.
    // A missing configuration is started empty (and the tick is a gap).
    //
    // Items known to be dormant since the previous tick are skipped; the sampler walks in full
    // what it finds changed: the configuration or its "Applications" replaced (a load, undo),
    // the applications table or an application's window table changed in any way (their change
    // counts tell), "Pools" replaced or of a different size, a pool, member or entry renamed,
    // re-identified or switched to any application, a blacklist or the cut-offs edited. Ask for
    // `fullWalk` after the tree was changed outside the sampler (a user action, undo, a reset,
    // loading); the controller does on every forced tick. It sorts the application and window lists
    // anew (a reset may have changed any time) and consolidates every application but the unlisted
    // ones it found unseen before whose change counts did not move since; it walks the windows
    // only of the tables that changed (no change made outside the sampler gives a dormant window
    // a flag or a mark, which only ticks set), the pool items seen, credited or changed since the
    // previous tick (their change counts tell), and keeps the rules and pools prepared while they
    // compare equal to what they were prepared from.
    // invalidateDormancyRecord() before it walks every window as well.
    void sample(VXDictionaryRef &configuration, const VXDesktopSnapshot &desktop, double now,
                const VXSamplerSettings &settings, bool fullWalk);

    // The wall-clock time of the previous tick; none before the first.
    std::optional<double> lastDate() const { return m_lastDate; }
    void forgetLastDate() { m_lastDate.reset(); }
    // The next tick must treat the time since the previous one as a gap.
    bool ignoreLastDate() const { return m_ignoreLastDate; }
    void setIgnoreLastDate(bool ignore) { m_ignoreLastDate = ignore; }

    // "Overall Time" and "Overall Pool Time" after the last tick.
    double overallApplicationTime() const { return m_overallApplicationTime; }
    double overallPoolTime() const { return m_overallPoolTime; }

    // The items the organizer lists, sorted; the same array objects from tick to tick.
    const VXArrayRef &applicationArray() const { return m_applicationArray; }
    const VXArrayRef &poolArray() const { return m_poolArray; }

    // The windows the last tick may have changed (see VXTickWindows).
    const VXTickWindows &windowsOfLastTick() const { return m_tickWindows; }

    // How many applications, windows, pools, members and entries the last tick consolidated
    // (the others it knew dormant).
    std::size_t consolidatedItemsOfLastTick() const { return m_consolidatedItems; }

    // Forgets the record of dormant items: the next tick walks every item of the tree.
    void invalidateDormancyRecord();

    // Credits pools by the plain walk over every pool, member and entry (checkPools) instead of
    // the prepared matcher: the reference the matcher is compared with. Use it with full walks
    // only (the record of dormant pool items follows the matcher).
    void setPlainPoolWalk(bool plain) { m_plainPoolWalk = plain; }

private:
    struct Tick;
    struct WindowRecord;
    struct Rules;
    // An item together with the key it is filed under.
    struct KeyedItem {
        QString key;
        VXDictionaryRef item;
    };

    void creditApplications(Tick &tick);
    void creditWindows(Tick &tick, VXDictionary &application, const QString &applicationID, const QString &name,
                       std::int64_t processIdentifier, bool front);
    void creditPools(Tick &tick, VXDictionary &item, bool front);
    // Consolidates the item's states (consolidateStates), counted.
    bool consolidate(const Tick &tick, VXDictionary &item);
    void consolidateApplications(Tick &tick);
    bool consolidateApplication(Tick &tick, const QString &key, VXDictionary &application,
                                std::vector<KeyedItem> &listed);
    void consolidatePools(Tick &tick);
    void consolidateEveryPool(Tick &tick);
    void consolidatePoolsSeen(Tick &tick);
    void sortPoolArray(int sortColumn);

    std::optional<double> m_lastDate;
    bool m_ignoreLastDate = false;
    double m_overallApplicationTime = 0.0;
    double m_overallPoolTime = 0.0;
    VXArrayRef m_applicationArray;
    VXArrayRef m_poolArray;

    // Kept from tick to tick so that a steady desktop allocates little and matches nothing anew:
    // the blacklists and cut-offs prepared, with the answers they gave for each name and title,
    // and the pools prepared, with the answers they gave.
    VXWindowDescriptions m_windowDescriptions;
    std::unique_ptr<Rules> m_rules;
    VXPoolMatcher m_poolMatcher;
    bool m_plainPoolWalk = false;

    // The dormancy record: the applications seen at the previous tick, and per application item
    // its window table as it was when last consolidated and the windows in it seen then.
    VXDictionaryRef m_recordedConfiguration;
    VXDictionaryRef m_recordedApplications;
    bool m_hasRecord = false;
    bool m_previousTickHidInactive = false;
    std::uint32_t m_recordedApplicationChanges = 0;   // the table's change count after the previous tick
    std::vector<KeyedItem> m_seenApplications;   // seen at the previous tick
    std::vector<KeyedItem> m_touchedApplications;   // seen so far in the tick in progress
    std::unordered_map<const VXDictionary *, WindowRecord> m_windowRecords;
    VXTickWindows m_tickWindows;
    std::size_t m_consolidatedItems = 0;
    std::uint64_t m_generation = 0;
    // The same for pools, their members and entries: those seen at the previous tick. Valid
    // while the pools stay as they were prepared and the pool list's settings stay the same.
    bool m_hasPoolRecord = false;
    int m_poolRecordSortColumn = 0;
    bool m_poolRecordShowsInactive = true;
    std::vector<std::uint32_t> m_seenPoolItems;   // by their numbers in the pool matcher
    // Scratch lists of the pool step, kept for their capacity.
    std::vector<std::uint32_t> m_poolCandidates;
    std::vector<std::uint32_t> m_poolPreviouslySeen;
    std::vector<const VXDictionary *> m_poolSeenNow;
    std::vector<VXArray *> m_poolArraysToSort;
    std::vector<const VXDictionary *> m_poolsMoved;
    std::vector<std::pair<VXArray *, const VXDictionary *>> m_poolItemsMoved;
    std::vector<const VXDictionary *> m_poolsMovedInList;
    std::vector<VXDictionaryRef> m_previousPoolOrder;
};
