#pragma once

// What a report view asks of its controller. VXReportController implements it for every report
// window; tests give the view a delegate of their own. The view holds no event data: on every
// rebuild it asks for the range and for the clipped entries, and it reports a range chosen with
// the mouse back through here.

#include "VXValue.h"

#include <memory>

class QMenu;
class VXReportView;

class VXReportViewDelegate
{
public:
    virtual ~VXReportViewDelegate() = default;

    // The effective range (begin, end) and the data's bounds (first, last), in Unix seconds;
    // each is written only when its pointer is given.
    virtual void getBeginTimestamp(double *beginTimestamp, double *endTimestamp, double *firstTimestamp,
                                   double *lastTimestamp, VXReportView *reportView)
        = 0;

    // Fixes a range chosen with the mouse; 0 or below for either side leaves that side open.
    virtual void setBeginTimestamp(double beginTimestamp, double endTimestamp, VXReportView *reportView) = 0;

    // The clipped entries (VXEventLogDictionaryExtensions.h) of every shown item, cut to the
    // range between the two times, in report order.
    virtual VXArrayRef eventLogsForReportView(VXReportView *reportView, double clippedBetweenTimestamp,
                                              double andTimestamp)
        = 0;

    // The context menu for a clicked entry's event-log record; null when there is none.
    virtual std::unique_ptr<QMenu> contextMenuForEventLog(const VXDictionaryRef &eventLog) = 0;

    // 0 draws the report as a time lapse, 1 as time portions.
    virtual int timeFormat() const = 0;
    virtual bool drawFrontActivity() const = 0;
    virtual bool drawTotalActivity() const = 0;
};
