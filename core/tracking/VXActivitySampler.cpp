#include "VXActivitySampler.h"

#include "VXBlacklists.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXLog.h"
#include "VXRegisteredDefaults.h"
#include "VXStringExtensions.h"
#include "VXTrackingLogging.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QHash>

#include <algorithm>
#include <unordered_set>

namespace {

const char *const kTranslationContext = "VXActivitySampler";
const char *const kOneSecondText = QT_TRANSLATE_NOOP("VXActivitySampler", "1 second");
const char *const kSecondsFormat = QT_TRANSLATE_NOOP("VXActivitySampler", "%1 seconds");

// The order of items filed under keys. When two items would otherwise tie, the key decides, so
// that a list never depends on the order in which a table happens to store its entries.
template <class Keyed>
bool keyedBefore(const VXItemSortKey &a, const Keyed &keyedA, const VXItemSortKey &b, const Keyed &keyedB)
{
    const VXComparisonResult result = a.compare(b);
    if (result != VXOrderedSame)
        return result == VXOrderedAscending;
    return VXCompareCodePoints(keyedA.key, keyedB.key) < 0;
}

// Sorts items filed under keys, each item read once (VXItemSortKey). Input that is already in
// order (the usual case from tick to tick) is left as it is, which is what a stable sort would
// leave.
template <class Keyed> void sortKeyedItems(std::vector<Keyed> &items, int sortColumn)
{
    std::vector<VXItemSortKey> keys;
    keys.reserve(items.size());
    for (const Keyed &item : items)
        keys.emplace_back(item.item.get(), sortColumn);
    const auto before = [&](std::size_t a, std::size_t b) { return keyedBefore(keys[a], items[a], keys[b], items[b]); };
    const std::optional<std::vector<std::size_t>> order = VXStableSortOrder(items.size(), before);
    if (!order)
        return;
    std::vector<Keyed> sorted;
    sorted.reserve(items.size());
    for (const std::size_t index : *order)
        sorted.push_back(std::move(items[index]));
    items = std::move(sorted);
}

// Puts the item where the order wants it in an ordered list (the order of sortKeyedItems).
template <class Keyed> void insertKeyedItem(std::vector<Keyed> &items, const Keyed &item, int sortColumn)
{
    const VXItemSortKey key(item.item.get(), sortColumn);
    const auto place = std::lower_bound(items.begin(), items.end(), item, [&](const Keyed &a, const Keyed &b) {
        // `b` is the item put in.
        return keyedBefore(VXItemSortKey(a.item.get(), sortColumn), a, key, b);
    });
    items.insert(place, item);
}

template <class Keyed> VXArrayRef arrayOf(const std::vector<Keyed> &items)
{
    VXArrayRef array = VXMakeArray();
    array->reserve(items.size());
    for (const Keyed &item : items)
        array->append(item.item);
    return array;
}

// The application's list of windows, unless it already holds these windows in this order: a
// full walk lists every application anew, and one whose list did not change keeps its change
// count, so that the next save shares it with the last one without a look at its windows.
template <class Keyed> void setChildren(VXDictionary &application, const std::vector<Keyed> &items)
{
    if (const VXArray *current = application.value(VXChildrenKey).array();
        current && current->size() == items.size() && !current->isPacked()) {
        std::size_t i = 0;
        while (i < items.size() && current->objectAt(i).dictionary() == items[i].item.get())
            ++i;
        if (i == items.size())
            return;
    }
    application.insert(VXChildrenKey, arrayOf(items));
}

// Keeps the first of each item (by identity), in order: the items seen at the previous tick
// come in the order that tick sorted them, so that the sort finds them in order again.
template <class Keyed> void removeDuplicates(std::vector<Keyed> &items)
{
    if (items.size() <= 64) {
        // Lists this short (the windows of one application) are cheaper to scan than to hash.
        std::size_t kept = 0;
        for (std::size_t i = 0; i < items.size(); ++i) {
            bool seen = false;
            for (std::size_t k = 0; k < kept && !seen; ++k)
                seen = items[k].item == items[i].item;
            if (!seen) {
                if (kept != i)
                    items[kept] = std::move(items[i]);
                ++kept;
            }
        }
        items.resize(kept);
        return;
    }
    std::unordered_set<const void *> kept;
    kept.reserve(items.size());
    items.erase(std::remove_if(items.begin(), items.end(),
                               [&](const Keyed &item) { return !kept.insert(item.item.get()).second; }),
                items.end());
}

// Stores the value unless the item holds an equal one already (which spares making a new
// string every tick).
void setString(VXDictionary &item, const QString &key, const QString &value)
{
    const VXValue &stored = item.value(key);
    if (!stored.isString() || stored.stringRef() != value)
        item.insert(key, value);
}

// A set of items by identity (or by number), kept as a sorted list: small, and no allocation
// once it has grown.
template <class Item> class IdentitySet
{
public:
    explicit IdentitySet(std::vector<Item> &storage) : m_items(storage) { m_items.clear(); }
    void add(Item item) { m_items.push_back(item); }
    void seal()
    {
        std::sort(m_items.begin(), m_items.end());
        m_items.erase(std::unique(m_items.begin(), m_items.end()), m_items.end());
    }
    bool contains(Item item) const { return std::binary_search(m_items.begin(), m_items.end(), item); }
    const std::vector<Item> &items() const { return m_items; }

private:
    std::vector<Item> &m_items;
};

// Whether a list that was in order (VXSortItemArray's, or with `strict` the pool list's, where
// items that tie are left to their order in "Pools") is in order still, when only `moved`
// (sorted by address) can have changed their place in it: each of them must stand in order
// with its neighbours. Ties in the pool list are not settled here: they answer no.
bool staysInOrder(const VXArray &list, const std::vector<const VXDictionary *> &moved, int sortColumn, bool strict)
{
    if (moved.empty())
        return true;
    const auto keyAt = [&](std::size_t i) { return VXItemSortKey(list.objectAt(i).dictionary(), sortColumn); };
    const auto inOrder = [strict](const VXItemSortKey &a, const VXItemSortKey &b) {
        const VXComparisonResult result = a.compare(b);
        return strict ? result == VXOrderedAscending : result != VXOrderedDescending;
    };
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!std::binary_search(moved.begin(), moved.end(), list.objectAt(i).dictionary()))
            continue;
        const VXItemSortKey key = keyAt(i);
        if ((i > 0 && !inOrder(keyAt(i - 1), key)) || (i + 1 < list.size() && !inOrder(key, keyAt(i + 1))))
            return false;
    }
    // A moved item not in the list (a pool not listed) leaves it as it is.
    return true;
}

