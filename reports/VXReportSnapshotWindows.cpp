#include "VXReportSnapshotWindows.h"

#include "VXReportController.h"
#include "VXReportsLogging.h"

std::shared_ptr<VXReportClient>
VXReportSnapshotWindows::makeReportController(const QString &uniqueID, const VXDictionaryRef &snapshotConfiguration,
                                              VXReportDataSource &dataSource)
{
    // The manager lets go of a report on the turn of the event loop after its window closed.
    auto controller = VXReportController::reportControllerWithUniqueID(uniqueID, &dataSource, m_defaults);
    controller->setSnapshotConfiguration(snapshotConfiguration);
    return controller;
}

bool VXReportSnapshotWindows::showReportController(VXReportClient &reportController)
{
    auto *controller = dynamic_cast<VXReportController *>(&reportController);
    if (!controller) {
        qCWarning(lcReports) << "a snapshot report without a window cannot be shown";
        return false;
    }
    if (!controller->loadReportWindow())
        return false;
    // Brought forward, and the program activated only as far as the desktop allows by itself.
    controller->presentReportWindow(false);
    return true;
}
