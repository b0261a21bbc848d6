#include "VXReportSnapshotPart.h"

#include "VXPersistenceLogging.h"
#include "VXReportSnapshotParser.h"

#include <algorithm>
#include <cstring>

namespace {

// The application of a line that names a window but no application.
constexpr std::string_view kAnyApplicationName = "*";

// Whether the cell holds nothing but zeros, points and commas (an empty cell included): a time
// that reads as 0 with any decimal and grouping separators.
bool isZeroTime(std::string_view cell)
{
    for (const char c : cell) {
        if (c != '0' && c != '.' && c != ',')
            return false;
    }
    return true;
}

// Cuts the cell to the longest the parser keeps, on a character boundary. Answers whether it cut.
bool cutLongCell(std::string_view &cell)
{
    if (cell.size() <= VXReportSnapshotParser::kMaximumCellLength)
        return false;
    std::size_t length = VXReportSnapshotParser::kMaximumCellLength;
    while (length > 0 && (static_cast<unsigned char>(cell[length]) & 0xC0) == 0x80)
        --length;
    cell = cell.substr(0, length);
    return true;
}

}   // namespace

// Lines name their items in no particular order, so looking one up mostly waits for memory: each
// line's lookup is started (its table entry fetched) and finished while the next line is read.
// A line whose cells are copies (it has quoted text, which the next line's reading overwrites)
// is finished at once, as is every line until the formatter is settled; the lines and the log
// lines come out in file order either way.
void VXReportSnapshotPart::readLines(VXReportSnapshotScanner &scanner, const VXReportSnapshotHeader &header,
                                     bool untilFirstInterval)
{
    if (!untilFirstInterval) {
        // Room for a period per short line, so that the list is not copied as it grows.
        periods.reserve(periods.size() + static_cast<std::size_t>(scanner.end() - scanner.position()) / 40);
    }
    // Lookups under way: the lines read but not yet finished, oldest first, in a ring.
    constexpr std::size_t kAhead = 3;
    std::array<Line, kAhead + 1> lines;
    std::size_t oldest = 0;
    std::size_t pending = 0;
    const auto finishOldest = [&] {
        const Line &line = lines[oldest];
        oldest = (oldest + 1) % lines.size();
        --pending;
        return finishLine(header, line);
    };
    const auto finishPending = [&] {
        while (pending > 0) {
            if (!finishOldest())
                return false;
        }
        return true;
    };
    while (!scanner.atEnd()) {
        if (untilFirstInterval && !resetFormatter)
            return;
        scanner.skipLineBreaks();
        if (scanner.atEnd())
            break;
        const char *lineBegin = scanner.position();
        Line &line = lines[(oldest + pending) % lines.size()];
        const std::size_t columns = scanner.readLine(header.kept, line.cells);
        if (columns != header.columnCount) {
            if (!finishPending())
                return;
            if (++wrongLines <= kLoggedColumnCountLines) {
                messages.push_back({true,
                                    VXFillFormat(VXReportSnapshotParser::kColumnCountMessage,
                                                 {QString::number(header.columnCount),
                                                  VXReportSnapshotScanner::excerpt(lineBegin, scanner.position())})});
            }
            continue;
        }
        for (std::string_view &cell : line.cells)
            cutCells += cutLongCell(cell);

        const std::string_view pool = line.cells[VXPoolSlot];
        std::string_view application = line.cells[VXApplicationSlot];
        const std::string_view window = line.cells[VXWindowSlot];
        if (!window.empty() && application.empty())
            application = kAnyApplicationName;
        if (pool.empty() && application.empty())
            continue;
        line.hash = makeKey(line.key, pool, application, window);
        prefetch(line.hash);
        if (untilFirstInterval || resetFormatter || !scanner.lastLineWasPlain()) {
            if (!finishPending() || !finishLine(header, line))
                return;
            continue;
        }
        if (pending == kAhead && !finishOldest())
            return;
        ++pending;   // the line's slot is the one after the pending ones
    }
    finishPending();
}

bool VXReportSnapshotPart::finishLine(const VXReportSnapshotHeader &header, const Line &line)
{
    TableEntry &entry = entryForKey(line.key, line.hash);
    const std::uint32_t item = entry.item;
    if (items.size() > VXReportSnapshotParser::kMaximumItems) {
        tooMany = true;
        return false;
    }
    const auto addPeriod = [&](VXReportSnapshotSlot beginSlot, VXReportSnapshotSlot endSlot, std::uint32_t stream) {
        // An export writes zeros into the columns of the stream a line is not about: once the
        // formatter is settled, a begin that is only zeros and separators reads as 0 whatever
        // the separators are, and the interval is refused without reading it.
        if (!resetFormatter && formatter.isBuilt() && isZeroTime(line.cells[beginSlot]))
            return false;
        double begin = 0.0;
        double end = 0.0;
        if (!formatter.intervalFromCells(line.cells[beginSlot], line.cells[endSlot], resetFormatter, &begin, &end))
            return false;
        if (begin < first || first < 0)
            first = begin;
        if (end > last)
            last = end;
        periods.push_back({item, stream, begin, end});
        ++entry.counts[stream];
        resetFormatter = false;
        return true;
    };
    if (header.hasForeground && addPeriod(VXForegroundBeginSlot, VXForegroundEndSlot, 0))
        foregroundActivity = true;
    if (header.hasTotal && addPeriod(VXTotalBeginSlot, VXTotalEndSlot, 1))
        totalActivity = true;
    if (periods.size() > VXReportSnapshotParser::kMaximumIntervals) {
        tooMany = true;
        return false;
    }
    return true;
}

