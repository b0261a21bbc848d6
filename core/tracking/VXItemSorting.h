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

// The sort column of the organizer lists (1 until the program sets it from the setting "Sort").
int VXCurrentSortColumn();
void VXSetCurrentSortColumn(int column);

VXComparisonResult VXSortItemsWithSortColumn(const VXValue &a, const VXValue &b, int sortColumn);
// With the current sort column.
VXComparisonResult VXSortItems(const VXValue &a, const VXValue &b);

// Sorts the array in place, stably, with the given column.
void VXSortItemArray(VXArray &items, int sortColumn);

// Ascending by the number under `key`; an item without one counts as the largest number, so it
// comes last.
VXComparisonResult VXSortDictionaryNumberValuesByKey(const VXValue &a, const VXValue &b, const QString &key);
