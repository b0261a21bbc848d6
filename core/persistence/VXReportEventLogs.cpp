#include "VXReportEventLogs.h"

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXItemSorting.h"
#include "VXListRows.h"
#include "VXRegisteredDefaults.h"
#include "VXTwoEndedSlices.h"
#include "VXUserDefaults.h"

#include <QSet>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
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

    // The clipped entries of the items that pass the filters, in the organizer's order. `ahead`
    // holds what was read of the items beforehand, when anything was.
    std::vector<Kept> keptEntries(const std::vector<Item> &items, typename Source::Ahead *ahead) const
    {
        std::vector<Kept> kept;
        if (!source.takeKept(ahead, kept))
            kept.reserve(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            const Item &item = items[i];
            bool hasEvents = false;
            VXDictionaryRef entry = source.entry(item, timestamp, otherTimestamp, &hasEvents, ahead, i);
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

    void collect(const std::vector<Item> &items, int depth, int lastDepth, Children childrenOf,
                 typename Source::Ahead *ahead = nullptr) const
    {
        const std::vector<Kept> kept = keptEntries(items, ahead);
        // What the level below needs of the file, read before it is walked (on two threads, when
        // there is much of it).
        typename Source::ReadAhead below;
        if (depth < lastDepth)
            below = source.readAhead(kept, depth, childrenOf, timestamp, otherTimestamp);
        for (std::size_t i = 0; i < kept.size(); ++i) {
            visit(kept[i].entry.dictionaryRef(), depth);
            if (depth < lastDepth) {
                typename Source::Ahead *childrenAhead = below.of(i);
                // Children whose entries were all made ahead are not read again.
                collect(childrenAhead && childrenAhead->whole ? std::vector<Item>()
                                                              : childrenOf(source, kept[i].item, depth),
                        depth + 1, lastDepth, childrenOf, childrenAhead);
            }
        }
    }
};

// The items of the tree; content 0 leaves out those without a row in the organizer's lists.
struct TreeSource {
    using Item = VXValue;
    // The tree is walked as it is, without reading ahead.
    struct Ahead {
        bool whole = false;
    };
    struct ReadAhead {
        Ahead *of(std::size_t) { return nullptr; }
    };
    const VXReportContentSettings &settings;
    const VXListRows *rows;
    HasRow hasRow = nullptr;
    VXEventLogClipCache *cache = nullptr;

    template <class Kept, class Children>
    ReadAhead readAhead(const std::vector<Kept> &, int, Children, double, double) const
    {
        return {};
    }
    template <class Kept> bool takeKept(Ahead *, std::vector<Kept> &) const { return false; }

    VXDictionaryRef entry(const VXValue &value, double timestamp, double otherTimestamp, bool *hasEvents, Ahead *,
                          std::size_t) const
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

// The entries of the items below the kept items of a level, made before that level is walked. A
// walk over the windows of a long record's applications is bound by the latency of its reads, one
// chain of dependent loads after another: a second thread, with its own view, keeps twice as many
// of them under way. The items are made in runs, the calling thread's from the first, the other
// thread's from the last, until they meet; the calling thread never waits for the other (on a busy
// machine it may make them all), and uses only the runs the other has finished. An entry made
// ahead is the one the walk would make, of the same reads; an item met at or after damage is left
// for the walk, which then meets the damage itself, in its own order and with its own report.
struct ViewReadAhead {
    using Item = VXBinaryPropertyListView::Object;
    using Container = VXBinaryPropertyListView::Container;
    enum : std::uint8_t { Made = 1, HasEvents = 2, HasEntry = 4 };

    // One kept item's children: their entries, handed out in their order.
    struct Children {
        bool whole = false;   // every child's entry was made
        const std::uint8_t *flags = nullptr;
        VXDictionaryRef *entries = nullptr;   // the children's entries, null ones left out
        const Item *items = nullptr;   // the children of these entries
        std::size_t count = 0;   // children
        std::size_t entryCount = 0;
        std::size_t nextEntry = 0;

        // The entry of child `i`, when it was made ahead: children are asked for in order.
        bool take(std::size_t i, VXDictionaryRef &entry, bool *hasEvents)
        {
            if (i >= count || !(flags[i] & Made))
                return false;
            *hasEvents = flags[i] & HasEvents;
            if (flags[i] & HasEntry)
                entry = std::move(entries[nextEntry++]);
            return true;
        }
    };

    // A run of items, made by one thread: it is the calling thread's to read once `done`.
    struct Run {
        std::atomic<bool> done {false};
        std::vector<std::uint8_t> flags;
        std::vector<VXDictionaryRef> entries;
        std::vector<Item> items;
    };

    // What both threads read, and the other thread, joined before any of it goes.
    struct Work {
        std::vector<Container> tables;
        std::vector<std::size_t> starts;   // of each table's children, and their total last
        std::size_t runSize = 0;
        std::unique_ptr<Run[]> runs;
        std::size_t runCount = 0;
        std::unique_ptr<VXBinaryPropertyListView> views[2];
        VXTwoEndedSlices slices;   // of runs: the calling thread's from the first
        std::thread other;

        ~Work()
        {
            if (other.joinable())
                other.join();
        }
    };

    std::unique_ptr<Work> work;
    std::vector<std::uint8_t> flags;
    std::vector<VXDictionaryRef> entries;
    std::vector<Item> items;
    std::vector<Children> children;

    Children *of(std::size_t i) { return i < children.size() ? &children[i] : nullptr; }
};

// The items of a record read in place. An entry holds an item's name, type, path and times, but
// neither its clipped logs nor the item itself.
struct ViewSource {
    using Item = VXBinaryPropertyListView::Object;
    using Container = VXBinaryPropertyListView::Container;
    using Kind = VXBinaryPropertyListView::Kind;
    using Ahead = ViewReadAhead::Children;
    using ReadAhead = ViewReadAhead;

    // The keys an item is read by, in one pass over its keys.
    enum { ActiveLog, FrontActiveLog, Name, Path, Type, MatchAnyApplication, KeyCount };

    // The times first: most items of a long record have none in a short range, and are not
    // decoded at all then.
    VXDictionaryRef entry(const Item &object, double timestamp, double otherTimestamp, bool *hasEvents, Ahead *ahead,
                          std::size_t index)
    {
        // After damage the walk hands out nothing more, as without reading ahead.
        VXDictionaryRef made;
        if (ahead && !view.isDamaged() && ahead->take(index, made, hasEvents))
            return made;
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

    // The entries of children that were all made ahead, in their order: without an entry of its
    // own, a child is left out as the walk would leave it out.
    template <class Kept> bool takeKept(Ahead *ahead, std::vector<Kept> &kept) const
    {
        if (!ahead || !ahead->whole || view.isDamaged())
            return false;
        kept.reserve(ahead->entryCount);
        for (std::size_t i = 0; i < ahead->entryCount; ++i)
            kept.push_back({VXValue(std::move(ahead->entries[i])), ahead->items[i]});
        return true;
    }

    // The entries of the children of `kept` (the tables under `tableKey`), made with a second
    // thread when there are at least `readAheadFrom` of them; none otherwise.
    template <class Kept, class ChildrenOf>
    ViewReadAhead readAhead(const std::vector<Kept> &kept, int, ChildrenOf, double timestamp,
                            double otherTimestamp) const
    {
        using Run = ViewReadAhead::Run;
        ViewReadAhead ahead;
        if (kept.empty() || readAheadFrom == std::numeric_limits<std::size_t>::max())
            return ahead;
        auto work = std::make_unique<ViewReadAhead::Work>();
        // The tables, read as the walk reads them (VXItemsOf), up to the first damage.
        work->views[0] = view.quietSibling();
        VXBinaryPropertyListView &lister = *work->views[0];
        work->tables.reserve(kept.size());
        work->starts.reserve(kept.size() + 1);
        std::size_t total = 0;
        for (const Kept &parent : kept) {
            Container table = lister.container(lister.valueForKey(parent.item, *tableKey));
            if (lister.isDamaged())
                break;
            if (table.kind != tableKind)
                table = Container();
            work->starts.push_back(total);
            work->tables.push_back(table);
            total += std::size_t(table.count);
        }
        if (total < readAheadFrom || total == 0)
            return ahead;
        work->starts.push_back(total);
        // Runs of an eighth of the least that is read ahead, and at most 512 items.
        work->runSize = std::clamp<std::size_t>(readAheadFrom / 8, 1, 512);
        work->runCount = (total + work->runSize - 1) / work->runSize;
        work->slices.reset(work->runCount);
        work->runs = std::make_unique<Run[]>(work->runCount);
        work->views[1] = view.quietSibling();

        // Takes runs until there are none left or its view met damage.
        const auto make = [work = work.get(), timestamp, otherTimestamp, only = onlyWithEvents, key = tableKey,
                           kind = tableKind](int side) {
            VXBinaryPropertyListView &reader = *work->views[side];
            ViewSource maker {reader, only, std::numeric_limits<std::size_t>::max(), key, kind, {}};
            const std::vector<std::size_t> &starts = work->starts;
            while (!reader.isDamaged()) {
                const std::optional<std::size_t> r
                    = work->slices.next(side == 0 ? VXTwoEndedSlices::FromTheFirst : VXTwoEndedSlices::FromTheLast);
                if (!r)
                    break;
                Run &run = work->runs[*r];
                const std::size_t from = *r * work->runSize;
                const std::size_t to = std::min(from + work->runSize, starts.back());
                run.flags.assign(to - from, 0);
                std::size_t p = std::size_t(std::upper_bound(starts.begin(), starts.end(), from) - starts.begin()) - 1;
                for (std::size_t i = from; i < to; ++i) {
                    while (i >= starts[p + 1])
                        ++p;
                    const Container &table = work->tables[p];
                    const std::size_t at = i - starts[p];
                    const Item child
                        = table.kind == Kind::Dictionary ? reader.valueAt(table, at) : reader.itemAt(table, at);
                    bool hasEvents = false;
                    VXDictionaryRef entry = maker.entry(child, timestamp, otherTimestamp, &hasEvents, nullptr, 0);
                    if (reader.isDamaged())
                        break;
                    std::uint8_t flag = ViewReadAhead::Made;
                    if (hasEvents)
                        flag |= ViewReadAhead::HasEvents;
                    if (entry) {
                        flag |= ViewReadAhead::HasEntry;
                        run.entries.push_back(std::move(entry));
                        run.items.push_back(child);
                    }
                    run.flags[i - from] = flag;
                }
                run.done.store(true, std::memory_order_release);
            }
        };
        try {
            work->other = std::thread(make, 1);
        } catch (const std::system_error &) {
            // No second thread: this one makes them all.
        }
        make(0);

        // The runs the other thread has not finished are left to the walk.
        ahead.flags.assign(total, 0);
        for (std::size_t r = 0; r < work->runCount; ++r) {
            Run &run = work->runs[r];
            if (!run.done.load(std::memory_order_acquire))
                continue;
            std::copy(run.flags.begin(), run.flags.end(), ahead.flags.begin() + std::ptrdiff_t(r * work->runSize));
            ahead.entries.insert(ahead.entries.end(), std::make_move_iterator(run.entries.begin()),
                                 std::make_move_iterator(run.entries.end()));
            ahead.items.insert(ahead.items.end(), run.items.begin(), run.items.end());
        }
        ahead.children.resize(work->tables.size());
        std::size_t entry = 0;
        for (std::size_t p = 0; p < work->tables.size(); ++p) {
            ViewReadAhead::Children &children = ahead.children[p];
            children.flags = ahead.flags.data() + work->starts[p];
            children.entries = ahead.entries.data() + entry;
            children.items = ahead.items.data() + entry;
            children.count = work->starts[p + 1] - work->starts[p];
            children.whole = true;
            for (std::size_t i = 0; i < children.count; ++i) {
                children.whole = children.whole && (children.flags[i] & ViewReadAhead::Made);
                children.entryCount += (children.flags[i] & ViewReadAhead::HasEntry) ? 1 : 0;
            }
            entry += children.entryCount;
        }
        ahead.work = std::move(work);
        return ahead;
    }

    VXBinaryPropertyListView &view;
    bool onlyWithEvents;
    std::size_t readAheadFrom;
    // The table of children each level's items hold.
    const QString *tableKey = nullptr;
    Kind tableKind = Kind::None;
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
                                       const VXReportContentSettings &settings, const Visit &visit,
                                       std::size_t readAheadFrom)
{
    ViewSource source {view, settings.liveReportContent == kContentItemsWithEvents, readAheadFrom, nullptr, {}, {}};
    const Collector<ViewSource> collector {source, timestamp, otherTimestamp, settings, visit};
    if (settings.applications) {
        source.tableKey = &VXWindowsByNameKey;
        source.tableKind = VXBinaryPropertyListView::Kind::Dictionary;
        collector.collect(VXItemsOf(view, view.root(), VXApplicationsKey, VXBinaryPropertyListView::Kind::Dictionary),
                          0, 1, windowsOf);
    }
    if (settings.pools) {
        source.tableKey = &VXChildrenKey;
        source.tableKind = VXBinaryPropertyListView::Kind::Array;
        collector.collect(VXItemsOf(view, view.root(), VXPoolsKey, VXBinaryPropertyListView::Kind::Array), 0, 2,
                          childrenOf);
    }
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
