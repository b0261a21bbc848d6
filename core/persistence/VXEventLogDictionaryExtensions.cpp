#include "VXEventLogDictionaryExtensions.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXReportEventLogs.h"

namespace {

// Clips one stream of the item into the entry; answers whether anything was inside the range.
bool clipStream(const VXDictionary &item, VXDictionary &entry, const QString &logKey, const QString &timeKey,
                double timestamp, double otherTimestamp, VXEventLogClipCache *cache)
{
    const VXValue &value = item.value(logKey);
    const VXArray *log = value.array();
    if (!log)
        return false;
    double interval = 0.0;
    VXArrayRef clipped = cache ? cache->clip(value.arrayRef(), timestamp, otherTimestamp, &interval)
                               : eventStreamClippedBetweenTimestamp(*log, timestamp, otherTimestamp, &interval);
    if (clipped->isEmpty())
        return false;
    entry.insert(logKey, std::move(clipped));
    entry.insert(timeKey, interval);
    return true;
}

}   // namespace

VXDictionaryRef eventLogClippedBetweenTimestamp(const VXDictionaryRef &self, double timestamp, double otherTimestamp,
                                                bool *hasEvents, VXEventLogClipCache *cache)
{
    VXDictionaryRef entry = VXMakeDictionary();
    if (!self) {
        if (hasEvents)
            *hasEvents = false;
        return entry;
    }
    const VXDictionary &item = *self;
    tryToSetObject(*entry, item.value(VXTypeKey), VXTypeKey);
    entry->insert(VXNameKey, itemName(item));
    tryToSetObject(*entry, item.value(VXPathKey), VXPathKey);
    const bool active = clipStream(item, *entry, VXActiveLogKey, VXTimeKey, timestamp, otherTimestamp, cache);
    const bool front = clipStream(item, *entry, VXFrontActiveLogKey, VXFrontTimeKey, timestamp, otherTimestamp, cache);
    entry->insert(VXSourceKey, self);
    if (hasEvents)
        *hasEvents = active || front;
    return entry;
}
