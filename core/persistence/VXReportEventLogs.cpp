#include "VXReportEventLogs.h"

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXItemSorting.h"
#include "VXListRows.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"

#include <QSet>

#include <algorithm>
#include <optional>
#include <vector>

namespace {

using Visit = std::function<void(const VXDictionaryRef &entry, int depth)>;
using HasRow = bool (VXListRows::*)(const VXDictionary &) const;

// The "Live Report Content" values.
constexpr std::int64_t kContentListedItems = 0;
constexpr std::int64_t kContentItemsWithEvents = 2;

// The kept entries of a level in the organizer's order, each with the level below it, depth
// first. `Source` reads the items: their clipped entries (null for an item left out) and their
// children (`childrenOf`, one function per side).
template <class Source> struct Collector {
    using Item = typename Source::Item;
    using Children = std::vector<Item> (*)(Source &source, const Item &item, int depth);

    Source &source;
    double timestamp;
    double otherTimestamp;
    const VXReportContentSettings &settings;
    const Visit &visit;

    struct Kept {
        VXValue entry;
        Item item;
    };

    // The clipped entries of the items that pass the filters, in the organizer's order.
    std::vector<Kept> keptEntries(const std::vector<Item> &items) const
    {
        std::vector<Kept> kept;
        kept.reserve(items.size());
        for (const Item &item : items) {
            bool hasEvents = false;
            VXDictionaryRef entry = source.entry(item, timestamp, otherTimestamp, &hasEvents);
            if (!entry || (settings.liveReportContent == kContentItemsWithEvents && !hasEvents))
                continue;
            kept.push_back({VXValue(std::move(entry)), item});
        }
        // Each entry's times and name read once, not at every comparison.
        std::vector<VXItemSortKey> keys;
        keys.reserve(kept.size());
        for (const Kept &entry : kept)
            keys.emplace_back(entry.entry.dictionary(), settings.sortColumn);
        const std::optional<std::vector<std::size_t>> order
            = VXStableSortOrder(kept.size(), [&keys](std::size_t a, std::size_t b) {
                  return keys[a].compare(keys[b]) == VXOrderedAscending;
              });
        if (!order)
            return kept;
        std::vector<Kept> sorted;
        sorted.reserve(kept.size());
        for (const std::size_t index : *order)
            sorted.push_back(std::move(kept[index]));
        return sorted;
    }

    void collect(const std::vector<Item> &items, int depth, int lastDepth, Children childrenOf) const
    {
        for (const Kept &kept : keptEntries(items)) {
            visit(kept.entry.dictionaryRef(), depth);
            if (depth < lastDepth)
                collect(childrenOf(source, kept.item, depth), depth + 1, lastDepth, childrenOf);
        }
    }
};

// The items of the tree; content 0 leaves out those without a row in the organizer's lists.
struct TreeSource {
    using Item = VXValue;
    const VXReportContentSettings &settings;
    const VXListRows *rows;
    HasRow hasRow = nullptr;
    VXEventLogClipCache *cache = nullptr;

    VXDictionaryRef entry(const VXValue &value, double timestamp, double otherTimestamp, bool *hasEvents) const
    {
        VXDictionaryRef item = value.dictionaryRef();
        if (!item || (settings.liveReportContent == kContentListedItems && rows && !(rows->*hasRow)(*item)))
            return VXDictionaryRef();
        return eventLogClippedBetweenTimestamp(item, timestamp, otherTimestamp, hasEvents, cache);
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
    return array ? std::vector<VXValue>(array->begin(), array->end()) : std::vector<VXValue>();
}

std::vector<VXValue> windowsOf(TreeSource &, const VXValue &application, int)
{
    return valuesOf(application.dictionary()->value(VXWindowsByNameKey).dictionary());
}

std::vector<VXValue> childrenOf(TreeSource &, const VXValue &item, int)
{
    return valuesOf(item.dictionary()->value(VXChildrenKey).array());
}

std::vector<VXValue> sortedSnapshotChildren(const VXDictionary &node)
{
    std::vector<VXValue> children = valuesOf(node.value(VXChildrenKey).dictionary());
    std::stable_sort(children.begin(), children.end(), [](const VXValue &a, const VXValue &b) {
        return VXSortReportSnapshotItems(a, b) == VXOrderedAscending;
    });
    return children;
}

// What an item read in place is decoded without: its logs and the tables below it.
const QSet<QString> &logsAndTables()
{
    static const QSet<QString> keys {VXActiveLogKey, VXFrontActiveLogKey, VXWindowsByNameKey, VXChildrenKey};
    return keys;
}

// The items of a record read in place. An entry holds an item's name, type, path and times, but
// neither its clipped logs nor the item itself.
struct ViewSource {
    using Item = VXBinaryPropertyListView::Object;
    using Container = VXBinaryPropertyListView::Container;

