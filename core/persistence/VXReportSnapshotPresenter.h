#pragma once

// How VXReportSnapshotManager opens the window of a snapshot: the reports layer makes a report
// controller for it and shows it. Called on the main thread only.

#include "VXValue.h"

#include <QString>

#include <memory>

class VXReportClient;
class VXReportDataSource;

class VXReportSnapshotPresenter
{
public:
    virtual ~VXReportSnapshotPresenter() = default;

    // A new report controller with the unique ID (the file's path), the data source as its
    // delegate, and the snapshot configuration set. Null when none can be made. The manager
    // owns the answer; its deleter may defer the destruction to the event loop.
    virtual std::shared_ptr<VXReportClient> makeReportController(const QString &uniqueID,
                                                                 const VXDictionaryRef &snapshotConfiguration,
                                                                 VXReportDataSource &dataSource)
        = 0;

    // Loads the controller's window (false when it cannot be loaded), updates the report
    // whatever its state, brings the window to the front and activates the program without
    // forcing it over others.
    virtual bool showReportController(VXReportClient &reportController) = 0;
};
