#pragma once

// The CSV export: every foreground and running period of the tree inside a range, one row per
// period, in the columns the user chose. This is also the format a CSV snapshot reads back.
//
//     Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)
//     ,Mail,,1700000000.00,1700000300.50
//     ,Mail,Inbox,1700000000.00,1700000120.25
//     Writing,Editor,,1700000400.00,1700000500.00
//
// Text is UTF-8 without a byte-order mark, a row separator follows every row (also the last),
// header cells are written as they are, other cells quoted when they hold the separator, a
// double quote or a line break. Times are Unix seconds with exactly two fraction digits in the
// user's locale, with no grouping: a decimal comma is written as a comma (and then quoted when
// the comma is the separator). A row of one stream has zeros in the other stream's cells.

#include "VXBinaryPropertyListReader.h"
#include "VXSnapshotLines.h"
#include "VXValue.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>

class VXListRows;
class VXUserDefaults;

// Settings of the export (the registered ones are in VXRegisteredDefaults.h).
namespace VXExportKey {
// 0 ",", 1 ";", 2 a tab.
inline const QString kExportedReportColumnSeparator = QStringLiteral("Exported Report Column Separator");
// 0 "\n", 1 "\r", 2 "\r\n".
inline const QString kExportedReportRowSeparator = QStringLiteral("Exported Report Row Separator");
inline const QString kExportColumnPoolNotes = QStringLiteral("Export Column: Pool Notes");
inline const QString kExportColumnTotal = QStringLiteral("Export Column: Total");
}   // namespace VXExportKey

// The header cells, which the snapshot reader looks for by name.
namespace VXCSVHeader {
inline const QString kPool = QStringLiteral("Pool");
extern const QString &kPoolNotes;   // "Pool Notes", the pool's notes as the tree keeps them
inline const QString kApplication = QStringLiteral("Application");
inline const QString kWindow = QStringLiteral("Window");
inline const QString kForegroundBegin = QStringLiteral("Foreground Begin (Unix Time)");
inline const QString kForegroundEnd = QStringLiteral("Foreground End (Unix Time)");
inline const QString kTotalBegin = QStringLiteral("Total Begin (Unix Time)");
inline const QString kTotalEnd = QStringLiteral("Total End (Unix Time)");
}   // namespace VXCSVHeader

// The message logged when the chosen columns leave nothing to write.
inline const QString VXNothingToExportMessage
    = QStringLiteral("you managed to uncheck all relevant columns, so there's nothing to export");

// The separator texts of the two settings; values out of range give the first choice.
QString VXColumnSeparatorForValue(std::int64_t value);
QString VXRowSeparatorForValue(std::int64_t value);

struct VXExportSettings {
    bool pool = true;
    bool poolNotes = false;
    bool application = true;
    bool window = true;
    bool front = true;
    bool total = false;
    // "Exported Report Content": 1 every item, anything else only the items with a row in the
    // organizer lists.
    std::int64_t exportedReportContent = 1;
    QString columnSeparator = QStringLiteral(",");
    QString rowSeparator = QStringLiteral("\n");

    static VXExportSettings fromDefaults(const VXUserDefaults &defaults);

    // Whether the columns leave anything to write: an application or pool column, and a
    // foreground or total pair.
    bool hasRelevantColumns() const { return (application || pool) && (front || total); }
};

// The lines of the export, sorted, before they are written. `rows` answers the list filter
// (null: every item has a row).
VXSnapshotLines snapshotLinesBetweenTimestamp(const VXDictionary &configuration, double beginTimestamp,
                                              double endTimestamp, const VXExportSettings &settings,
                                              const VXListRows *rows);

// The CSV text of the lines (header included), UTF-8.
QByteArray CSVDataWithSnapshotLines(const VXSnapshotLines &lines, const VXExportSettings &settings);

// The whole export as UTF-8 text; nothing (and the log line above) when the columns leave
// nothing to write. A null configuration exports the header alone.
std::optional<QByteArray> CSVDataWithBeginTimestamp(const VXDictionary *configuration, double beginTimestamp,
                                                    double endTimestamp, const VXExportSettings &settings,
                                                    const VXListRows *rows);

// Writes the export to the path, atomically, readable by its owner only. Answers success.
bool exportCSVWithBeginTimestamp(const VXDictionary *configuration, double beginTimestamp, double endTimestamp,
                                 const QString &path, const VXExportSettings &settings, const VXListRows *rows);

// The export of a record read in place (every item: "Exported Report Content" 1), handed to
// `sink` a piece at a time as it is made: the same bytes as CSVDataWithBeginTimestamp on the
// record's tree, without the tree and without holding the whole text. The record is read whole
// before anything is handed on, so a damaged one (false, `damaged` set) gives nothing. False
// also when the columns leave nothing to write (the log line above) or the sink refuses a piece.
bool VXWriteCSVInPlace(VXBinaryPropertyListView &view, double beginTimestamp, double endTimestamp,
                       const VXExportSettings &settings,
                       const std::function<bool(const char *data, qsizetype size)> &sink, bool *damaged);