std::vector<VXPattern> compiledPatterns(const QStringList &patterns)
{
    std::vector<VXPattern> compiled;
    compiled.reserve(static_cast<std::size_t>(patterns.size()));
    for (const QString &pattern : patterns)
        compiled.emplace_back(pattern, true);
    return compiled;
}

void credit(VXDictionary &item, bool gap, double elapsed, bool front)
{
    if (gap)
        return;
    if (boolForKey(item, VXActiveKey))
        addTimeInterval(item, elapsed, VXTimeKey);
    if (front && boolForKey(item, VXFrontActiveKey))
        addTimeInterval(item, elapsed, VXFrontTimeKey);
}

}   // namespace

// ---- Settings

double VXUpdateIntervalFromValue(double value)
{
    return value > VXMinimumUpdateInterval ? value : VXMinimumUpdateInterval;
}

bool VXShouldRestoreExpansionStates(const VXExpansionRefreshFacts &facts)
{
    if (facts.firstFullTick || !facts.runsAsStatusItem || facts.listWindowVisible)
        return true;
    const bool reportShowsLists = facts.reportWindowVisible && facts.liveReportContent == 0;
    return reportShowsLists || facts.showActivityReportInDock || facts.showActivityReportOnDesktop;
}

QString VXUpdateIntervalText(double interval)
{
    const QString number = localizedStringWithDouble(interval, 1, true);
    if (number == QLatin1StringView("1"))
        return QCoreApplication::translate(kTranslationContext, kOneSecondText);
    return QCoreApplication::translate(kTranslationContext, kSecondsFormat).arg(number);
}

void VXSamplerSettings::readTickSettings(const VXUserDefaults &defaults)
{
    includeWindowsFromAllSpaces = defaults.boolForKey(VXDefaultsKey::kIncludeWindowsFromAllSpaces);
    includeFloatingWindows = defaults.boolForKey(VXIncludeFloatingWindowsKey);
    qualifiedBlacklistEatsFrontmostWindow = defaults.boolForKey(VXQualifiedBlacklistEatsFrontmostWindowKey);
}

// ---- The tick

struct VXActivitySampler::WindowRecord {
    VXDictionaryRef application;   // keeps the map's key alive, so that it is never reused
    bool recorded = false;   // consolidated since the record was last forgotten
    VXDictionaryRef windowsByName;   // the window table when it was last consolidated
    std::uint32_t changes = 0;   // its change count then, and after the sampler's own filing since
    std::vector<KeyedItem> seen;   // its windows seen then
    std::vector<KeyedItem> touched;   // its windows seen so far in the tick in progress
    std::uint64_t generation = 0;   // the tick that consolidated it last (or found it dormant)
    // The application as that consolidation left it: whether it was seen, and its change count.
    bool active = false;
    std::uint32_t applicationChanges = 0;
    // While inactive windows are listed: all its windows, sorted by that tick.
    std::vector<KeyedItem> children;
    bool hasChildren = false;
    int childrenSortColumn = 0;
};

struct VXActivitySampler::Tick {
    Tick(const VXDesktopSnapshot &desktopState, const VXSamplerSettings &tickSettings, VXDictionary &root) :
        desktop(desktopState), settings(tickSettings), configuration(root)
    {
    }

    const VXDesktopSnapshot &desktop;
    const VXSamplerSettings &settings;
    VXDictionary &configuration;
    bool gap = false;
    double elapsed = 0.0;
    double timestamp = 0.0;
    double previous = 0.0;
    VXDictionary *applications = nullptr;
    const VXArray *pools = nullptr;
    const VXDictionary *cutoffs = nullptr;
    bool fullWalk = false;
    bool useRecord = false;
    bool applicationsUnchanged = false;   // the table as the previous tick left it
    bool skipDormantApplications = false;
    bool usePoolRecord = false;
    std::uint64_t generation = 0;
};

// The blacklists and cut-offs as prepared for the tick, and the answers they gave. Answers are
// kept while the three rule sets stay equal to the copies they were made from.
struct VXActivitySampler::Rules {
    // Remembered answers are dropped when they grow past this (titles with running counters).
    static constexpr qsizetype kMaximumRemembered = 8192;

