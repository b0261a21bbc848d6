#include "VXActivitySampler.h"

#include "VXBlacklists.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXLog.h"
#include "VXRegisteredDefaults.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

const char *const kTranslationContext = "VXActivitySampler";
const char *const kOneSecondText = QT_TRANSLATE_NOOP("VXActivitySampler", "1 second");
const char *const kSecondsFormat = QT_TRANSLATE_NOOP("VXActivitySampler", "%1 seconds");

// A window item (or an application item) together with the key it is filed under. Sorting the
// lists falls back to the key when two items would otherwise tie, so that a list never depends on
// the order in which a table happens to store its entries.
struct KeyedItem {
    QString key;
    VXDictionaryRef item;
};

void sortKeyedItems(std::vector<KeyedItem> &items, int sortColumn)
{
    std::stable_sort(items.begin(), items.end(), [sortColumn](const KeyedItem &a, const KeyedItem &b) {
        const VXComparisonResult result = VXSortItemsWithSortColumn(VXValue(a.item), VXValue(b.item), sortColumn);
        if (result != VXOrderedSame)
            return result == VXOrderedAscending;
        return VXCompareCodePoints(a.key, b.key) < 0;
    });
}

VXArrayRef arrayOf(const std::vector<KeyedItem> &items)
{
    VXArrayRef array = VXMakeArray();
    array->reserve(items.size());
    for (const KeyedItem &item : items)
        array->append(item.item);
    return array;
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

} // namespace

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
    VXDictionaryRef application;       // keeps the map's key alive, so that it is never reused
    VXDictionaryRef windowsByName;     // the window table after the tick that recorded it
    std::size_t size = 0;              // its size then
    std::vector<KeyedItem> seen;       // its windows seen in that tick
    std::vector<KeyedItem> touched;    // its windows seen so far in the tick in progress
    std::size_t filed = 0;             // windows the tick in progress added to the table
    std::uint64_t generation = 0;      // the tick that recorded it
};

struct VXActivitySampler::Tick {
    Tick(const VXDesktopSnapshot &desktopState, const VXSamplerSettings &tickSettings, VXDictionary &root)
        : desktop(desktopState), settings(tickSettings), configuration(root)
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
    std::vector<VXPattern> applicationBlacklist;
    std::vector<VXPattern> windowBlacklist;
    std::vector<VXQualifiedBlacklistPattern> qualifiedWindowBlacklist;
    const VXDictionary *cutoffs = nullptr;
    bool useRecord = false;
    std::uint64_t generation = 0;
};

VXActivitySampler::VXActivitySampler() : m_applicationArray(VXMakeArray()), m_poolArray(VXMakeArray()) {}

VXActivitySampler::~VXActivitySampler() = default;

void VXActivitySampler::invalidateDormancyRecord()
{
    m_windowRecords.clear();
    m_recordedConfiguration.reset();
    m_recordedApplications.reset();
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
        VXDictionaryRef created = VXMakeDictionary();
        tick.applications = created.get();
        root.insert(VXApplicationsKey, std::move(created));
    }
    tick.pools = root.value(VXPoolsKey).array();
    tick.applicationBlacklist =
        compiledPatterns(VXApplicationBlacklistPatterns(blacklistWithName(root, VXApplicationBlacklistKey)));
    const VXPreprocessedWindowBlacklist windowBlacklist =
        VXPreprocessWindowBlacklist(blacklistWithName(root, VXWindowBlacklistKey));
    tick.windowBlacklist = compiledPatterns(windowBlacklist.unqualified);
    tick.qualifiedWindowBlacklist.reserve(windowBlacklist.qualified.size());
    for (const VXQualifiedBlacklistEntry &entry : windowBlacklist.qualified)
        tick.qualifiedWindowBlacklist.push_back({VXPattern(entry.qualifier, true), VXPattern(entry.value, true)});
    tick.cutoffs = cutoffs(root);
    VXWindowDescriptionsByPID(desktop, tick.windowBlacklist, settings.includeWindowsFromAllSpaces,
                              settings.includeFloatingWindows, m_windowDescriptions);
    m_poolMatcher.build(tick.pools);

    // The record of dormant windows holds only while the tree is the one it was made from.
    const VXDictionaryRef applications(tick.applications);
    if (fullWalk || m_recordedConfiguration != configuration || m_recordedApplications != applications)
        invalidateDormancyRecord();
    tick.useRecord = !m_windowRecords.empty() && !settings.showInactiveApplicationItems;
    tick.generation = ++m_generation;

    creditApplications(tick);
    consolidateApplications(tick);
    consolidatePools(tick);

    m_recordedConfiguration = configuration;
    m_recordedApplications = applications;
    m_windowDescriptions.clear();
    m_poolMatcher.build(nullptr);
}

