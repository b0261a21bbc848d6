#pragma once

// One part of a CSV snapshot's lines, read on its own: the items it names (by their names, each
// once, in the order they first appear), its periods, and its log lines, in order. A small
// file is one part; a large one is read in several side by side once its first interval has
// settled how times are written, and the parser joins them in file order.
//
//     Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)
//     ,Mail,Inbox,100.00,200.00      item 0 (,Mail,Inbox)  period {0, foreground, 100, 200}
//     ,Mail,,300.00,400.00           item 1 (,Mail,)       period {1, foreground, 300, 400}
//     ,Mail,Inbox,500.00,600.00      item 0                period {0, foreground, 500, 600}
//     bad                            message "number of columns is not 5 in CSV line: bad"

#include "VXMappedTable.h"
#include "VXReportSnapshotScanner.h"
#include "VXReportSnapshotTimestampFormatter.h"

#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the header says: how many cells a line has and where the used columns are.
struct VXReportSnapshotHeader {
    std::size_t columnCount = 0;
    std::array<std::optional<std::size_t>, VXSlotCount> columns;
    VXReportSnapshotScanner::KeptColumns kept;   // by column index
    bool hasForeground = false;
    bool hasTotal = false;
};

struct VXReportSnapshotPart {
    // Lines with another number of cells are logged one by one up to this many, then counted.
    static constexpr int kLoggedColumnCountLines = 20;

    struct Item {
        std::uint32_t nameOffset = 0;   // the names' key in `names`
        std::uint32_t nameLength = 0;
        std::uint32_t counts[2] = {0, 0};   // periods of each stream, once collectCounts() ran
    };
    // The table from a line's names to their item: open addressing over the names' hash.
    static constexpr std::uint32_t kNoItem = 0xFFFFFFFF;
    static constexpr std::size_t kPrefixLength = 48;
    // One cache line per entry, with the start of the names in it and the item's period counts,
    // so that finding an item and counting its period usually touch this line alone. A key holds
    // each name after its length, so a key that starts with another whole key is that key: equal
    // prefixes of keys that fit them are equal keys.
    struct alignas(64) TableEntry {
        std::uint32_t hash = 0;
        std::uint32_t item = kNoItem;
        std::uint32_t counts[2] = {0, 0};
        char prefix[kPrefixLength] = {};
    };
    static_assert(sizeof(TableEntry) == 64);
    struct Period {
        std::uint32_t item;
        std::uint32_t stream;   // 0 foreground, 1 total
        double begin;
        double end;
    };
    struct Message {
        bool countsAsWrongLine;
        QString text;
    };
    // A line read and checked, waiting for its item and periods.
    struct Line {
        VXReportSnapshotScanner::Cells cells;
        std::string key;
        std::uint32_t hash = 0;
    };

    std::vector<Item> items;
    std::vector<TableEntry> table;
    std::string names;
    std::string key;
    VXMappedTable<Period> periods;   // in huge pages: millions of them for a year
    std::vector<Message> messages;
    std::size_t wrongLines = 0;
    std::size_t cutCells = 0;
    double first = -1.0;
    double last = -1.0;
    bool foregroundActivity = false;
    bool totalActivity = false;
    bool tooMany = false;
    VXReportSnapshotTimestampFormatter formatter;
    bool resetFormatter = true;

    // Reads lines until the scanner's end, or, with `untilFirstInterval`, until the line that
    // gives the file's first interval has been read (the formatter is settled then). Cells
    // longer than the parser keeps are cut, and counted.
    void readLines(VXReportSnapshotScanner &scanner, const VXReportSnapshotHeader &header, bool untilFirstInterval);

    std::uint32_t itemFor(std::string_view pool, std::string_view application, std::string_view window);
    // The same in two steps: the key of the names (each after its length) and its hash, then the
    // item of the key.
    static std::uint32_t makeKey(std::string &out, std::string_view pool, std::string_view application,
                                 std::string_view window);
    // The three names of a key.
    static std::array<std::string_view, 3> namesOfKey(std::string_view lineKey);
    TableEntry &entryForKey(const std::string &lineKey, std::uint32_t hash);
    // The counts kept in the table put into the items.
    void collectCounts();

    // A quick 64-bit hash of the bytes.
    static std::uint64_t hashOf(std::string_view bytes);

private:
    // The line's item and periods. False when the part holds too many items or intervals.
    bool finishLine(const VXReportSnapshotHeader &header, const Line &line);
    // Starts loading the table entry where the key's lookup begins.
    void prefetch(std::uint32_t hash) const
    {
        if (!table.empty())
            __builtin_prefetch(&table[hash & (table.size() - 1)]);
    }
    void growTable();
};