    VXValue applicationBlacklist;
    VXValue windowBlacklist;
    VXValue cutoffs;
    bool prepared = false;
    std::vector<VXPattern> applicationPatterns;
    std::vector<VXPattern> windowPatterns;
    std::vector<VXQualifiedBlacklistPattern> qualifiedWindowPatterns;
    QHash<QString, std::optional<QString>> applicationNames;
    QHash<QString, std::optional<QString>> windowTitles;
    QHash<std::pair<QString, QString>, std::optional<QString>> windowKeys;

    bool isCurrent(const VXDictionary &root) const
    {
        return prepared && root.value(VXApplicationBlacklistKey) == applicationBlacklist
            && root.value(VXWindowBlacklistKey) == windowBlacklist && root.value(VXCutoffsKey) == cutoffs;
    }

    void prepare(const VXDictionary &root)
    {
        applicationBlacklist = root.value(VXApplicationBlacklistKey).deepCopy();
        windowBlacklist = root.value(VXWindowBlacklistKey).deepCopy();
        cutoffs = root.value(VXCutoffsKey).deepCopy();
        applicationPatterns = compiledPatterns(VXApplicationBlacklistPatterns(*applicationBlacklist.array()));
        const VXPreprocessedWindowBlacklist preprocessed = VXPreprocessWindowBlacklist(*windowBlacklist.array());
        windowPatterns = compiledPatterns(preprocessed.unqualified);
        qualifiedWindowPatterns.clear();
        for (const VXQualifiedBlacklistEntry &entry : preprocessed.qualified)
            qualifiedWindowPatterns.push_back({VXPattern(entry.qualifier, true), VXPattern(entry.value, true)});
        applicationNames.clear();
        windowTitles.clear();
        windowKeys.clear();
        prepared = true;
    }

    template <class Key, class Compute>
    static std::optional<QString> remembered(QHash<Key, std::optional<QString>> &answers, const Key &key,
                                             Compute compute)
    {
        const auto found = answers.constFind(key);
        if (found != answers.constEnd())
            return *found;
        if (answers.size() >= kMaximumRemembered)
            answers.clear();
        return *answers.insert(key, compute());
    }

    // The application's name, trimmed, or nothing when blank or blacklisted.
    std::optional<QString> applicationName(const QString &name)
    {
        return remembered(applicationNames, name,
                          [&] { return validItemNameCheckedAgainstBlacklist(name, applicationPatterns); });
    }

    // The window's title, trimmed, or nothing when blank or blacklisted by a plain pattern.
    std::optional<QString> windowTitle(const QString &title)
    {
        return remembered(windowTitles, title,
                          [&] { return validItemNameCheckedAgainstBlacklist(title, windowPatterns); });
    }

    // The key of a window of the named application: its title cut, or nothing when a line of the
    // window blacklist that names the application covers it.
    std::optional<QString> windowKey(const QString &applicationName, const QString &title,
                                     const VXDictionary *cutoffTable)
    {
        return remembered(windowKeys, std::pair(applicationName, title), [&]() -> std::optional<QString> {
            if (!qualifiedWindowPatterns.empty()) {
                const VXPatternSubject qualifier(applicationName);
                const VXPatternSubject subject(title);
                for (const VXQualifiedBlacklistPattern &entry : qualifiedWindowPatterns) {
                    if (entry.qualifier.matches(qualifier) && entry.value.matches(subject))
                        return std::nullopt;
                }
            }
            return windowNameByApplyingCutoffs(title, VXSeparatorsForApplication(cutoffTable, applicationName));
        });
    }
};

VXActivitySampler::VXActivitySampler() :
    m_applicationArray(VXMakeArray()), m_poolArray(VXMakeArray()), m_rules(std::make_unique<Rules>())
{
}

VXActivitySampler::~VXActivitySampler() = default;

void VXActivitySampler::invalidateDormancyRecord()
{
    m_hasPoolRecord = false;
    m_seenPoolItems.clear();
    m_windowRecords.clear();
    m_seenApplications.clear();
    m_recordedConfiguration.reset();
    m_recordedApplications.reset();
    m_hasRecord = false;
}