void VXActivitySampler::creditApplications(Tick &tick)
{
    for (const VXRunningApplication &process : tick.desktop.runningApplications) {
        if (process.activationPolicy != VXActivationPolicy::Regular)
            continue;
        const std::optional<QString> name =
            validItemNameCheckedAgainstBlacklist(process.localizedName, tick.applicationBlacklist);
        if (!name || process.bundlePath.isEmpty())
            continue;
        const QString &applicationID = process.bundleIdentifier.isEmpty() ? process.bundlePath : process.bundleIdentifier;
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
        application->insert(VXPathKey, process.bundlePath);
        setBool(*application, true, VXActiveMarkKey);
        setBool(*application, front, VXFrontActiveMarkKey);
        m_poolMatcher.checkPools(*application, tick.gap, tick.elapsed, front);

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
    const QStringList separators = VXSeparatorsForApplication(tick.cutoffs, name);
    const VXPatternSubject qualifier(name);
    WindowRecord &record = m_windowRecords[&application];

    for (const VXWindowDescription &description : descriptions) {
        // Blacklisted by a line that names this application. The front status stays for the
        // next window unless the blacklisted window is to take it along.
        bool blacklisted = false;
        if (!tick.qualifiedWindowBlacklist.empty()) {
            const VXPatternSubject title(description.name);
            for (const VXQualifiedBlacklistPattern &entry : tick.qualifiedWindowBlacklist) {
                if (entry.qualifier.matches(qualifier) && entry.value.matches(title)) {
                    blacklisted = true;
                    break;
                }
            }
        }
        if (blacklisted) {
            if (tick.settings.qualifiedBlacklistEatsFrontmostWindow)
                front = false;
            continue;
        }

        const QString key = windowNameByApplyingCutoffs(description.name, separators);
        VXDictionary *window = windows ? windows->value(key).dictionary() : nullptr;
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
            if (!windows->contains(key))
                ++record.filed;
            VXDictionaryRef created = VXMakeWindowItem(description);
            window = created.get();
            windows->insert(key, std::move(created));
        }
        if (key != description.name)
            window->insert(VXNameKey, key);
        window->insert(VXApplicationIDKey, applicationID);
        setBool(*window, true, VXActiveMarkKey);
        setBool(*window, front, VXFrontActiveMarkKey);
        m_poolMatcher.checkPools(*window, tick.gap, tick.elapsed, front);
        record.touched.push_back({key, VXDictionaryRef(window)});
        // Only the frontmost window of the frontmost application is the front window.
        front = false;
    }
}

