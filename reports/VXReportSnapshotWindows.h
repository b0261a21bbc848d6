#pragma once

// How snapshot reports get their windows: VXReportSnapshotManager asks this to make a report
// controller for each CSV file it has read and to show it. Install one on the manager at
// start-up (setPresenter) and keep it as long as the manager.

#include "VXReportSnapshotPresenter.h"

class VXUserDefaults;

class VXReportSnapshotWindows final : public VXReportSnapshotPresenter
{
public:
    // `defaults` null means the standard store.
    explicit VXReportSnapshotWindows(VXUserDefaults *defaults = nullptr) : m_defaults(defaults) { }

    std::shared_ptr<VXReportClient> makeReportController(const QString &uniqueID,
                                                         const VXDictionaryRef &snapshotConfiguration,
                                                         VXReportDataSource &dataSource) override;
    bool showReportController(VXReportClient &reportController) override;

private:
    VXUserDefaults *m_defaults;
};
