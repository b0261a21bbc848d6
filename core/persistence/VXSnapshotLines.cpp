#include "VXSnapshotLines.h"

#include "VXConfigurationKeys.h"
#include "VXEventStreamExtensions.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <utility>

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

}   // namespace

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
    const VXArray *stream
        = item.value(asColumnsWithPrefix == VXSnapshotStream::Foreground ? VXFrontActiveLogKey : VXActiveLogKey)
              .array();
    if (!stream)
        return 0;

    const std::size_t before = self.lines.size();
    const auto labels = static_cast<std::uint32_t>(self.labels.size());
    const VXArray::Numbers items = stream->numbers();
    const auto numberAt = [items](std::size_t i) { return items[i]; };
    VXEventStreamClipper<decltype(numberAt)> clipper(items.size(), numberAt, timestamp, otherTimestamp);
    double opening = -1.0;
    double begin = 0.0;
    double end = 0.0;
    while (VXNextPeriod(clipper, opening, begin, end))
        self.lines.push_back({labels, asColumnsWithPrefix, begin, end});
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
    std::vector<VXSnapshotLine> &lines = self.lines;
    if (lines.size() < 1024) {
        std::stable_sort(lines.begin(), lines.end(), [](const VXSnapshotLine &a, const VXSnapshotLine &b) {
            return VXSortSnapshotLines(a, b) == VXOrderedAscending;
        });
        return;
    }

    // The same order, for the millions of lines of a large export, by a stable radix sort:
    // each line's begin as an unsigned number in the order of the doubles, eleven bits at a
    // time from the lowest, then the stream (foreground lines first) on top. Equal lines keep
    // their order, as with the comparison.
    constexpr int kDigitBits = 11;
    constexpr std::size_t kBuckets = std::size_t(1) << kDigitBits;
    constexpr int kPasses = (64 + kDigitBits - 1) / kDigitBits;
    const auto keyOf = [](const VXSnapshotLine &line) {
        const double begin = line.begin == 0.0 ? 0.0 : line.begin;   // -0 is 0
        const auto bits = std::bit_cast<std::uint64_t>(begin);
        return (bits >> 63) != 0 ? ~bits : bits | (std::uint64_t(1) << 63);
    };
    std::vector<std::array<std::size_t, kBuckets>> counts(kPasses);
    for (auto &pass : counts)
        pass.fill(0);
    std::size_t foreground = 0;
    for (const VXSnapshotLine &line : lines) {
        const std::uint64_t key = keyOf(line);
        for (int pass = 0; pass < kPasses; ++pass)
            ++counts[static_cast<std::size_t>(pass)][(key >> (pass * kDigitBits)) & (kBuckets - 1)];
        foreground += line.stream == VXSnapshotStream::Foreground ? 1 : 0;
    }

    std::vector<VXSnapshotLine> buffer(lines.size());
    for (int pass = 0; pass < kPasses; ++pass) {
        std::array<std::size_t, kBuckets> &count = counts[static_cast<std::size_t>(pass)];
        // A digit that all lines share orders nothing.
        if (std::find(count.begin(), count.end(), lines.size()) != count.end())
            continue;
        std::size_t offset = 0;
        for (std::size_t &bucket : count)
            offset += std::exchange(bucket, offset);
        for (const VXSnapshotLine &line : lines)
            buffer[count[(keyOf(line) >> (pass * kDigitBits)) & (kBuckets - 1)]++] = line;
        lines.swap(buffer);
    }
    std::size_t nextForeground = 0;
    std::size_t nextTotal = foreground;
    for (const VXSnapshotLine &line : lines)
        buffer[line.stream == VXSnapshotStream::Foreground ? nextForeground++ : nextTotal++] = line;
    lines.swap(buffer);
}