// Sixteen bytes at a time in two independent lanes (the multiplications of one step do not wait
// for each other), the last eight read where they end.
std::uint64_t VXReportSnapshotPart::hashOf(std::string_view bytes)
{
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ULL;
    constexpr std::uint64_t kOtherMultiplier = 0xC2B2AE3D27D4EB4FULL;
    const char *data = bytes.data();
    const std::size_t size = bytes.size();
    std::uint64_t a = size * kMultiplier;
    std::uint64_t b = ~size * kOtherMultiplier;
    const auto load = [data](std::size_t at) {
        std::uint64_t word;
        std::memcpy(&word, data + at, 8);
        return word;
    };
    std::size_t i = 0;
    for (; i + 16 <= size; i += 16) {
        a = (a ^ load(i)) * kMultiplier;
        b = (b ^ load(i + 8)) * kOtherMultiplier;
        a ^= a >> 32;
        b ^= b >> 29;
    }
    if (i + 8 <= size) {
        a = (a ^ load(i)) * kMultiplier;
        a ^= a >> 32;
        i += 8;
    }
    std::uint64_t tail = 0;
    if (i < size) {
        if (size >= 8) {
            tail = load(size - 8);
        } else {
            for (std::size_t k = i; k < size; ++k)
                tail = (tail << 8) | static_cast<unsigned char>(data[k]);
        }
    }
    std::uint64_t hash = ((a ^ tail) * kMultiplier) ^ b;
    hash ^= hash >> 29;
    hash *= 0xBF58476D1CE4E5B9ULL;
    return hash ^ (hash >> 32);
}

std::uint32_t VXReportSnapshotPart::makeKey(std::string &out, std::string_view pool, std::string_view application,
                                            std::string_view window)
{
    out.resize(3 * sizeof(std::uint32_t) + pool.size() + application.size() + window.size());
    char *bytes = out.data();
    for (const std::string_view name : {pool, application, window}) {
        const auto length = static_cast<std::uint32_t>(name.size());
        std::memcpy(bytes, &length, sizeof length);
        bytes += sizeof length;
        if (!name.empty())
            std::memcpy(bytes, name.data(), name.size());
        bytes += name.size();
    }
    return static_cast<std::uint32_t>(hashOf(out));
}

std::array<std::string_view, 3> VXReportSnapshotPart::namesOfKey(std::string_view lineKey)
{
    std::array<std::string_view, 3> result;
    for (std::string_view &name : result) {
        std::uint32_t length = 0;
        std::memcpy(&length, lineKey.data(), sizeof length);
        name = lineKey.substr(sizeof length, length);
        lineKey.remove_prefix(sizeof length + length);
    }
    return result;
}

std::uint32_t VXReportSnapshotPart::itemFor(std::string_view pool, std::string_view application,
                                            std::string_view window)
{
    // One lookup per line: the three names, each after its length.
    const std::uint32_t hash = makeKey(key, pool, application, window);
    return entryForKey(key, hash).item;
}

void VXReportSnapshotPart::collectCounts()
{
    for (const TableEntry &entry : table) {
        if (entry.item != kNoItem)
            std::copy(std::begin(entry.counts), std::end(entry.counts), items[entry.item].counts);
    }
}

// The key's entry, made for a new item when it has none. Valid until the next call.
VXReportSnapshotPart::TableEntry &VXReportSnapshotPart::entryForKey(const std::string &lineKey, std::uint32_t hash)
{
    if (table.empty() || (items.size() + 1) * 3 > table.size() * 2)
        growTable();
    const std::size_t mask = table.size() - 1;
    const std::size_t inLine = std::min(lineKey.size(), kPrefixLength);
    std::size_t index = hash & mask;
    for (;; index = (index + 1) & mask) {
        TableEntry &entry = table[index];
        if (entry.item == kNoItem)
            break;
        if (entry.hash != hash || std::memcmp(entry.prefix, lineKey.data(), inLine) != 0)
            continue;
        if (lineKey.size() <= kPrefixLength)
            return entry;
        const Item &known = items[entry.item];
        if (known.nameLength == lineKey.size()
            && std::memcmp(names.data() + known.nameOffset + kPrefixLength, lineKey.data() + kPrefixLength,
                           lineKey.size() - kPrefixLength)
                == 0)
            return entry;
    }
    TableEntry &made = table[index];
    made.hash = hash;
    made.item = static_cast<std::uint32_t>(items.size());
    std::memcpy(made.prefix, lineKey.data(), inLine);
    items.push_back({static_cast<std::uint32_t>(names.size()), static_cast<std::uint32_t>(lineKey.size()), {0, 0}});
    names.append(lineKey);
    return made;
}

void VXReportSnapshotPart::growTable()
{
    std::vector<TableEntry> grown(std::max<std::size_t>(64, table.size() * 2));
    const std::size_t mask = grown.size() - 1;
    for (const TableEntry &entry : table) {
        if (entry.item == kNoItem)
            continue;
        std::size_t index = entry.hash & mask;
        while (grown[index].item != kNoItem)
            index = (index + 1) & mask;
        grown[index] = entry;
    }
    table.swap(grown);
}
