#include "VXSorting.h"

#include "VXNumberExtensions.h"

#include <QChar>

#include <algorithm>
#include <cmath>

namespace {

// Two timestamps closer than this are the same instant.
constexpr double kSimilarTimeIntervalThreshold = 0.001;

constexpr bool isAsciiDigit(char16_t c) noexcept
{
    return c >= u'0' && c <= u'9';
}

// The code point at `index` (a surrogate pair counts as one; a lone surrogate stands for itself),
// and moves `index` past it.
char32_t nextCodePoint(QStringView text, qsizetype &index) noexcept
{
    const char16_t unit = text[index].unicode();
    ++index;
    if (QChar::isHighSurrogate(unit) && index < text.size() && QChar::isLowSurrogate(text[index].unicode()))
        return QChar::surrogateToUcs4(unit, text[index++].unicode());
    return unit;
}

// Simple (one-to-one) case folding, so that no character ever turns into several.
char32_t folded(char32_t c) noexcept
{
    if (c < 0x80)
        return (c >= U'A' && c <= U'Z') ? c + (U'a' - U'A') : c;
    return QChar::toCaseFolded(c);
}

template <class T> VXComparisonResult order(T a, T b) noexcept
{
    return a < b ? VXOrderedAscending : (b < a ? VXOrderedDescending : VXOrderedSame);
}

// The order of VXSortStrings; with `breakTies` off, texts that differ only in case or in leading
// zeros compare as the same.
VXComparisonResult compareStrings(QStringView a, QStringView b, bool breakTies) noexcept
{
    if (a.isEmpty())
        return b.isEmpty() ? VXOrderedSame : VXOrderedDescending;
    if (b.isEmpty())
        return VXOrderedAscending;

    // The first difference that folding or leading zeros hide; it decides only when nothing else does.
    VXComparisonResult tie = VXOrderedSame;
    const qsizetype sizeA = a.size();
    const qsizetype sizeB = b.size();
    // Skip what both share unit for unit (window titles often differ only near the end), back
    // to the start of a digit run or of a surrogate pair that the shared part cuts.
    const qsizetype shortest = std::min(sizeA, sizeB);
    qsizetype shared = 0;
    while (shared < shortest && a[shared] == b[shared])
        ++shared;
    while (shared > 0 && isAsciiDigit(a[shared - 1].unicode()))
        --shared;
    if (shared > 0 && a[shared - 1].isHighSurrogate())
        --shared;
    qsizetype i = shared;
    qsizetype j = shared;
    while (i < sizeA && j < sizeB) {
        if (isAsciiDigit(a[i].unicode()) && isAsciiDigit(b[j].unicode())) {
            // Two digit runs compare by value: without leading zeros, the longer run is the
            // larger number, and runs of equal length compare digit by digit. No overflow.
            qsizetype significantA = i;
            while (significantA < sizeA && a[significantA] == u'0')
                ++significantA;
            qsizetype significantB = j;
            while (significantB < sizeB && b[significantB] == u'0')
                ++significantB;
            qsizetype endA = significantA;
            while (endA < sizeA && isAsciiDigit(a[endA].unicode()))
                ++endA;
            qsizetype endB = significantB;
            while (endB < sizeB && isAsciiDigit(b[endB].unicode()))
                ++endB;
            const qsizetype lengthA = endA - significantA;
            const qsizetype lengthB = endB - significantB;
            if (lengthA != lengthB)
                return order(lengthA, lengthB);
            for (qsizetype k = 0; k < lengthA; ++k) {
                if (a[significantA + k] != b[significantB + k])
                    return order(a[significantA + k].unicode(), b[significantB + k].unicode());
            }
            if (tie == VXOrderedSame)
                tie = order(significantA - i, significantB - j);
            i = endA;
            j = endB;
            continue;
        }
        // A digit against anything else compares as a character: every digit sits between
        // U+002F and U+003A, so a whole run takes the same place as its first digit would.
        const char32_t charA = nextCodePoint(a, i);
        const char32_t charB = nextCodePoint(b, j);
        if (charA == charB)
            continue;
        const char32_t foldedA = folded(charA);
        const char32_t foldedB = folded(charB);
        if (foldedA != foldedB)
            return order(foldedA, foldedB);
        if (tie == VXOrderedSame)
            tie = order(charA, charB);
    }
    if (i < sizeA)
        return VXOrderedDescending;   // b is a prefix of a
    if (j < sizeB)
        return VXOrderedAscending;
    return breakTies ? tie : VXOrderedSame;
}

}   // namespace

VXComparisonResult VXSortStrings(QStringView a, QStringView b, const void *) noexcept
{
    return compareStrings(a, b, true);
}

VXComparisonResult VXSortNames(QStringView a, QStringView b) noexcept
{
    return compareStrings(a, b, false);
}

VXComparisonResult VXSortAbsoluteDoubleNumbers(double a, double b, const void *) noexcept
{
    const double x = std::fabs(a);
    const double y = std::fabs(b);
    const bool xIsNaN = std::isnan(x);
    const bool yIsNaN = std::isnan(y);
    if (xIsNaN || yIsNaN)
        return xIsNaN == yIsNaN ? VXOrderedSame : (xIsNaN ? VXOrderedDescending : VXOrderedAscending);
    return order(x, y);
}

VXComparisonResult VXSortAbsoluteDoubleNumbers(const VXValue &a, const VXValue &b, const void *context) noexcept
{
    return VXSortAbsoluteDoubleNumbers(timeIntervalValue(a), timeIntervalValue(b), context);
}

bool VXSimilarAbsoluteTimeIntervals(double a, double b) noexcept
{
    // NaN and two infinities make the difference NaN, and the comparison false.
    return std::fabs(std::fabs(a) - std::fabs(b)) < kSimilarTimeIntervalThreshold;
}

double VXFloorCGFloat(double x) noexcept
{
    return std::floor(x);
}
