#include "VXReportSnapshotDictionaryExtensions.h"

#include "VXConfigurationKeys.h"
#include "VXReportSnapshotTimestampFormatter.h"

VXDictionary &reportSnapshotChildWithName(VXDictionary &self, const QString &name, bool pool, const QString &path)
{
    VXValue *childrenValue = self.valuePointer(VXChildrenKey);
    if (!childrenValue || !childrenValue->isDictionary()) {
        self.insert(VXChildrenKey, VXMakeDictionary());
        childrenValue = self.valuePointer(VXChildrenKey);
    }
    VXDictionary &children = *childrenValue->dictionary();
    if (VXDictionary *child = children.value(name).dictionary())
        return *child;
    VXDictionaryRef child = VXMakeDictionary();
    child->insert(VXNameKey, name);
    if (pool)
        child->insert(VXTypeKey, VXPoolItemType);
    if (!path.isNull())
        child->insert(VXPathKey, path);
    VXDictionary &made = *child;
    children.insert(name, std::move(child));
    return made;
}

bool addReportSnapshotTimestampsAtBeginIndex(VXDictionary &self, std::size_t beginIndex, std::size_t endIndex,
                                             std::span<const std::string_view> stringCollection,
                                             bool toForegroundActiveLog, double *firstTimestamp, double *lastTimestamp,
                                             VXReportSnapshotTimestampFormatter &formatter, bool resetFormatter)
{
    if (beginIndex >= stringCollection.size() || endIndex >= stringCollection.size())
        return false;
    double begin = 0.0;
    double end = 0.0;
    if (!formatter.intervalFromCells(stringCollection[beginIndex], stringCollection[endIndex], resetFormatter, &begin,
                                     &end))
        return false;

    if (firstTimestamp && (begin < *firstTimestamp || *firstTimestamp < 0))
        *firstTimestamp = begin;
    if (lastTimestamp && end > *lastTimestamp)
        *lastTimestamp = end;

    const QString &key = toForegroundActiveLog ? VXFrontActiveLogKey : VXActiveLogKey;
    VXValue *log = self.valuePointer(key);
    if (!log || !log->isArray()) {
        self.insert(key, VXMakeArray());
        log = self.valuePointer(key);
    }
    log->array()->append(begin);
    log->array()->append(-end);
    return true;
}
