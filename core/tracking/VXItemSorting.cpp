#include "VXItemSorting.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"

#include <algorithm>
#include <limits>

namespace {

int currentSortColumn = 1;

const VXValue &valueOf(const VXValue &item, const QString &key)
{
    static const VXValue null;
    const VXDictionary *dictionary = item.dictionary();
    return dictionary ? dictionary->value(key) : null;
}

// Larger first; an item with a number before one without.
VXComparisonResult compareTimes(const VXValue &a, const VXValue &b, const QString &key)
{
    const VXValue &x = valueOf(a, key);
    const VXValue &y = valueOf(b, key);
    const bool hasX = x.isNumber();
    const bool hasY = y.isNumber();
    if (hasX != hasY)
        return hasX ? VXOrderedAscending : VXOrderedDescending;
    if (!hasX)
        return VXOrderedSame;
    const double dx = x.toDouble();
    const double dy = y.toDouble();
    if (dx > dy)
        return VXOrderedAscending;
    if (dx < dy)
        return VXOrderedDescending;
    return VXOrderedSame;
}

QString nameOf(const VXValue &item)
{
    const VXDictionary *dictionary = item.dictionary();
    return dictionary ? itemName(*dictionary) : QString();
}

}   // namespace

int VXCurrentSortColumn()
{
    return currentSortColumn;
}

void VXSetCurrentSortColumn(int column)
{
    currentSortColumn = column;
}

VXComparisonResult VXSortItemsWithSortColumn(const VXValue &a, const VXValue &b, int sortColumn)
{
    if (sortColumn >= 2) {
        if (const VXComparisonResult result = compareTimes(a, b, VXTimeKey))
            return result;
    }
    if (sortColumn >= 1) {
        if (const VXComparisonResult result = compareTimes(a, b, VXFrontTimeKey))
            return result;
    }
    if (const VXComparisonResult result = VXSortNames(nameOf(a), nameOf(b)))
        return result;
    return VXSortNames(valueOf(a, VXPathKey).stringRef(), valueOf(b, VXPathKey).stringRef());
}

VXComparisonResult VXSortItems(const VXValue &a, const VXValue &b)
{
    return VXSortItemsWithSortColumn(a, b, currentSortColumn);
}

void VXSortItemArray(VXArray &items, int sortColumn)
{
    const auto before = [sortColumn](const VXValue &a, const VXValue &b) {
        return VXSortItemsWithSortColumn(a, b, sortColumn) == VXOrderedAscending;
    };
    // Lists are sorted again on every tick and are mostly in order already: checking is cheaper
    // than sorting, and a stable sort would leave ordered input as it is.
    if (!std::is_sorted(items.begin(), items.end(), before)) {
        std::vector<VXValue> &all = items.items();
        std::stable_sort(all.begin(), all.end(), before);
    }
}

VXComparisonResult VXSortDictionaryNumberValuesByKey(const VXValue &a, const VXValue &b, const QString &key)
{
    const VXValue &x = valueOf(a, key);
    const VXValue &y = valueOf(b, key);
    const double dx = x.isNumber() ? x.toDouble() : std::numeric_limits<double>::max();
    const double dy = y.isNumber() ? y.toDouble() : std::numeric_limits<double>::max();
    if (dx < dy)
        return VXOrderedAscending;
    if (dx > dy)
        return VXOrderedDescending;
    return VXOrderedSame;
}