void VXActivitySampler::consolidateApplications(Tick &tick)
{
    const VXSamplerSettings &settings = tick.settings;
    std::vector<KeyedItem> listed;
    std::vector<KeyedItem> seenWindows;

    for (std::size_t i = 0; i < tick.applications->size(); ++i) {
        const VXDictionary::Entry &entry = tick.applications->entries()[i];
        VXDictionary *application = entry.value.dictionary();
        if (!application)
            continue;
        const bool active = consolidateStates(*application, tick.gap, tick.timestamp, tick.previous);
        const bool isListed = active || settings.showInactiveApplicationItems;
        VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary();
        const std::size_t windowCount = windows ? windows->size() : 0;

        auto found = m_windowRecords.find(application);
        WindowRecord *record = found != m_windowRecords.end() ? &found->second : nullptr;
        const bool recordHolds = tick.useRecord && record && record->generation + 1 == tick.generation
            && record->windowsByName.get() == windows && record->size + record->filed == windowCount;

        // Consolidate every window (or, when the record holds, the ones that were seen at the
        // previous tick or now: the others are dormant and would not change), keeping the
        // windows seen now.
        seenWindows.clear();
        std::vector<KeyedItem> all;
        if (recordHolds) {
            std::vector<KeyedItem> candidates = std::move(record->seen);
            candidates.insert(candidates.end(), std::make_move_iterator(record->touched.begin()),
                              std::make_move_iterator(record->touched.end()));
            std::sort(candidates.begin(), candidates.end(),
                      [](const KeyedItem &a, const KeyedItem &b) { return a.item.get() < b.item.get(); });
            candidates.erase(std::unique(candidates.begin(), candidates.end(),
                                         [](const KeyedItem &a, const KeyedItem &b) { return a.item == b.item; }),
                             candidates.end());
            for (KeyedItem &candidate : candidates) {
                if (consolidateStates(*candidate.item, tick.gap, tick.timestamp, tick.previous))
                    seenWindows.push_back(std::move(candidate));
            }
        } else if (windows) {
            for (std::size_t w = 0; w < windows->size(); ++w) {
                VXDictionary *window = windows->valueAt(w).dictionary();
                if (!window)
                    continue;
                const QString &key = windows->entries()[w].key;
                if (consolidateStates(*window, tick.gap, tick.timestamp, tick.previous))
                    seenWindows.push_back({key, VXDictionaryRef(window)});
                else if (settings.showInactiveApplicationItems)
                    all.push_back({key, VXDictionaryRef(window)});
            }
        }

        if (!isListed) {
            application->remove(VXChildrenKey);
        } else {
            std::vector<KeyedItem> children = seenWindows;
            if (settings.showInactiveApplicationItems)
                children.insert(children.end(), all.begin(), all.end());
            sortKeyedItems(children, settings.sortColumn);
            application->insert(VXChildrenKey, arrayOf(children));
            listed.push_back({entry.key, VXDictionaryRef(application)});
        }

        // Record what the next tick needs to skip the dormant windows.
        if (!record)
            record = &m_windowRecords[application];
        record->application = VXDictionaryRef(application);
        record->windowsByName = VXDictionaryRef(windows);
        record->size = windowCount;
        record->seen = std::move(seenWindows);
        seenWindows = {};
        record->touched.clear();
        record->filed = 0;
        record->generation = tick.generation;
    }

    // Applications no longer in the table.
    for (auto it = m_windowRecords.begin(); it != m_windowRecords.end();) {
        if (it->second.generation != tick.generation)
            it = m_windowRecords.erase(it);
        else
            ++it;
    }

    sortKeyedItems(listed, settings.sortColumn);
    m_applicationArray->clear();
    m_applicationArray->reserve(listed.size());
    for (KeyedItem &item : listed)
        m_applicationArray->append(std::move(item.item));
}

void VXActivitySampler::consolidatePools(Tick &tick)
{
    m_poolArray->clear();
    if (!tick.pools)
        return;
    const int sortColumn = tick.settings.sortColumn;
    for (const VXValue &poolValue : *tick.pools) {
        VXDictionary *pool = poolValue.dictionary();
        if (!pool)
            continue;
        const bool active = consolidateStates(*pool, tick.gap, tick.timestamp, tick.previous);
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
            consolidateStates(*member, tick.gap, tick.timestamp, tick.previous);
            VXArray *entries = member->value(VXChildrenKey).array();
            if (!entries)
                continue;
            for (const VXValue &entryValue : *entries) {
                if (VXDictionary *entry = entryValue.dictionary())
                    consolidateStates(*entry, tick.gap, tick.timestamp, tick.previous);
            }
            if (isListed)
                VXSortItemArray(*entries, sortColumn);
        }
    }
    VXSortItemArray(*m_poolArray, sortColumn);
}