    // The keys an item is read by, in one pass over its keys.
    enum { ActiveLog, FrontActiveLog, Name, Path, Type, MatchAnyApplication, KeyCount };

    // The times first: most items of a long record have none in a short range, and are not
    // decoded at all then.
    VXDictionaryRef entry(const Item &object, double timestamp, double otherTimestamp, bool *hasEvents)
    {
        static const VXBinaryPropertyListView::Keys keys {VXActiveLogKey, VXFrontActiveLogKey,     VXNameKey, VXPathKey,
                                                          VXTypeKey,      VXMatchAnyApplicationKey};
        const Container item = view.container(object);
        if (item.kind != VXBinaryPropertyListView::Kind::Dictionary)
            return VXDictionaryRef();
        // One pass over the item's keys finds its logs and what its entry is made of.
        Item values[KeyCount];
        view.valuesForKeys(item, keys, values);
        const std::optional<double> active = timeOf(values[ActiveLog], timestamp, otherTimestamp);
        const std::optional<double> front = timeOf(values[FrontActiveLog], timestamp, otherTimestamp);
        *hasEvents = active || front;
        if (onlyWithEvents && !*hasEvents)
            return VXDictionaryRef();
        VXDictionaryRef entry = entryOf(object, values);
        if (entry && active)
            entry->insert(VXTimeKey, *active);
        if (entry && front)
            entry->insert(VXFrontTimeKey, *front);
        return entry;
    }

    // The item's type, name and path, decoded as VXItemWithoutLogs() hands them out.
    VXDictionaryRef entryOf(const Item &object, const Item (&values)[KeyCount])
    {
        VXDictionaryRef entry = VXMakeDictionary();
        entry->reserve(5);   // type, name, path and the two times
        const VXValue path = sharedText(values[Path]);
        const QString name = view.value(values[Name], logsAndTables()).stringRef();
        if (values[MatchAnyApplication].isNull()
            && (path.stringRef() != VXPoolPathMarker || !poolNameIsMadeOfMembers(name))) {
            // The name is the item's own (see itemName()): a pool with one is not read further.
            tryToSetObject(*entry, sharedText(values[Type]), VXTypeKey);
            entry->insert(VXNameKey, name);
        } else {
            // A pool's name may be made of its members' names.
            const VXDictionaryRef source = VXItemWithoutLogs(view, object);
            if (!source)
                return VXDictionaryRef();
            tryToSetObject(*entry, source->value(VXTypeKey), VXTypeKey);
            entry->insert(VXNameKey, itemName(*source));
        }
        tryToSetObject(*entry, path, VXPathKey);
        return view.isDamaged() ? VXDictionaryRef() : entry;
    }

    // The seconds of a log inside the range, when anything of it is inside.
    std::optional<double> timeOf(Item logObject, double timestamp, double otherTimestamp)
    {
        const Container log = view.container(logObject);
        if (log.kind != VXBinaryPropertyListView::Kind::Array || log.count == 0)
            return std::nullopt;
        const auto numberAt = [&](std::size_t i) { return view.numberAt(log, i); };
        using Clipper = VXEventStreamClipper<decltype(numberAt)>;
        // A log whose last period closed before the range (most logs of a long record, in a
        // short range) is done with at its last number, without a search.
        const double lo = std::min(timestamp, otherTimestamp);
        if (const double last = numberAt(log.count - 1); last < 0 && -last <= lo - Clipper::kTolerance)
            return std::nullopt;
        double lastBefore = -1.0;
        const std::size_t first = VXFirstInRange(log.count, numberAt, lo, &lastBefore);
        Clipper clipper(log.count, numberAt, timestamp, otherTimestamp, first, lastBefore);
        double value = 0.0;
        bool inside = false;
        while (clipper.next(value))
            inside = true;
        return inside ? std::optional<double>(clipper.interval()) : std::nullopt;
    }