void VXActivitySampler::sample(VXDictionaryRef &configuration, const VXDesktopSnapshot &desktop, double now,
                               const VXSamplerSettings &settings, bool fullWalk)
{
    // Time.
    if (!configuration) {
        configuration = VXMakeDictionary();
        m_lastDate.reset();
    }
    VXDictionary &root = *configuration;
    Tick tick(desktop, settings, root);
    tick.gap = m_ignoreLastDate || !m_lastDate;
    tick.elapsed = tick.gap ? 0.0 : now - *m_lastDate;
    tick.timestamp = now;
    tick.previous = timeIntervalForKey(root, VXLastTimestampKey);
    // The pools are checked before the tick changes anything, so that the matcher's check sees
    // only what changed since the last tick ended (see VXPoolMatcher::settle()).
    tick.pools = root.value(VXPoolsKey).array();
    if (m_poolMatcher.update(tick.pools))
        m_hasPoolRecord = false;
    m_poolMatcher.clearTouched();

    // Timestamps and overall times.
    if (!root.contains(VXFirstTimestampKey))
        setTimeInterval(root, tick.timestamp, VXFirstTimestampKey);
    if (!root.contains(VXFirstPoolTimestampKey))
        setTimeInterval(root, tick.timestamp, VXFirstPoolTimestampKey);
    setTimeInterval(root, tick.timestamp, VXLastTimestampKey);
    m_lastDate = now;
    m_ignoreLastDate = false;
    addTimeInterval(root, tick.elapsed, VXOverallTimeKey);
    addTimeInterval(root, tick.elapsed, VXOverallPoolTimeKey);
    m_overallApplicationTime = timeIntervalForKey(root, VXOverallTimeKey);
    m_overallPoolTime = timeIntervalForKey(root, VXOverallPoolTimeKey);

    if (desktop.frontmostApplicationPath.isEmpty())
        VXDebugLog(QStringLiteral("cannot get active application path"));

    // Tables.
    tick.applications = root.value(VXApplicationsKey).dictionary();
    if (!tick.applications) {
        if (root.contains(VXApplicationsKey))
            qCWarning(lcTracking).noquote()
                << QStringLiteral("<%1> is not a dictionary; starting it anew").arg(VXApplicationsKey);
        VXDictionaryRef created = VXMakeDictionary();
        tick.applications = created.get();
        root.insert(VXApplicationsKey, std::move(created));
    }
    // The record of dormant items holds only while the tree is the one it was made from. Within
    // it, tables are checked by their change counts: a forced tick walks only what changed.
    const VXDictionaryRef applications(tick.applications);
    if (m_recordedConfiguration != configuration || m_recordedApplications != applications)
        invalidateDormancyRecord();
    blacklistWithName(root, VXApplicationBlacklistKey);
    blacklistWithName(root, VXWindowBlacklistKey);
    tick.cutoffs = cutoffs(root);
    // The rules and pools are prepared anew only when they changed (the checks compare them with
    // what they were prepared from), so that a forced tick keeps the answers they gave.
    if (!m_rules->isCurrent(root))
        m_rules->prepare(root);
    Rules &rules = *m_rules;
    VXWindowDescriptionsByPID(
        desktop, [&rules](const QString &title) { return rules.windowTitle(title); },
        settings.includeWindowsFromAllSpaces, settings.includeFloatingWindows, m_windowDescriptions);
    // A forced tick keeps the record too: the pool items changed outside the ticks (times reset,
    // a pool renamed) are the ones the matcher found changed, and any other change to the pools
    // made the matcher prepare them anew, which drops the record.
    tick.usePoolRecord = m_hasPoolRecord && tick.pools && m_poolRecordSortColumn == settings.sortColumn
        && m_poolRecordShowsInactive == settings.showInactivePools && !m_poolMatcher.holdsAnItemTwice();

    tick.fullWalk = fullWalk;
    tick.useRecord = m_hasRecord;
    tick.applicationsUnchanged = m_hasRecord && tick.applications->changeCount() == m_recordedApplicationChanges;
    // Applications unseen keep their "Children" while inactive items are listed: they are dormant
    // only when the previous tick did not list them.
    tick.skipDormantApplications = m_hasRecord && m_previousTickHidInactive && !settings.showInactiveApplicationItems;
    tick.generation = ++m_generation;
    m_touchedApplications.clear();
    m_tickWindows.windows.clear();
    m_tickWindows.everyApplication = true;
    m_tickWindows.applications.clear();
    m_tickWindows.everyPoolItem = true;
    m_tickWindows.poolItems.clear();
    m_tickWindows.sortedPoolLists.clear();
    m_consolidatedItems = 0;

    creditApplications(tick);
    consolidateApplications(tick);
    consolidatePools(tick);

    m_recordedConfiguration = configuration;
    m_recordedApplications = applications;
    m_hasRecord = true;
    m_previousTickHidInactive = !settings.showInactiveApplicationItems;
    m_windowDescriptions.clear();
}

void VXActivitySampler::creditApplications(Tick &tick)
{
    for (const VXRunningApplication &process : tick.desktop.runningApplications) {
        if (process.activationPolicy != VXActivationPolicy::Regular)
            continue;
        const std::optional<QString> name = m_rules->applicationName(process.localizedName);
        if (!name || process.bundlePath.isEmpty())
            continue;
        const QString &applicationID
            = process.bundleIdentifier.isEmpty() ? process.bundlePath : process.bundleIdentifier;
        const bool front = tick.desktop.frontmostApplicationPath == process.bundlePath;

        // No once-per-tick guard here: two processes of one application credit its item twice.
        VXDictionary *application = tick.applications->value(applicationID).dictionary();
        if (application) {
            credit(*application, tick.gap, tick.elapsed, front);
        } else {
            // The name is fixed when the item is made; a later rename of the application keeps it.
            VXDictionaryRef created = VXMakeDictionary();
            created->insert(VXNameKey, *name);
            created->insert(VXApplicationIDKey, applicationID);
            application = created.get();
            tick.applications->insert(applicationID, std::move(created));
        }
        m_touchedApplications.push_back({applicationID, VXDictionaryRef(application)});
        setString(*application, VXPathKey, process.bundlePath);
        setBool(*application, true, VXActiveMarkKey);
        setBool(*application, front, VXFrontActiveMarkKey);
        creditPools(tick, *application, front);

        if (process.processIdentifier < 0)
            continue;
        creditWindows(tick, *application, applicationID, *name, process.processIdentifier, front);
    }
}

