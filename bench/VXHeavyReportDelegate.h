#pragma once

// The live report's data source over a heavy tree (VXHeavyConfiguration.h), for the benchmarks
// of the report view and of the tray: the applications' own rows, clipped to the range as the
// live report clips them (the generator gives every application a window at least, which would
// double the rows). The range is [begin, end] within the data's [first, last].

#include "VXReportEventLogs.h"
#include "VXReportViewDelegate.h"
#include "VXValue.h"

#include <QMenu>

class VXHeavyReportDelegate : public VXReportViewDelegate
{
public:
    VXDictionaryRef configuration;
    double begin = 0.0, end = 0.0, first = 0.0, last = 0.0;
    // As the live report's data source clips: a rebuild after a tick continues the last one.
    VXEventLogClipCache clipCache;

    void getBeginTimestamp(double *b, double *e, double *f, double *l, VXReportView *) override
    {
        if (b)
            *b = begin;
        if (e)
            *e = end;
        if (f)
            *f = first;
        if (l)
            *l = last;
    }
    void setBeginTimestamp(double, double, VXReportView *) override { }
    VXArrayRef eventLogsForReportView(VXReportView *, double from, double to) override
    {
        VXReportContentSettings settings;
        settings.liveReportContent = 1;
        settings.applications = true;
        settings.pools = false;
        VXArrayRef logs = VXMakeArray();
        collectEventLogsClippedBetweenTimestamp(
            *configuration, from, to, settings, nullptr,
            [&](const VXDictionaryRef &entry, int depth) {
                if (depth == 0)
                    logs->append(entry);
            },
            &clipCache);
        return logs;
    }
    std::unique_ptr<QMenu> contextMenuForEventLog(const VXDictionaryRef &) override { return nullptr; }
    int timeFormat() const override { return 0; }
    bool drawFrontActivity() const override { return true; }
    bool drawTotalActivity() const override { return true; }
};
