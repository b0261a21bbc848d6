#pragma once

// The rows of a CSV export before they are written: one line per foreground or running period
// of an item inside the export's range, labelled with the pool, its notes, the application and
// the window it belongs to.
//
// A stream is clipped to the range and then read as pairs: the first opening of a run of
// openings begins a line, the first closing after it ends it; repeated numbers and a final
// open period that the range does not close yield nothing more:
//
//     stream:   +100  +200  -300  -400  +500        (range 0 to 450)
//     lines:    [100 ........ 300]
//
// Lines of one item share its labels, so a line is small (the export of a heavy year holds
// millions of them).

#include "VXSorting.h"
#include "VXValue.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

// Which stream a line comes from, and so which pair of columns it fills: "Foreground" (the
// "Front Active Log") or "Total" (the "Active Log").
enum class VXSnapshotStream : std::uint8_t { Foreground, Total };

// The labels of a line. A null string is a label that is not known (left out); the export
// writes it as an empty cell.
struct VXSnapshotLineLabels {
    QString pool;
    QString poolNotes;
    QString application;
    QString window;
};

struct VXSnapshotLine {
    std::uint32_t labels = 0;   // index into VXSnapshotLines::labels
    VXSnapshotStream stream = VXSnapshotStream::Foreground;
    double begin = 0.0;   // Unix seconds
    double end = 0.0;

    // "Foreground Begin", "Foreground End", "Total Begin" and "Total End": the line's own pair,
    // nothing for the other one.
    std::optional<double> foregroundBegin() const;
    std::optional<double> foregroundEnd() const;
    std::optional<double> totalBegin() const;
    std::optional<double> totalEnd() const;
};

struct VXSnapshotLines {
    std::vector<VXSnapshotLineLabels> labels;
    std::vector<VXSnapshotLine> lines;

    const VXSnapshotLineLabels &labelsOf(const VXSnapshotLine &line) const { return labels[line.labels]; }
};

// Appends the lines of one stream of the item ("Front Active Log" for Foreground, "Active Log"
// for Total), clipped to the range, with the given labels. Answers the number of lines added.
std::size_t addEventStream(VXSnapshotLines &self, const VXDictionary &item, VXSnapshotStream asColumnsWithPrefix,
                           double timestamp, double otherTimestamp, const QString &pool, const QString &poolNotes,
                           const QString &application, const QString &window);

// The export's order: ascending by "Foreground Begin", then by "Total Begin", a missing number
// counting as the largest double. So foreground lines come first, total lines after them.
VXComparisonResult VXSortSnapshotLines(const VXSnapshotLine &a, const VXSnapshotLine &b);

// Sorts the lines with VXSortSnapshotLines; lines that compare the same keep the order in which
// they were added, so that an export is the same file every time.
void sortSnapshotLines(VXSnapshotLines &self);