void VXActivitySampler::creditWindows(Tick &tick, VXDictionary &application, const QString &applicationID,
                                      const QString &name, std::int64_t processIdentifier, bool front)
{
    const std::span<const VXWindowDescription> descriptions = m_windowDescriptions.windowsOfProcess(processIdentifier);
    if (descriptions.empty())
        return;
    VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary();
    WindowRecord &record = m_windowRecords[&application];

    for (const VXWindowDescription &description : descriptions) {
        // Blacklisted by a line that names this application: the front status stays for the
        // next window unless the blacklisted window is to take it along.
        const std::optional<QString> cutTitle = m_rules->windowKey(name, description.name, tick.cutoffs);
        if (!cutTitle) {
            if (tick.settings.qualifiedBlacklistEatsFrontmostWindow)
                front = false;
            continue;
        }

        const QString &key = *cutTitle;
        // While the table is as the record left it, a window seen at the previous tick is found
        // among the few the record keeps, without a look into the table (thousands of windows on
        // a long record, most of them cold).
        VXDictionary *window = nullptr;
        if (windows && record.recorded && record.windowsByName.get() == windows
            && record.changes == windows->changeCount()) {
            const auto seen = std::find_if(record.seen.begin(), record.seen.end(),
                                           [&](const KeyedItem &candidate) { return candidate.key == key; });
            if (seen != record.seen.end())
                window = seen->item.get();
        }
        if (!window && windows)
            window = windows->value(key).dictionary();
        if (window) {
            // An earlier window of this tick had the same cut title: this one counts with it.
            if (boolForKey(*window, VXActiveMarkKey)) {
                front = false;
                continue;
            }
            credit(*window, tick.gap, tick.elapsed, front);
        } else {
            if (!windows) {
                VXDictionaryRef created = VXMakeDictionary();
                windows = created.get();
                application.insert(VXWindowsByNameKey, std::move(created));
            }
            // The sampler's own filing leaves a record that held holding.
            const bool recordHeld
                = record.recorded && record.windowsByName.get() == windows && record.changes == windows->changeCount();
            VXDictionaryRef created = VXMakeWindowItem(description);
            window = created.get();
            windows->insert(key, std::move(created));
            if (recordHeld)
                record.changes = windows->changeCount();
        }
        if (key != description.name)
            setString(*window, VXNameKey, key);
        setString(*window, VXApplicationIDKey, applicationID);
        setBool(*window, true, VXActiveMarkKey);
        setBool(*window, front, VXFrontActiveMarkKey);
        creditPools(tick, *window, front);
        record.touched.push_back({key, VXDictionaryRef(window)});
        // Only the frontmost window of the frontmost application is the front window.
        front = false;
    }
}

void VXActivitySampler::creditPools(Tick &tick, VXDictionary &item, bool front)
{
    if (m_plainPoolWalk)
        checkPools(tick.pools, item, tick.gap, tick.elapsed, front);
    else
        m_poolMatcher.checkPools(item, tick.gap, tick.elapsed, front);
}

bool VXActivitySampler::consolidate(const Tick &tick, VXDictionary &item)
{
    ++m_consolidatedItems;
    return consolidateStates(item, tick.gap, tick.timestamp, tick.previous);
}

void VXActivitySampler::consolidateApplications(Tick &tick)
{
    std::vector<KeyedItem> listed;
    std::vector<KeyedItem> seen;
    // A forced tick walks every application (not their windows): a few hundred items. Those
    // unlisted, found unseen at their last consolidation and not changed since (neither the item,
    // which a mark or any edit changes, nor its window table) are left as they are: consolidating
    // them again would change nothing.
    const bool walkAll = !tick.skipDormantApplications || !tick.applicationsUnchanged || tick.fullWalk;
    const bool skipUnchanged = tick.skipDormantApplications && tick.applicationsUnchanged;
    const auto unchangedSinceUnseen = [&](const VXDictionary &application) {
        const auto found = m_windowRecords.find(&application);
        if (found == m_windowRecords.end())
            return false;
        WindowRecord &record = found->second;
        if (!record.recorded || record.active || record.applicationChanges != application.changeCount()
            || (record.windowsByName && record.windowsByName->changeCount() != record.changes))
            return false;
        record.generation = tick.generation;
        return true;
    };
    if (walkAll) {
        for (std::size_t i = 0; i < tick.applications->size(); ++i) {
            const VXDictionary::Entry &entry = tick.applications->entries()[i];
            if (VXDictionary *application = entry.value.dictionary()) {
                if (skipUnchanged && unchangedSinceUnseen(*application))
                    continue;
                if (consolidateApplication(tick, entry.key, *application, listed))
                    seen.push_back({entry.key, VXDictionaryRef(application)});
            }
        }
        // Records of applications no longer in the table.
        for (auto it = m_windowRecords.begin(); it != m_windowRecords.end();) {
            if (it->second.generation != tick.generation)
                it = m_windowRecords.erase(it);
            else
                ++it;
        }
    } else {
        // The others were not seen at the previous tick nor now: they and their windows are
        // dormant, and their list entries are gone already.
        std::vector<KeyedItem> candidates = std::move(m_seenApplications);
        candidates.insert(candidates.end(), m_touchedApplications.begin(), m_touchedApplications.end());
        removeDuplicates(candidates);
        m_tickWindows.everyApplication = false;
        for (KeyedItem &candidate : candidates) {
            m_tickWindows.applications.push_back({candidate.item.get(), candidate.key});
            if (consolidateApplication(tick, candidate.key, *candidate.item, listed))
                seen.push_back(std::move(candidate));
        }
    }
    m_touchedApplications.clear();
    m_recordedApplicationChanges = tick.applications->changeCount();

    sortKeyedItems(listed, tick.settings.sortColumn);
    // Without inactive items the listed applications are the ones seen, now in order.
    m_seenApplications = tick.settings.showInactiveApplicationItems ? std::move(seen) : listed;
    m_applicationArray->clear();
    m_applicationArray->reserve(listed.size());
    for (KeyedItem &item : listed)
        m_applicationArray->append(std::move(item.item));
}

