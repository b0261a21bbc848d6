#pragma once

// Building a snapshot configuration, the tree a CSV snapshot is read into:
//
//     root        "Children" {"Applications", "Pools"}, "Path" (the file), "First Timestamp",
//                 "Last Timestamp", "Foreground Activity", "Total Activity"
//     Applications -> application (path: its name) -> window (path "_Window")
//     Pools (pool side) -> pool (path "_Pool") -> application -> window
//
// Every node is a dictionary with "Name", "Type" "Pool Item" on the pool side, "Path" where
// known, "Children" keyed by name when it has children, and the intervals read for it as event
// streams in "Front Active Log" and "Active Log" (+begin, -end).

#include "VXValue.h"

#include <QString>

#include <cstddef>
#include <span>
#include <string_view>

class VXReportSnapshotTimestampFormatter;

// Root flags: whether any foreground, or any total, interval was read. Stored only when true.
inline const QString VXForegroundActivityKey = QStringLiteral("Foreground Activity");
inline const QString VXTotalActivityKey = QStringLiteral("Total Activity");

// The child named `name` in this node's "Children", made on first use with that name, the pool
// type when `pool` is set, and `path` when it is not null.
VXDictionary &reportSnapshotChildWithName(VXDictionary &self, const QString &name, bool pool, const QString &path);

// Reads the interval in the cells at the two indexes of a line (UTF-8 cells) and appends it to
// this node's "Front Active Log" (or "Active Log") as +begin, -end. The formatter is built from
// the begin cell first when `resetFormatter` is set or none is built yet. False, with nothing
// changed, when a cell is missing, the formatter cannot be built, a time is not above 0.001 s,
// or the interval is not longer than 0.001 s (the zero cells that an export writes into the
// other stream's columns end here). On success the first and last timestamps (negative: none
// yet) are widened to the interval.
bool addReportSnapshotTimestampsAtBeginIndex(VXDictionary &self, std::size_t beginIndex, std::size_t endIndex,
                                             std::span<const std::string_view> stringCollection,
                                             bool toForegroundActiveLog, double *firstTimestamp, double *lastTimestamp,
                                             VXReportSnapshotTimestampFormatter &formatter, bool resetFormatter);
