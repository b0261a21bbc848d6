#include "VXReportEventLogs.h"

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXListRows.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <vector>

namespace {

using Visit = std::function<void(const VXDictionaryRef &entry, int depth)>;
using HasRow = bool (VXListRows::*)(const VXDictionary &) const;

// The "Live Report Content" values.
constexpr std::int64_t kContentListedItems = 0;
constexpr std::int64_t kContentItemsWithEvents = 2;

struct Collector {
    double timestamp;
    double otherTimestamp;
    const VXReportContentSettings &settings;
    const VXListRows *rows;
    HasRow hasRow;
    const Visit &visit;

    // The clipped entries of the items that pass the filters, in the organizer's order.
    std::vector<VXValue> keptEntries(const std::vector<VXValue> &items) const
    {
        std::vector<VXValue> kept;
        kept.reserve(items.size());
        for (const VXValue &value : items) {
            VXDictionaryRef item = value.dictionaryRef();
            if (!item)
                continue;
            if (settings.liveReportContent == kContentListedItems && rows && !(rows->*hasRow)(*item))
                continue;
            bool hasEvents = false;
            VXDictionaryRef entry = eventLogClippedBetweenTimestamp(item, timestamp, otherTimestamp, &hasEvents);
            if (settings.liveReportContent == kContentItemsWithEvents && !hasEvents)
                continue;
            kept.emplace_back(std::move(entry));
        }
        const int column = settings.sortColumn;
        std::stable_sort(kept.begin(), kept.end(), [column](const VXValue &a, const VXValue &b) {
            return VXSortItemsWithSortColumn(a, b, column) == VXOrderedAscending;
        });
        return kept;
    }

    // The items of a level and, under each, the levels below it (`childrenOf` gives a child
    // level's items), down to `lastDepth`.
    void collect(const std::vector<VXValue> &items, int depth, int lastDepth,
                 std::vector<VXValue> (*childrenOf)(const VXDictionary &item, int depth)) const
    {
        for (const VXValue &entry : keptEntries(items)) {
            const VXDictionaryRef entryRef = entry.dictionaryRef();
            visit(entryRef, depth);
            if (depth < lastDepth) {
                if (const VXDictionary *source = entryRef->value(VXSourceKey).dictionary())
                    collect(childrenOf(*source, depth), depth + 1, lastDepth, childrenOf);
            }
        }
    }
};

std::vector<VXValue> valuesOf(const VXDictionary *dictionary)
{
    std::vector<VXValue> values;
    if (!dictionary)
        return values;
    values.reserve(dictionary->size());
    for (const VXDictionary::Entry &entry : *dictionary)
        values.push_back(entry.value);
    return values;
}

std::vector<VXValue> valuesOf(const VXArray *array)
{
    return array ? array->items() : std::vector<VXValue>();
}

std::vector<VXValue> windowsOf(const VXDictionary &application, int)
{
    return valuesOf(application.value(VXWindowsByNameKey).dictionary());
}

std::vector<VXValue> childrenOf(const VXDictionary &item, int)
{
    return valuesOf(item.value(VXChildrenKey).array());
}

std::vector<VXValue> sortedSnapshotChildren(const VXDictionary &node)
{
    std::vector<VXValue> children = valuesOf(node.value(VXChildrenKey).dictionary());
    std::stable_sort(children.begin(), children.end(), [](const VXValue &a, const VXValue &b) {
        return VXSortReportSnapshotItems(a, b) == VXOrderedAscending;
    });
    return children;
}

// A snapshot node and every node below it, each level in name order.
void collectSnapshotNodes(const VXDictionary &node, double timestamp, double otherTimestamp, int levels, VXArray &list)
{
    for (const VXValue &child : sortedSnapshotChildren(node)) {
        VXDictionaryRef item = child.dictionaryRef();
        if (!item)
            continue;
        list.append(eventLogClippedBetweenTimestamp(item, timestamp, otherTimestamp));
        if (levels > 1)
            collectSnapshotNodes(*item, timestamp, otherTimestamp, levels - 1, list);
    }
}

}   // namespace

VXReportContentSettings VXReportContentSettings::fromDefaults(const VXUserDefaults &defaults, int sortColumn)
{
    VXReportContentSettings settings;
    settings.liveReportContent = defaults.integerForKey(VXLiveReportContentKey);
    settings.applications = defaults.boolForKey(VXDefaultsKey::kLiveReportApplications);
    settings.pools = defaults.boolForKey(VXDefaultsKey::kLiveReportPools);
    settings.sortColumn = sortColumn;
    return settings;
}

double firstTimestamp(const VXDictionary &configuration)
{
    return std::min(timeIntervalForKey(configuration, VXFirstTimestampKey),
                    timeIntervalForKey(configuration, VXFirstPoolTimestampKey));
}

void getFirstTimestamp(const VXDictionary &configuration, double *first, double *last)
{
    if (first)
        *first = firstTimestamp(configuration);
    if (last)
        *last = timeIntervalForKey(configuration, VXLastTimestampKey);
}

void collectEventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                             const VXReportContentSettings &settings, const VXListRows *rows,
                                             const Visit &visit)
{
    if (settings.applications) {
        const Collector collector {timestamp, otherTimestamp, settings, rows, &VXListRows::applicationListHasRowForItem,
                                   visit};
        collector.collect(valuesOf(configuration.value(VXApplicationsKey).dictionary()), 0, 1, windowsOf);
    }
    if (settings.pools) {
        const Collector collector {timestamp, otherTimestamp, settings, rows, &VXListRows::poolListHasRowForItem,
                                   visit};
        collector.collect(valuesOf(configuration.value(VXPoolsKey).array()), 0, 2, childrenOf);
    }
}

VXArrayRef eventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                            const VXReportContentSettings &settings, const VXListRows *rows)
{
    VXArrayRef list = VXMakeArray();
    collectEventLogsClippedBetweenTimestamp(configuration, timestamp, otherTimestamp, settings, rows,
                                            [&list](const VXDictionaryRef &entry, int) { list->append(entry); });
    return list;
}

VXArrayRef reportSnapshotEventLogsClippedBetweenTimestamp(const VXDictionary &snapshotConfiguration, double timestamp,
                                                          double otherTimestamp)
{
    VXArrayRef list = VXMakeArray();
    const VXDictionary *groups = snapshotConfiguration.value(VXChildrenKey).dictionary();
    if (!groups)
        return list;
    // Applications with their windows, then pools with their members and the members' windows.
    if (const VXDictionary *applications = groups->value(VXApplicationsKey).dictionary())
        collectSnapshotNodes(*applications, timestamp, otherTimestamp, 2, *list);
    if (const VXDictionary *pools = groups->value(VXPoolsKey).dictionary())
        collectSnapshotNodes(*pools, timestamp, otherTimestamp, 3, *list);
    return list;
}

VXComparisonResult VXSortReportSnapshotItems(const VXValue &a, const VXValue &b)
{
    return VXSortItemsWithSortColumn(a, b, 0);
}