// Steps of one application: its states, its windows' states, and its list entry. Answers
// whether it was seen in this tick.
bool VXActivitySampler::consolidateApplication(Tick &tick, const QString &key, VXDictionary &application,
                                               std::vector<KeyedItem> &listed)
{
    const VXSamplerSettings &settings = tick.settings;
    const bool active = consolidate(tick, application);
    const bool isListed = active || settings.showInactiveApplicationItems;
    VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary();
    WindowRecord &record = m_windowRecords[&application];
    const bool recordHolds = tick.useRecord && record.recorded && record.windowsByName.get() == windows
        && (!windows || record.changes == windows->changeCount());

    // Consolidate every window, or, when the record holds, the ones seen at the previous tick or
    // now: the others are dormant and would not change.
    std::vector<KeyedItem> seenWindows;
    std::vector<KeyedItem> unseenWindows;
    std::vector<const void *> touchedWindows;
    if (recordHolds) {
        if (settings.showInactiveApplicationItems) {
            for (const KeyedItem &window : record.touched)
                touchedWindows.push_back(window.item.get());
        }
        // The candidates become the windows seen, in place.
        seenWindows = std::move(record.seen);
        seenWindows.insert(seenWindows.end(), std::make_move_iterator(record.touched.begin()),
                           std::make_move_iterator(record.touched.end()));
        removeDuplicates(seenWindows);
        for (const KeyedItem &window : seenWindows)
            m_tickWindows.windows.push_back({&application, window.key, window.item.get()});
        seenWindows.erase(
            std::remove_if(seenWindows.begin(), seenWindows.end(),
                           [&](const KeyedItem &candidate) { return !consolidate(tick, *candidate.item); }),
            seenWindows.end());
    } else if (windows) {
        for (std::size_t w = 0; w < windows->size(); ++w) {
            VXDictionary *window = windows->valueAt(w).dictionary();
            if (!window)
                continue;
            const QString &windowKey = windows->entries()[w].key;
            // A state the tick changes is stored or removed (a flag, a mark), which the count sees.
            const std::uint32_t changes = window->changeCount();
            const bool seen = consolidate(tick, *window);
            if (window->changeCount() != changes)
                m_tickWindows.windows.push_back({&application, windowKey, window});
            if (seen)
                seenWindows.push_back({windowKey, VXDictionaryRef(window)});
            else if (settings.showInactiveApplicationItems)
                unseenWindows.push_back({windowKey, VXDictionaryRef(window)});
        }
    }

    if (!isListed) {
        application.remove(VXChildrenKey);
        record.children.clear();
        record.hasChildren = false;
    } else if (!settings.showInactiveApplicationItems) {
        // The windows seen, in order (the record keeps them so for the next tick).
        sortKeyedItems(seenWindows, settings.sortColumn);
        setChildren(application, seenWindows);
        record.children.clear();
        record.hasChildren = false;
    } else {
        std::vector<KeyedItem> children;
        if (recordHolds && !tick.fullWalk && record.hasChildren && record.generation + 1 == tick.generation
            && record.childrenSortColumn == settings.sortColumn) {
            // Every window, as the previous tick sorted them: only the windows seen now can have
            // moved (their times changed) or be new; a forced tick sorts anew, since a change
            // to the tree (a reset) may have changed the times of the others. Take them out and put them back in place;
            // the order is total, so this is the order a full sort gives.
            children = std::move(record.children);
            std::sort(touchedWindows.begin(), touchedWindows.end());
            touchedWindows.erase(std::unique(touchedWindows.begin(), touchedWindows.end()), touchedWindows.end());
            children.erase(std::remove_if(children.begin(), children.end(),
                                          [&](const KeyedItem &window) {
                                              return std::binary_search(touchedWindows.begin(), touchedWindows.end(),
                                                                        window.item.get());
                                          }),
                           children.end());
            for (const KeyedItem &window : seenWindows) {
                if (std::binary_search(touchedWindows.begin(), touchedWindows.end(), window.item.get()))
                    insertKeyedItem(children, window, settings.sortColumn);
            }
        } else {
            if (recordHolds) {
                // The record knows the windows seen; the others come from the table.
                for (std::size_t w = 0; windows && w < windows->size(); ++w) {
                    if (VXDictionary *window = windows->valueAt(w).dictionary())
                        children.push_back({windows->entries()[w].key, VXDictionaryRef(window)});
                }
            } else {
                children = seenWindows;
                children.insert(children.end(), unseenWindows.begin(), unseenWindows.end());
            }
            sortKeyedItems(children, settings.sortColumn);
        }
        setChildren(application, children);
        record.children = std::move(children);
        record.hasChildren = true;
        record.childrenSortColumn = settings.sortColumn;
    }
    if (isListed)
        listed.push_back({key, VXDictionaryRef(&application)});

    // What the next tick needs to skip the dormant windows.
    record.application = VXDictionaryRef(&application);
    record.recorded = true;
    record.windowsByName = VXDictionaryRef(windows);
    record.changes = windows ? windows->changeCount() : 0;
    record.seen = std::move(seenWindows);
    record.touched.clear();
    record.generation = tick.generation;
    record.active = active;
    record.applicationChanges = application.changeCount();
    return active;
}

