#pragma once

// The order of items in the organizer lists, the reports and the export.
//
// Sort columns: 0 orders by name; 1 by foreground time ("Front Time"), larger first; 2 by total
// time ("Time"), larger first, then foreground time. An item that has a time comes before one
// that has none, even a zero one. Ties fall to the display name, then to the "Path", both
// compared as names (VXSortNames): case-insensitively, numbers by value. Items equal in all of
// that compare as the same (callers that need a total order break such ties themselves).

#include "VXSorting.h"
#include "VXValue.h"

#include <QString>

#include <algorithm>
#include <numeric>
#include <optional>
#include <vector>

// The sort column of the organizer lists (1 until the program sets it from the setting "Sort").
int VXCurrentSortColumn();
void VXSetCurrentSortColumn(int column);

VXComparisonResult VXSortItemsWithSortColumn(const VXValue &a, const VXValue &b, int sortColumn);

// What the order reads of one item, read once: its times for the column, and its display name
// and "Path" the first time a tie asks for them. A list is checked and sorted through keys, so
// that each item is read once instead of at every comparison (and a pool's name, made from its
// members', is made once).
class VXItemSortKey
{
public:
    VXItemSortKey(const VXDictionary *item, int sortColumn);
    // The order of VXSortItemsWithSortColumn.
    VXComparisonResult compare(const VXItemSortKey &other) const;

private:
    struct Time {
        bool has = false;
        double value = 0.0;
    };
    static VXComparisonResult compareTimes(const Time &a, const Time &b);
    const QString &name() const;
    const QString &path() const;

    const VXDictionary *m_item;
    int m_sortColumn;
    Time m_time;
    Time m_frontTime;
    mutable std::optional<QString> m_name;
};

// The order in which a stable sort by `before` (a comparison of two indexes, usually over keys
// made once per item) puts `count` items, or nothing when they are in order already: the usual
// case from tick to tick, where checking is cheaper than sorting.
template <class Before>
std::optional<std::vector<std::size_t>> VXStableSortOrder(std::size_t count, const Before &before)
{
    std::size_t next = 1;
    while (next < count && !before(next, next - 1))
        ++next;
    if (next >= count)
        return std::nullopt;
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), before);
    return order;
}

// With the current sort column.
VXComparisonResult VXSortItems(const VXValue &a, const VXValue &b);

// Sorts the array in place, stably, with the given column.
void VXSortItemArray(VXArray &items, int sortColumn);

// Ascending by the number under `key`; an item without one counts as the largest number, so it
// comes last.
VXComparisonResult VXSortDictionaryNumberValuesByKey(const VXValue &a, const VXValue &b, const QString &key);
