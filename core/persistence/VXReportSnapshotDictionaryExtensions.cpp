#include "VXReportSnapshotDictionaryExtensions.h"

#include "VXConfigurationKeys.h"
#include "VXReportSnapshotTimestampFormatter.h"

#include <cmath>

namespace {

// Times at or below this are no times (the zero cells of the other stream, unreadable cells).
constexpr double kTolerance = 0.001;

} // namespace

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
                                             bool toForegroundActiveLog, double *firstTimestamp,
                                             double *lastTimestamp, VXReportSnapshotTimestampFormatter &formatter,
                                             bool resetFormatter)
{
    if (beginIndex >= stringCollection.size() || endIndex >= stringCollection.size())
        return false;
    const std::string_view beginCell = stringCollection[beginIndex];
    if ((resetFormatter || !formatter.isBuilt()) && !formatter.rebuildWithCell(beginCell))
        return false;

    // Infinities are no times either: a range must have an end.
    const double begin = formatter.numberFromCell(beginCell);
    if (!(begin > kTolerance) || !std::isfinite(begin))
        return false;
    const double end = formatter.numberFromCell(stringCollection[endIndex]);
    if (!(end > kTolerance) || !std::isfinite(end) || !(end - begin > kTolerance))
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