// The listed pools in the order of the sort, pools that tie keeping their order in "Pools". The
// order of the previous tick is tried first: it usually still holds.
void VXActivitySampler::sortPoolArray(int sortColumn)
{
    VXArray &pools = *m_poolArray;
    std::vector<std::size_t> order(pools.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    // The previous order, looked up by identity.
    std::vector<std::pair<const VXDictionary *, std::size_t>> previousPlace;
    previousPlace.reserve(m_previousPoolOrder.size());
    for (std::size_t i = 0; i < m_previousPoolOrder.size(); ++i)
        previousPlace.emplace_back(m_previousPoolOrder[i].get(), i);
    std::sort(previousPlace.begin(), previousPlace.end());
    auto placeOf = [&](const VXDictionary *pool) -> std::ptrdiff_t {
        const auto found
            = std::lower_bound(previousPlace.begin(), previousPlace.end(), std::pair(pool, std::size_t(0)));
        return found != previousPlace.end() && found->first == pool ? std::ptrdiff_t(found->second) : -1;
    };
    bool samePools = previousPlace.size() == pools.size();
    std::vector<std::ptrdiff_t> places(pools.size());
    for (std::size_t i = 0; samePools && i < pools.size(); ++i)
        samePools = (places[i] = placeOf(pools.objectAt(i).dictionary())) >= 0;
    if (samePools)
        std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return places[a] < places[b]; });
    std::vector<VXItemSortKey> keys;
    keys.reserve(pools.size());
    for (std::size_t i = 0; i < pools.size(); ++i)
        keys.emplace_back(pools.objectAt(i).dictionary(), sortColumn);
    const auto before = [&](std::size_t a, std::size_t b) {
        const VXComparisonResult result = keys[a].compare(keys[b]);
        return result != VXOrderedSame ? result == VXOrderedAscending : a < b;
    };
    if (!std::is_sorted(order.begin(), order.end(), before))
        std::sort(order.begin(), order.end(), before);

    std::vector<VXValue> sorted;
    sorted.reserve(order.size());
    m_previousPoolOrder.clear();
    for (std::size_t index : order) {
        sorted.push_back(pools.objectAt(index));
        m_previousPoolOrder.emplace_back(pools.objectAt(index).dictionary());
    }
    pools.items() = std::move(sorted);
}

void VXActivitySampler::consolidatePools(Tick &tick)
{
    if (tick.usePoolRecord)
        consolidatePoolsSeen(tick);
    else
        consolidateEveryPool(tick);
    m_poolRecordSortColumn = tick.settings.sortColumn;
    m_poolRecordShowsInactive = tick.settings.showInactivePools;
    m_hasPoolRecord = true;
    m_poolMatcher.clearTouched();
    m_poolMatcher.settle();
}

// Every pool, member and entry, and every list of a listed pool sorted: what the record of the
// next tick starts from.
void VXActivitySampler::consolidateEveryPool(Tick &tick)
{
    m_poolArray->clear();
    const int sortColumn = tick.settings.sortColumn;
    // The walk consolidates through the marks it finds in the items.
    m_poolMatcher.storeMarks();
    std::vector<std::uint32_t> seen;
    auto consolidateItem = [&](VXDictionary &item) {
        const bool wasSeen = consolidate(tick, item);
        if (wasSeen) {
            if (const std::optional<std::uint32_t> number = m_poolMatcher.numberOf(&item))
                seen.push_back(*number);
        }
        return wasSeen;
    };
    if (tick.pools) {
        for (const VXValue &poolValue : *tick.pools) {
            VXDictionary *pool = poolValue.dictionary();
            if (!pool)
                continue;
            const bool active = consolidateItem(*pool);
            const bool isListed = active || tick.settings.showInactivePools;
            VXArray *members = pool->value(VXChildrenKey).array();
            if (isListed) {
                m_poolArray->append(poolValue);
                if (members)
                    VXSortItemArray(*members, sortColumn);
            }
            if (!members)
                continue;
            for (const VXValue &memberValue : *members) {
                VXDictionary *member = memberValue.dictionary();
                if (!member)
                    continue;
                consolidateItem(*member);
                VXArray *entries = member->value(VXChildrenKey).array();
                if (!entries)
                    continue;
                for (const VXValue &entryValue : *entries) {
                    if (VXDictionary *entry = entryValue.dictionary())
                        consolidateItem(*entry);
                }
                if (isListed)
                    VXSortItemArray(*entries, sortColumn);
            }
        }
    }
    sortPoolArray(sortColumn);
    m_seenPoolItems = std::move(seen);
    m_poolMatcher.noteOwnChangesToAll();
}

