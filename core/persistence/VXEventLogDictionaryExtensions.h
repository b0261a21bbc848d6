#pragma once

// An item of the tree (or of a snapshot) as a report shows it for a time range: a clipped entry.
//
//     "Type"              the item's type, when it has one
//     "Name"              itemName() of the item
//     "Path"              the item's path, when it has one
//     "Active Log"        the running periods inside the range, only when there are any,
//     "Time"                with their seconds
//     "Front Active Log"  the foreground periods inside the range, only when there are any,
//     "Front Time"          with their seconds
//     "Source"            the item itself (the same object)

#include "VXValue.h"

#include <QString>

class VXEventLogClipCache;

// The key of an entry's item.
inline const QString VXSourceKey = QStringLiteral("Source");

// The clipped entry of the item between the two times (in either order). `hasEvents`, when
// given, tells whether either stream has anything inside the range. With a cache the streams are
// clipped through it (VXReportEventLogs.h), and the entry's logs are the cache's arrays.
VXDictionaryRef eventLogClippedBetweenTimestamp(const VXDictionaryRef &self, double timestamp, double otherTimestamp,
                                                bool *hasEvents = nullptr, VXEventLogClipCache *cache = nullptr);
