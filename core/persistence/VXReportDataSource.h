#pragma once

// What a report asks of whoever supplies its data. The report controller (in the reports
// layer) holds a data source and calls it on every redraw; the application controller serves
// the live report ("Default") and VXReportSnapshotManager serves every snapshot. The core
// knows a report only through VXReportClient, and fills menus through VXReportMenu, so that
// neither needs a widget.

#include "VXValue.h"

#include <QString>

#include <functional>

// The report as its data source sees it.
class VXReportClient
{
public:
    virtual ~VXReportClient() = default;

    // "Default" for the live report, the file's path for a snapshot.
    virtual QString uniqueID() const = 0;
    // The data of a snapshot report; null for the live report.
    virtual VXDictionaryRef snapshotConfiguration() const = 0;
    // The report's window is going away: its view must stop asking (called by a data source
    // that forgets the report).
    virtual void detachReportView() { }
};

// A menu being filled: the report's View menu, or the context menu of a row.
class VXReportMenu
{
public:
    virtual ~VXReportMenu() = default;

    // An entry that runs `action` when chosen; `tag` tells entries of one family apart.
    virtual void addItem(const QString &title, int tag, std::function<void()> action) = 0;
    virtual void addSeparator() = 0;
    // A disabled heading.
    virtual void addHeading(const QString &title) = 0;
    // A submenu of that title, to be filled through the answer (which lives as long as the menu).
    virtual VXReportMenu &addSubmenu(const QString &title) = 0;
};

class VXReportDataSource
{
public:
    virtual ~VXReportDataSource() = default;

    // The earliest and the latest timestamp of the data (Unix seconds), each written only when
    // its pointer is given.
    virtual void getFirstTimestamp(double *firstTimestamp, double *lastTimestamp,
                                   const VXReportClient &reportController)
        = 0;

    // The clipped entries (VXEventLogDictionaryExtensions.h) of every item the report shows,
    // cut to the range between the two times (in either order), in report order.
    virtual VXArrayRef eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                        const VXReportClient &reportController)
        = 0;

    // Appends the report's View menu entries.
    virtual void populateViewMenu(VXReportMenu &menu, const VXReportClient &reportController) = 0;

    // Optional: fills the context menu for a clicked entry; false (the default) means no menu.
    virtual bool contextMenuForEventLog(const VXDictionary &eventLog, const VXReportClient &displayedByReportController,
                                        VXReportMenu &menu)
    {
        Q_UNUSED(eventLog);
        Q_UNUSED(displayedByReportController);
        Q_UNUSED(menu);
        return false;
    }

    // Optional: the report's window is closing.
    virtual void reportWindowWillCloseForReportController(VXReportClient &reportController)
    {
        Q_UNUSED(reportController);
    }
};
