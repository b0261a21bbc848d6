#pragma once

// The controller's side of clipping and exporting, with what it needs injected: where the tree
// and the organizer's lists come from, the settings, the clock and the folder access. The
// controller keeps one for the whole run and forwards to it:
//
//     eventLogsClippedBetweenTimestamp:...forReportController:  -> eventLogsClippedBetweenTimestamp()
//     getFirstTimestamp:andLastTimestamp:forReportController:    -> getFirstTimestamp()
//     exportCSV:                                                 -> exportCSV(user interface)
//     doAutoTasksIfNecessary: (after its hour test)              -> autoExportIfNecessary()
//     setExportFolderPath:, revealExportFolder:, updateAutoExportFolderSelector
//                                                                -> the folder operations
//
// The daily export writes one file per day, named by the local date, into the export folder:
//
//     checks (every 59 s from the hour on):  06:00  06:01  ...  23:59 | 06:00 (next day)
//     files:                                 2026-11-20.csv         | 2026-11-21.csv
//
// An existing file for today means today's export is done; deleting it makes the next check
// export again. "Auto-Export Range" 1 exports only what came since the last automatic export:
//
//     tracked:    |----------- day 1 -----------|------ day 2 ------|
//     range 0:    [2026-11-21.csv: everything since the first timestamp  ]
//     range 1:                                  [2026-11-21.csv      ]

#include "VXReportEventLogs.h"
#include "VXValue.h"

#include <QString>
#include <QtGlobal>

#include <functional>

class VXClock;
class VXExportUserInterface;
class VXFolderAccessDelegate;
class VXUserDefaults;

// Settings of the daily export ("Auto-Export Hour", which starts the daily tasks, belongs to
// them).
namespace VXAutoExportKey {
inline const QString kAutoExportReports = QStringLiteral("Auto-Export Reports");
// 0: everything since the first timestamp; 1: only what is new since the last automatic export.
inline const QString kAutoExportRange = QStringLiteral("Auto-Export Range");
// A folder path, stored through setFolderPath().
inline const QString kAutoExportFolder = QStringLiteral("Auto-Export Folder");
// Unix seconds of the last successful automatic export.
inline const QString kLastAutoExport = QStringLiteral("Last Auto-Export");
}   // namespace VXAutoExportKey

// Log messages ("%@" is filled in).
inline const QString VXCannotAutoExportMessage = QStringLiteral("cannot auto-export to <%@>");
inline const QString VXCannotRevealExportFolderMessage = QStringLiteral("cannot reveal export folder: %@");
inline const QString VXNoReportWindowMessage = QStringLiteral("where's my report window?");
// The daily file's name, filled with the day stamp "YYYY-MM-DD".
inline const QString VXAutoExportFileNameFormat = QStringLiteral("%@.csv");

// The save panel. Translation context "VXExporter".
inline constexpr char VXExportSnapshotTitle[] = QT_TRANSLATE_NOOP("VXExporter", "Export Snapshot");
inline const QString VXExportFileType = QStringLiteral("csv");

// Where the tree and the organizer's lists come from, asked at each use (undo and loading
// replace the tree). Without lists, the rows are worked out from the tree itself
// (VXListedItems::fromConfiguration with "Show Inactive Pools"); without a sort column, the
// organizer's current one.
struct VXExportSource {
    std::function<VXDictionaryRef()> configuration;
    std::function<VXArrayRef()> applicationList;
    std::function<VXArrayRef()> poolList;
    std::function<int()> sortColumn;
};

// What the daily export did.
enum class VXAutoExportResult {
    Off,   // "Auto-Export Reports" is off
    NoAccess,   // the folder cannot be written (logged)
    AlreadyExported,   // today's file exists
    Exported,   // written, "Last Auto-Export" set
    Failed,   // the file could not be written (logged)
};

// The first entry of the export-folder selector in the preferences: the folder's name, its
// path, and the detail shown after it (a spaced dash and the readable path).
struct VXExportFolderSelectorItem {
    QString title;
    QString path;
    QString detail;
};

class VXExporter
{
public:
    // `folderAccess` answers whether a folder may be written (the bookmark manager); null
    // means VXFolderAccessDelegate::shared(), and when that is null too, the file system's own
    // permission test.
    VXExporter(VXExportSource source, VXUserDefaults &defaults, const VXClock &clock,
               VXFolderAccessDelegate *folderAccess = nullptr);

    void setFolderAccess(VXFolderAccessDelegate *folderAccess) { m_folderAccess = folderAccess; }

    // ---- The live report's data

    // The clipped entries for the range, by "Live Report Content", "Live Report: Applications"
    // and "Live Report: Pools", each level in the organizer's order. Clipped through one cache,
    // so that the live report's rebuild on a tick continues the last one (an entry is good until
    // the next call).
    VXArrayRef eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp) const;
    // The first timestamp and "Last Timestamp" (0 without a tree).
    void getFirstTimestamp(double *firstTimestamp, double *lastTimestamp) const;
    double firstTimestamp() const;

    // ---- Export

    // Writes the tree's periods between the two times to the path with the user's columns and
    // separators. False (logged) when the columns leave nothing to write or the file cannot be
    // written.
    bool exportCSVWithBeginTimestamp(double beginTimestamp, double endTimestamp, const QString &path) const;

    // "Export Snapshot": the save panel on the report, then the export of the report's range
    // to the chosen file; a beep when that fails. Without a report window: a log line and a
    // beep. `userInterface` must outlive the panel.
    void exportCSV(VXExportUserInterface &userInterface) const;

    // ---- The daily export

    // The first timestamp; with "Auto-Export Range" 1 the later of that and "Last Auto-Export".
    double autoExportBeginTimestamp() const;

    // The export half of the daily tasks; the caller has checked the hour. With "Auto-Export
    // Reports" on: today's file in the export folder, unless it exists, from
    // autoExportBeginTimestamp() to "Last Timestamp".
    VXAutoExportResult autoExportIfNecessary();

    // ---- The export folder

    // "Reports" in the library folder (made when missing); the desktop folder when that
    // cannot be made.
    QString defaultAutoExportFolderPath() const;
    // The folder the daily export writes to, with "~" expanded.
    QString autoExportFolderPath() const;
    // The folder chosen with "Other...": when it can be written, stored (abbreviated with "~")
    // under "Auto-Export Folder". False for an empty path or a folder that cannot be written.
    bool setExportFolderPath(const QString &path);
    // Shows the export folder in the file manager; a log line and a beep when it is not there,
    // cannot be read or cannot be shown.
    void revealExportFolder(VXExportUserInterface &userInterface) const;
    // What the preferences' folder selector shows first.
    VXExportFolderSelectorItem autoExportFolderSelectorItem() const;

private:
    VXFolderAccessDelegate *folderAccess() const;
    bool confirmWriteAccess(const QString &path, QString *accessedBookmarkPath) const;
    void stopAccessing(const QString &accessedBookmarkPath) const;

    VXExportSource m_source;
    VXUserDefaults &m_defaults;
    const VXClock &m_clock;
    VXFolderAccessDelegate *m_folderAccess;
    mutable VXEventLogClipCache m_clipCache;
};
