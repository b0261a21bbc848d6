#include "VXSnapshotLines.h"

#include "VXConfigurationKeys.h"
#include "VXEventStreamExtensions.h"

#include <algorithm>
#include <limits>

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

double foregroundKey(const VXSnapshotLine &line)
{
    return line.stream == VXSnapshotStream::Foreground ? line.begin : kLargest;
}

double totalKey(const VXSnapshotLine &line)
{
    return line.stream == VXSnapshotStream::Total ? line.begin : kLargest;
}

VXComparisonResult compare(double a, double b)
{
    if (a < b)
        return VXOrderedAscending;
    if (a > b)
        return VXOrderedDescending;
    return VXOrderedSame;
}

} // namespace

std::optional<double> VXSnapshotLine::foregroundBegin() const
{
    return stream == VXSnapshotStream::Foreground ? std::optional<double>(begin) : std::nullopt;
}

std::optional<double> VXSnapshotLine::foregroundEnd() const
{
    return stream == VXSnapshotStream::Foreground ? std::optional<double>(end) : std::nullopt;
}

std::optional<double> VXSnapshotLine::totalBegin() const
{
    return stream == VXSnapshotStream::Total ? std::optional<double>(begin) : std::nullopt;
}

std::optional<double> VXSnapshotLine::totalEnd() const
{
    return stream == VXSnapshotStream::Total ? std::optional<double>(end) : std::nullopt;
}

std::size_t addEventStream(VXSnapshotLines &self, const VXDictionary &item, VXSnapshotStream asColumnsWithPrefix,
                           double timestamp, double otherTimestamp, const QString &pool, const QString &poolNotes,
                           const QString &application, const QString &window)
{
    const VXArray *stream = item.value(asColumnsWithPrefix == VXSnapshotStream::Foreground ? VXFrontActiveLogKey
                                                                                          : VXActiveLogKey)
                                .array();
    if (!stream)
        return 0;

    const std::size_t before = self.lines.size();
    const auto labels = static_cast<std::uint32_t>(self.labels.size());
    double remembered = -1.0;
    VXClipEventStream(*stream, timestamp, otherTimestamp, [&](double value) {
        // Only a change between opening and closing counts; a closing ends the line that the
        // remembered opening began.
        if ((value > 0) == (remembered > 0))
            return;
        if (value < 0)
            self.lines.push_back({labels, asColumnsWithPrefix, remembered, -value});
        remembered = value;
    });
    const std::size_t added = self.lines.size() - before;
    if (added > 0)
        self.labels.push_back({pool, poolNotes, application, window});
    return added;
}

VXComparisonResult VXSortSnapshotLines(const VXSnapshotLine &a, const VXSnapshotLine &b)
{
    if (const VXComparisonResult result = compare(foregroundKey(a), foregroundKey(b)))
        return result;
    return compare(totalKey(a), totalKey(b));
}

void sortSnapshotLines(VXSnapshotLines &self)
{
    // The order of VXSortSnapshotLines, with its keys worked out here so that the sort of
    // millions of lines calls nothing.
    std::stable_sort(self.lines.begin(), self.lines.end(), [](const VXSnapshotLine &a, const VXSnapshotLine &b) {
        const double aForeground = foregroundKey(a);
        const double bForeground = foregroundKey(b);
        if (aForeground != bForeground)
            return aForeground < bForeground;
        return totalKey(a) < totalKey(b);
    });
}
