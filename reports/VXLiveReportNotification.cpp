#include "VXLiveReportNotification.h"

#include <QCoreApplication>
#include <QPointer>

const QString VXLiveReportNotification::kName = QStringLiteral("com.brasswing.Wendle.Live Report <- Update");

VXLiveReportNotification *VXLiveReportNotification::defaultCenter()
{
    static QPointer<VXLiveReportNotification> center;
    if (!center) {
        center = new VXLiveReportNotification(QCoreApplication::instance());
        center->setObjectName(kName);
    }
    return center;
}
