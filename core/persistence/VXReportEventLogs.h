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

// The smaller of "First Timestamp" and "First Pool Timestamp", a missing one counting as 0 (so
// the answer is 0 while either half has none).
double firstTimestamp(const VXDictionary &configuration);

// The first timestamp and "Last Timestamp", each written only where a pointer is given.
void getFirstTimestamp(const VXDictionary &configuration, double *firstTimestamp, double *lastTimestamp);

// Hands each kept clipped entry with its depth (0 applications and pools, 1 windows and pool
// members, 2 members' window entries) to `visit`, in report order. `rows` answers the list
// filter of content 0; null means every item has a row.
void collectEventLogsClippedBetweenTimestamp(const VXDictionary &configuration, double timestamp, double otherTimestamp,
                                             const VXReportContentSettings &settings, const VXListRows *rows,
                                             const std::function<void(const VXDictionaryRef &entry, int depth)> &visit);

// The same walk over a record read in place, for content 1 and 2 (no list filter): the entries
// hold the items' times ("Time", "Front Time") but not their clipped logs. Each log's walk
// starts where the range does, found by halving: logs are in time order, as the tracker writes
// them. False when the record turned out damaged (the entries handed out are then not whole).
bool collectEventTimesBetweenTimestamp(VXBinaryPropertyListView &view, double timestamp, double otherTimestamp,
                                       const VXReportContentSettings &settings,
                                       const std::function<void(const VXDictionaryRef &entry, int depth)> &visit);

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
                                            const VXReportContentSettings &settings, const VXListRows *rows);

// A snapshot report's list: every node of the snapshot configuration, with or without events,
// each level in name order (VXSortReportSnapshotItems).
VXArrayRef reportSnapshotEventLogsClippedBetweenTimestamp(const VXDictionary &snapshotConfiguration, double timestamp,
                                                          double otherTimestamp);

// The organizer's item order by name (sort column 0).
VXComparisonResult VXSortReportSnapshotItems(const VXValue &a, const VXValue &b);
