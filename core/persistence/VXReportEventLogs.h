#pragma once

// The event logs a report draws: every item's clipped entry (VXEventLogDictionaryExtensions.h)
// for the report's range, in the order of the organizer, depth first:
//
//     Mail                  application
//       Inbox               its windows
//       Drafts
//     Editor
//       notes.txt
//     Pool A                pool
//       Mail                its members
//         Drafts*           their window entries
//
// The live report takes these from the configuration, filtered by the report's settings and by
// the organizer's rows; a snapshot report takes every node of its snapshot configuration.

#include "VXBinaryPropertyListReader.h"
#include "VXSorting.h"
#include "VXValue.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

class VXListRows;
class VXUserDefaults;

// What the live report collects: "Live Report Content" (0 the items with a row in the lists,
// 1 every item, 2 the items with events in the range), "Live Report: Applications" and
// "Live Report: Pools", and the organizer's sort column that orders each level.
struct VXReportContentSettings {
    std::int64_t liveReportContent = 1;
    bool applications = true;
    bool pools = true;
    int sortColumn = 1;

    static VXReportContentSettings fromDefaults(const VXUserDefaults &defaults, int sortColumn);
};

// Clipping for a report rebuilt while its range's end moves forward (the live report, on every
// tick): each log's clipped stream of the last pass is kept and, when the range begins where it
// did and ends no earlier, continued from its last period that followed a closing instead of
// clipped again from the start; the numbers are the same as a fresh clip's, the covered seconds
// too. This relies on how the tracker changes a log in place: only at its end (numbers appended,
// the last ones replaced or removed); every other change (a merge, a reset, an undo) puts a new
// array in the item. The kept arrays are the ones handed out, so a later clip may change an
// array given out earlier: an entry is good until the next pass.
class VXEventLogClipCache
{
public:
    // The clipped stream of `log` between the two times (in either order), with its covered
    // seconds through `interval` when given.
    VXArrayRef clip(const VXArrayRef &log, double timestamp, double otherTimestamp, double *interval);

    // Ends a pass: forgets the logs not clipped since the last call.
    void forgetUnused();

    // How many logs are kept, and how many clips in all continued a kept one.
    std::size_t size() const { return m_kept.size(); }
    std::size_t continuedCount() const { return m_continued; }

private:
    struct Kept {
        VXArrayRef log;   // held, so that its address names no other array while kept
        VXArrayRef clipped;
        double lo = 0.0;
        double hi = 0.0;
        double interval = 0.0;
        // Where the walk can continue: the log's index of the last opening that followed a
        // closing in the output, that opening's place in the output, the seconds covered before
        // it, and the log's numbers at and before the index (checked before continuing).
        std::size_t resumeIndex = 0;
        std::size_t resumeOutput = 0;
        double resumeInterval = 0.0;
        double numberBefore = 0.0;
        double numberAt = 0.0;
        bool used = false;
    };
    std::unordered_map<const VXArray *, Kept> m_kept;
    std::size_t m_continued = 0;
};

// The smaller of "First Timestamp" and "First Pool Timestamp", a missing one counting as 0 (so
// the answer is 0 while either half has none).
double firstTimestamp(const VXDictionary &configuration);

// The first timestamp and "Last Timestamp", each written only where a pointer is given.
void getFirstTimestamp(const VXDictionary &configuration, double *firstTimestamp, double *lastTimestamp);

// Hands each kept clipped entry with its depth (0 applications and pools, 1 windows and pool
// members, 2 members' window entries) to `visit`, in report order. `rows` answers the list
// filter of content 0; null means every item has a row. With a cache the walk is one of its
// passes.
void collectEventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                             const VXReportContentSettings &settings, const VXListRows *rows,
                                             const std::function<void(const VXDictionaryRef &entry, int depth)> &visit,
                                             VXEventLogClipCache *cache = nullptr);

// The same walk over a record read in place, for content 1 and 2 (no list filter): the entries
// hold the items' names, types, paths and times ("Time", "Front Time"), but neither their
// clipped logs nor the items themselves ("Source"). Each log's walk
// starts where the range does, found by halving: logs are in time order, as the tracker writes
// them. False when the record turned out damaged (the entries handed out are then not whole).
// The items below a level (the windows of the applications kept) are read ahead with a second
// thread when there are at least `readAheadFrom` of them (never with the largest size_t), in runs
// of an eighth of that (1 to 512 items); the entries, their order and the damage met are the same
// either way.
inline constexpr std::size_t VXReadAheadFrom = 4096;
bool collectEventTimesBetweenTimestamp(VXBinaryPropertyListView &view, double timestamp, double otherTimestamp,
                                       const VXReportContentSettings &settings,
                                       const std::function<void(const VXDictionaryRef &entry, int depth)> &visit,
                                       std::size_t readAheadFrom = VXReadAheadFrom);

// An item of a record read in place without its logs and the tables below it (a pool made of
// its members keeps them, since they make its name): what its name, type and path are read
// from. Null for what is no dictionary, and when the record is damaged.
VXDictionaryRef VXItemWithoutLogs(VXBinaryPropertyListView &view, VXBinaryPropertyListView::Object item);

// The items of the table under `key` of a record read in place, when it is of that kind (the
// values of a dictionary, the items of an array); none otherwise.
std::vector<VXBinaryPropertyListView::Object> VXItemsOf(VXBinaryPropertyListView &view,
                                                        VXBinaryPropertyListView::Object object, const QString &key,
                                                        VXBinaryPropertyListView::Kind kind);

// The same as one list: what the live report asks for.
VXArrayRef eventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                            const VXReportContentSettings &settings, const VXListRows *rows,
                                            VXEventLogClipCache *cache = nullptr);

// A snapshot report's list: every node of the snapshot configuration, with or without events,
// each level in name order (VXSortReportSnapshotItems).
VXArrayRef reportSnapshotEventLogsClippedBetweenTimestamp(const VXDictionary &snapshotConfiguration, double timestamp,
                                                          double otherTimestamp);

// The organizer's item order by name (sort column 0).
VXComparisonResult VXSortReportSnapshotItems(const VXValue &a, const VXValue &b);
