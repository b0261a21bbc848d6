#include "VXItemSorting.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace {

int currentSortColumn = 1;

const VXValue &valueOf(const VXValue &item, const QString &key)
{
    static const VXValue null;
    const VXDictionary *dictionary = item.dictionary();
    return dictionary ? dictionary->value(key) : null;
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

VXItemSortKey::VXItemSortKey(const VXDictionary *item, int sortColumn) : m_item(item), m_sortColumn(sortColumn)
{
    const auto timeOf = [item](const QString &key) {
        const VXValue &value = item->value(key);
        return value.isNumber() ? Time {true, value.toDouble()} : Time {};
    };
    if (!item)
        return;
    if (sortColumn >= 2)
        m_time = timeOf(VXTimeKey);
    if (sortColumn >= 1)
        m_frontTime = timeOf(VXFrontTimeKey);
}

// Larger first; an item with a number before one without.
VXComparisonResult VXItemSortKey::compareTimes(const Time &a, const Time &b)
{
    if (a.has != b.has)
        return a.has ? VXOrderedAscending : VXOrderedDescending;
    if (!a.has)
        return VXOrderedSame;
    if (a.value > b.value)
        return VXOrderedAscending;
    if (a.value < b.value)
        return VXOrderedDescending;
    return VXOrderedSame;
}

const QString &VXItemSortKey::name() const
{
    if (!m_name)
        m_name = m_item ? itemName(*m_item) : QString();
    return *m_name;
}

const QString &VXItemSortKey::path() const
{
    static const VXValue null;
    return (m_item ? m_item->value(VXPathKey) : null).stringRef();
}

VXComparisonResult VXItemSortKey::compare(const VXItemSortKey &other) const
{
    if (m_sortColumn >= 2) {
        if (const VXComparisonResult result = compareTimes(m_time, other.m_time))
            return result;
    }
    if (m_sortColumn >= 1) {
        if (const VXComparisonResult result = compareTimes(m_frontTime, other.m_frontTime))
            return result;
    }
    if (const VXComparisonResult result = VXSortNames(name(), other.name()))
        return result;
    return VXSortNames(path(), other.path());
}

VXComparisonResult VXSortItemsWithSortColumn(const VXValue &a, const VXValue &b, int sortColumn)
{
    return VXItemSortKey(a.dictionary(), sortColumn).compare(VXItemSortKey(b.dictionary(), sortColumn));
}

VXComparisonResult VXSortItems(const VXValue &a, const VXValue &b)
{
    return VXSortItemsWithSortColumn(a, b, currentSortColumn);
}

void VXSortItemArray(VXArray &items, int sortColumn)
{
    // Read through the const array: a list already in order is left as it is, buffer and all.
    const VXArray &elements = items;
    std::vector<VXItemSortKey> keys;
    keys.reserve(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i)
        keys.emplace_back(elements.objectAt(i).dictionary(), sortColumn);
    const auto before
        = [&keys](std::size_t a, std::size_t b) { return keys[a].compare(keys[b]) == VXOrderedAscending; };
    const std::optional<std::vector<std::size_t>> order = VXStableSortOrder(keys.size(), before);
    if (!order)
        return;
    std::vector<VXValue> sorted;
    sorted.reserve(order->size());
    for (const std::size_t index : *order)
        sorted.push_back(elements.at(index));
    items.items() = std::move(sorted);
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
