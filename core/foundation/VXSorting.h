#pragma once

// Orders and comparisons shared by the tracker, the lists, the reports and the exporter: the
// string order of names, the order of event-log values, and the equality of timestamps.

#include "VXValue.h"

#include <QStringView>

// The result of a three-way comparison: the first operand sorts before, with, or after the second.
enum VXComparisonResult : int {
    VXOrderedAscending = -1,
    VXOrderedSame = 0,
    VXOrderedDescending = 1,
};

// The order of names in every list: an empty text sorts after any non-empty one; otherwise the
// texts compare by case-folded code points, with each run of ASCII digits compared by its value
// ("Item 9" before "Item 10", "a2" before "A10"). Independent of the locale and the machine.
//
// Texts that are equal under that rule (they differ only in case or in leading zeros of digit
// runs) are ordered by their first such difference: fewer leading zeros first ("a1" before
// "a01"), then the unfolded code point (upper case before lower case, "Item" before "item").
// So only identical texts compare as the same: the order is total, and sorting is stable on
// every machine. Allocates nothing. The context is ignored.
VXComparisonResult VXSortStrings(QStringView a, QStringView b, const void *context = nullptr) noexcept;

// The name comparison of the item lists: the same order without its tie-break, so texts that
// differ only in letter case or in leading zeros ("Mail" and "mail", "a1" and "a01") compare as
// the same, and whatever decides next (an item's path) decides between them.
VXComparisonResult VXSortNames(QStringView a, QStringView b) noexcept;

// For std::sort and ordered containers.
struct VXStringOrder {
    bool operator()(QStringView a, QStringView b) const noexcept { return VXSortStrings(a, b) == VXOrderedAscending; }
};

// Event-log values ascending by absolute value: a begin (+t) and an end (-t) at the same instant
// compare as the same. NaN sorts after every number (and with another NaN as the same) so that a
// damaged log cannot break a sort. A value that is no number counts as 0. The context is ignored.
VXComparisonResult VXSortAbsoluteDoubleNumbers(double a, double b, const void *context = nullptr) noexcept;
VXComparisonResult VXSortAbsoluteDoubleNumbers(const VXValue &a, const VXValue &b,
                                               const void *context = nullptr) noexcept;

// The program's test of "the same timestamp": the magnitudes of a and b differ by strictly less
// than 0.001 seconds, as doubles (at today's timestamps a double resolves about 0.24
// microseconds, so 1709814896 + 0.001 is stored a little closer than that). NaN and infinities
// are similar to nothing.
bool VXSimilarAbsoluteTimeIntervals(double a, double b) noexcept;

// The largest whole number not above x: snaps drawing coordinates to whole points.
double VXFloorCGFloat(double x) noexcept;