// With the record, only the items seen at the previous tick or now can change (the others are
// dormant), only the lists holding an item whose times moved (credited now, or changed outside
// the ticks) can change order, and the pool list changes only when a pool is among those or
// starts or stops being listed. A pool listed now and not before has its lists sorted, which
// they were not while it was unlisted. A list that was in order stays in order unless a moved
// item now stands out of order with a neighbour, so the neighbours of the moved items are all
// that is read of it (see staysInOrder); only a list found out of order is sorted.
void VXActivitySampler::consolidatePoolsSeen(Tick &tick)
{
    const int sortColumn = tick.settings.sortColumn;
    const bool showInactive = tick.settings.showInactivePools;
    VXPoolMatcher &matcher = m_poolMatcher;
    IdentitySet<std::uint32_t> previouslySeen(m_poolPreviouslySeen);
    IdentitySet<std::uint32_t> candidates(m_poolCandidates);
    for (const std::uint32_t item : m_seenPoolItems) {
        previouslySeen.add(item);
        candidates.add(item);
    }
    for (const std::uint32_t item : matcher.touched())
        candidates.add(item);
    for (const std::uint32_t item : matcher.changedOutside())
        candidates.add(item);
    previouslySeen.seal();
    candidates.seal();

    std::vector<std::uint32_t> seen;
    seen.reserve(candidates.items().size());
    IdentitySet<const VXDictionary *> seenPools(m_poolSeenNow);
    std::vector<VXArray *> &sorted = m_poolArraysToSort;
    sorted.clear();
    bool listingChanged = false;
    for (const std::uint32_t candidate : candidates.items()) {
        ++m_consolidatedItems;
        const bool active = matcher.consolidate(candidate, tick.gap, tick.timestamp, tick.previous);
        if (active)
            seen.push_back(candidate);
        const VXPoolMatcher::Place &place = matcher.placeOf(candidate);
        if (place.array)
            continue;
        // A pool: listed now and not before, or the other way round.
        if (active)
            seenPools.add(place.pool);
        if (!showInactive && active != previouslySeen.contains(candidate))
            listingChanged = true;
        if (active && !showInactive && !previouslySeen.contains(candidate)) {
            if (VXArray *members = place.pool->value(VXChildrenKey).array()) {
                sorted.push_back(members);
                for (const VXValue &member : *members) {
                    if (VXArray *entries
                        = member.dictionary() ? member.dictionary()->value(VXChildrenKey).array() : nullptr)
                        sorted.push_back(entries);
                }
            }
        }
    }
    seenPools.seal();
    // The items whose place in the order may have moved, by the list that holds them (pools by
    // the pool list): those changed outside the ticks, and those credited now in a time the
    // order reads (none by name, only "Front Time" by foreground time).
    std::vector<const VXDictionary *> &movedPools = m_poolsMoved;
    movedPools.clear();
    std::vector<std::pair<VXArray *, const VXDictionary *>> &moved = m_poolItemsMoved;
    moved.clear();
    const auto orderMayMove
        = [&](std::uint32_t item) { return sortColumn >= 2 || (sortColumn == 1 && matcher.creditedInFront(item)); };
    for (const auto *changed : {&matcher.touched(), &matcher.changedOutside()}) {
        for (const std::uint32_t item : *changed) {
            if (changed == &matcher.touched() && !orderMayMove(item))
                continue;
            const VXPoolMatcher::Place &place = matcher.placeOf(item);
            if (!place.array)
                movedPools.push_back(place.pool);
            else if (showInactive || seenPools.contains(place.pool))
                moved.emplace_back(place.array, matcher.item(item));
        }
    }
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    std::sort(moved.begin(), moved.end());
    moved.erase(std::unique(moved.begin(), moved.end()), moved.end());
    for (auto first = moved.begin(); first != moved.end();) {
        VXArray *array = first->first;
        const auto last = std::find_if(first, moved.end(), [array](const auto &entry) { return entry.first != array; });
        std::vector<const VXDictionary *> &items = m_poolsMovedInList;
        items.clear();
        for (auto it = first; it != last; ++it)
            items.push_back(it->second);
        first = last;
        if (std::binary_search(sorted.begin(), sorted.end(), array))
            continue;   // sorted whole below
        if (!staysInOrder(*array, items, sortColumn, false))
            sorted.push_back(array);
    }
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    for (VXArray *array : sorted)
        VXSortItemArray(*array, sortColumn);
    matcher.noteOwnChanges(candidates.items(), sorted);
    // After a forced tick the journal compares every pool item, as the change before it may
    // have touched any; otherwise the ones this tick consolidated.
    if (!tick.fullWalk) {
        m_tickWindows.everyPoolItem = false;
        for (const std::uint32_t candidate : candidates.items())
            m_tickWindows.poolItems.push_back(matcher.item(candidate));
        m_tickWindows.sortedPoolLists.assign(sorted.begin(), sorted.end());
    }

    // The pool list: as it was while the same pools are listed and the moved ones stay in order
    // among them; otherwise made anew from "Pools" and sorted.
    std::sort(movedPools.begin(), movedPools.end());
    movedPools.erase(std::unique(movedPools.begin(), movedPools.end()), movedPools.end());
    if (listingChanged || !staysInOrder(*m_poolArray, movedPools, sortColumn, true)) {
        m_poolArray->clear();
        for (const VXValue &poolValue : *tick.pools) {
            if (poolValue.isDictionary() && (showInactive || seenPools.contains(poolValue.dictionary())))
                m_poolArray->append(poolValue);
        }
        sortPoolArray(sortColumn);
    }
    m_seenPoolItems = std::move(seen);
}