    // A path or a type, which the items of an application share (one object in the file),
    // decoded once.
    VXValue sharedText(const Item &object)
    {
        if (object.isNull())
            return VXValue();
        const auto known = texts.find(object.index);
        if (known != texts.end())
            return known->second;
        VXValue text = view.value(object, logsAndTables());
        if (text.isString())
            texts.emplace(object.index, text);
        return text;
    }

    VXBinaryPropertyListView &view;
    bool onlyWithEvents;
    std::unordered_map<std::uint64_t, VXValue> texts;
};

std::vector<VXBinaryPropertyListView::Object> itemsOf(VXBinaryPropertyListView &view,
                                                      const VXBinaryPropertyListView::Container &container)
{
    std::vector<VXBinaryPropertyListView::Object> items;
    items.reserve(container.count);
    for (std::uint64_t i = 0; i < container.count && !view.isDamaged(); ++i) {
        items.push_back(container.kind == VXBinaryPropertyListView::Kind::Dictionary ? view.valueAt(container, i)
                                                                                     : view.itemAt(container, i));
    }
    return items;
}

std::vector<VXBinaryPropertyListView::Object> windowsOf(ViewSource &source,
                                                        const VXBinaryPropertyListView::Object &application, int)
{
    return VXItemsOf(source.view, application, VXWindowsByNameKey, VXBinaryPropertyListView::Kind::Dictionary);
}

std::vector<VXBinaryPropertyListView::Object> childrenOf(ViewSource &source,
                                                         const VXBinaryPropertyListView::Object &item, int)
{
    return VXItemsOf(source.view, item, VXChildrenKey, VXBinaryPropertyListView::Kind::Array);
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
                                             const Visit &visit, VXEventLogClipCache *cache)
{
    if (settings.applications) {
        TreeSource source {settings, rows, &VXListRows::applicationListHasRowForItem, cache};
        const Collector<TreeSource> collector {source, timestamp, otherTimestamp, settings, visit};
        collector.collect(valuesOf(configuration.value(VXApplicationsKey).dictionary()), 0, 1, windowsOf);
    }
    if (settings.pools) {
        TreeSource source {settings, rows, &VXListRows::poolListHasRowForItem, cache};
        const Collector<TreeSource> collector {source, timestamp, otherTimestamp, settings, visit};
        collector.collect(valuesOf(configuration.value(VXPoolsKey).array()), 0, 2, childrenOf);
    }
    if (cache)
        cache->forgetUnused();
}

VXArrayRef eventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                            const VXReportContentSettings &settings, const VXListRows *rows,
                                            VXEventLogClipCache *cache)
{
    VXArrayRef list = VXMakeArray();
    collectEventLogsClippedBetweenTimestamp(
        configuration, timestamp, otherTimestamp, settings, rows,
        [&list](const VXDictionaryRef &entry, int) { list->append(entry); }, cache);
    return list;
}

VXArrayRef VXEventLogClipCache::clip(const VXArrayRef &log, double timestamp, double otherTimestamp, double *interval)
{
    const double lo = std::min(timestamp, otherTimestamp);
    const double hi = std::max(timestamp, otherTimestamp);
    // Read through a const array: reading must not make a shared log copy its numbers.
    const VXArray::Numbers items = log->numbers();
    std::size_t lastRead = 0;
    const auto numberAt = [&items, &lastRead](std::size_t i) {
        lastRead = i;
        return items[i];
    };
    Kept &kept = m_kept[log.get()];
    const std::size_t at = kept.resumeIndex;
    const bool continues = kept.clipped && kept.lo == lo && hi >= kept.hi && at > 0 && at < items.size()
        && items[at - 1] == kept.numberBefore && items[at] == kept.numberAt;
    std::size_t first = 0;
    double lastBefore = -1.0;
    double intervalBefore = 0.0;
    if (continues) {
        // Everything before the continued opening is as the last pass left it.
        while (kept.clipped->size() > kept.resumeOutput)
            kept.clipped->removeLast();
        first = at;
        lastBefore = kept.numberBefore;
        intervalBefore = kept.resumeInterval;
        ++m_continued;
    } else {
        kept = Kept();
        kept.log = log;
        kept.clipped = VXMakeArray();
    }
    kept.lo = lo;
    kept.hi = hi;
    kept.used = true;
    kept.resumeIndex = 0;

    VXArray &out = *kept.clipped;
    VXEventStreamClipper<decltype(numberAt)> clipper(items.size(), numberAt, lo, hi, first, lastBefore, intervalBefore);
    double value = 0.0;
    double lastOutput = out.isEmpty() ? 0.0 : out.last().toDouble();
    while (clipper.next(value)) {
        // An opening after a closing is a log's own number, the one just read; one at the range's
        // start would be read there as the start itself, so the walk never continues from it.
        if (value > 0 && lastOutput < 0 && lastRead > 0
            && value - lo >= VXEventStreamClipper<decltype(numberAt)>::kTolerance) {
            kept.resumeIndex = lastRead;
            kept.resumeOutput = out.size();
            kept.resumeInterval = clipper.interval();
        }
        out.append(value);
        lastOutput = value;
    }
    if (kept.resumeIndex > 0) {
        kept.numberBefore = items[kept.resumeIndex - 1];
        kept.numberAt = items[kept.resumeIndex];
    }
    kept.interval = clipper.interval();
    if (interval)
        *interval = kept.interval;
    return kept.clipped;
}

void VXEventLogClipCache::forgetUnused()
{
    for (auto it = m_kept.begin(); it != m_kept.end();) {
        if (!it->second.used) {
            it = m_kept.erase(it);
        } else {
            it->second.used = false;
            ++it;
        }
    }
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

bool collectEventTimesBetweenTimestamp(VXBinaryPropertyListView &view, double timestamp, double otherTimestamp,
                                       const VXReportContentSettings &settings, const Visit &visit)
{
    ViewSource source {view, settings.liveReportContent == kContentItemsWithEvents, {}};
    const Collector<ViewSource> collector {source, timestamp, otherTimestamp, settings, visit};
    if (settings.applications)
        collector.collect(VXItemsOf(view, view.root(), VXApplicationsKey, VXBinaryPropertyListView::Kind::Dictionary),
                          0, 1, windowsOf);
    if (settings.pools)
        collector.collect(VXItemsOf(view, view.root(), VXPoolsKey, VXBinaryPropertyListView::Kind::Array), 0, 2,
                          childrenOf);
    return !view.isDamaged();
}

VXDictionaryRef VXItemWithoutLogs(VXBinaryPropertyListView &view, VXBinaryPropertyListView::Object item)
{
    static const QSet<QString> kLogs {VXActiveLogKey, VXFrontActiveLogKey};
    if (view.container(item).kind != VXBinaryPropertyListView::Kind::Dictionary)
        return VXDictionaryRef();
    VXDictionaryRef source = view.value(item, logsAndTables()).dictionaryRef();
    // A pool's name may be made of its members' names.
    if (source && source->value(VXPathKey).stringRef() == VXPoolPathMarker)
        source = view.value(item, kLogs).dictionaryRef();
    return source;
}

std::vector<VXBinaryPropertyListView::Object> VXItemsOf(VXBinaryPropertyListView &view,
                                                        VXBinaryPropertyListView::Object object, const QString &key,
                                                        VXBinaryPropertyListView::Kind kind)
{
    const VXBinaryPropertyListView::Container container = view.container(view.valueForKey(object, key));
    return container.kind == kind ? itemsOf(view, container) : std::vector<VXBinaryPropertyListView::Object>();
}
