#include "VXReportSnapshotManager.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXReportEventLogs.h"
#include "VXReportSnapshotParser.h"
#include "VXReportSnapshotPresenter.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QPointer>

#include <algorithm>

namespace {

// A snapshot's report while no presenter makes real ones: it only remembers its data.
class VXWindowlessSnapshotReport final : public VXReportClient
{
public:
    VXWindowlessSnapshotReport(QString uniqueID, VXDictionaryRef configuration) :
        m_uniqueID(std::move(uniqueID)), m_configuration(std::move(configuration))
    {
    }
    QString uniqueID() const override { return m_uniqueID; }
    VXDictionaryRef snapshotConfiguration() const override { return m_configuration; }

private:
    QString m_uniqueID;
    VXDictionaryRef m_configuration;
};

// The file a path names, so that two spellings of one path open one snapshot.
QString canonicalPath(const QString &path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : canonical;
}

}   // namespace

VXReportSnapshotManager::VXReportSnapshotManager(QObject *parent) : QObject(parent) { }

VXReportSnapshotManager::~VXReportSnapshotManager()
{
    m_workers.waitForDone();
}

VXReportSnapshotManager *VXReportSnapshotManager::snapshotManager()
{
    static QPointer<VXReportSnapshotManager> shared;
    if (!shared)
        shared = new VXReportSnapshotManager(QCoreApplication::instance());
    return shared;
}

QString VXReportSnapshotManager::reportSnapshotColumnSeparator(const VXUserDefaults &defaults)
{
    return VXColumnSeparatorForValue(defaults.integerForKey(VXExportKey::kExportedReportColumnSeparator));
}

QString VXReportSnapshotManager::reportSnapshotColumnSeparator()
{
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    return defaults ? reportSnapshotColumnSeparator(*defaults) : VXColumnSeparatorForValue(0);
}

VXDictionaryRef VXReportSnapshotManager::reportSnapshotConfigurationFromCSVFile(const QString &path)
{
    return VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(path, reportSnapshotColumnSeparator().at(0));
}

void VXReportSnapshotManager::showReportSnapshotFromCSVFile(const QString &path)
{
    showReportSnapshotFromCSVFile(path, reportSnapshotColumnSeparator());
}

void VXReportSnapshotManager::showReportSnapshotFromCSVFile(const QString &path, const QString &fallbackSeparator)
{
    if (path.isEmpty())
        return;
    if (const std::shared_ptr<VXReportClient> open = controllerForPath(path)) {
        showReportSnapshotWithController(open, false);
        Q_EMIT reportSnapshotShown(open->uniqueID());
        return;
    }
    const QString key = canonicalPath(path);
    if (m_pending.contains(key))
        return;
    m_pending.insert(key);

    const QString file = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QChar separator = fallbackSeparator.isEmpty() ? QChar(u',') : fallbackSeparator.at(0);
    // The destructor waits for the workers, so the manager outlives this; a result that
    // arrives after it is gone is dropped with its event.
    m_workers.start([this, file, key, separator] {
        QString reason;
        const VXDictionaryRef configuration
            = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(file, separator, &reason);
        QMetaObject::invokeMethod(
            this,
            [this, file, key, configuration, reason] {
                m_pending.remove(key);
                finishReading(file, configuration, reason);
            },
            Qt::QueuedConnection);
    });
}

void VXReportSnapshotManager::finishReading(const QString &path, const VXDictionaryRef &configuration,
                                            const QString &reason)
{
    if (!configuration) {
        Q_EMIT reportSnapshotRefused(path, reason);
        return;
    }
    std::shared_ptr<VXReportClient> controller = m_presenter
        ? m_presenter->makeReportController(path, configuration, *this)
        : std::make_shared<VXWindowlessSnapshotReport>(path, configuration);
    if (!controller) {
        Q_EMIT reportSnapshotRefused(path, QString());
        return;
    }
    showReportSnapshotWithController(controller, true);
    Q_EMIT reportSnapshotShown(path);
}

void VXReportSnapshotManager::showReportSnapshotWithController(const std::shared_ptr<VXReportClient> &controller,
                                                               bool addToControllers)
{
    if (!controller)
        return;
    if (addToControllers)
        m_controllers.push_back(controller);
    if (m_presenter)
        m_presenter->showReportController(*controller);
}

std::shared_ptr<VXReportClient> VXReportSnapshotManager::controllerForPath(const QString &path) const
{
    if (path.isEmpty())
        return nullptr;
    const QString key = canonicalPath(path);
    for (const std::shared_ptr<VXReportClient> &controller : m_controllers) {
        const VXDictionaryRef configuration = controller->snapshotConfiguration();
        if (configuration && canonicalPath(configuration->value(VXPathKey).toString()) == key)
            return controller;
    }
    return nullptr;
}

void VXReportSnapshotManager::getFirstTimestamp(double *firstTimestamp, double *lastTimestamp,
                                                const VXReportClient &reportController)
{
    const VXDictionaryRef configuration = reportController.snapshotConfiguration();
    if (firstTimestamp)
        *firstTimestamp = configuration ? timeIntervalForKey(*configuration, VXFirstTimestampKey) : 0.0;
    if (lastTimestamp)
        *lastTimestamp = configuration ? timeIntervalForKey(*configuration, VXLastTimestampKey) : 0.0;
}

VXArrayRef VXReportSnapshotManager::eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                                     const VXReportClient &reportController)
{
    const VXDictionaryRef configuration = reportController.snapshotConfiguration();
    if (!configuration)
        return VXMakeArray();
    return reportSnapshotEventLogsClippedBetweenTimestamp(*configuration, timestamp, otherTimestamp);
}

void VXReportSnapshotManager::populateViewMenu(VXReportMenu &menu, const VXReportClient &reportController)
{
    if (m_delegate)
        m_delegate->populateViewMenu(menu, reportController);
}

void VXReportSnapshotManager::reportWindowWillCloseForReportController(VXReportClient &reportController)
{
    reportController.detachReportView();
    const auto found
        = std::find_if(m_controllers.begin(), m_controllers.end(),
                       [&](const std::shared_ptr<VXReportClient> &c) { return c.get() == &reportController; });
    if (found == m_controllers.end())
        return;
    // The report is closing its window from inside its own code: let it go on the next turn
    // of the event loop, not under its feet.
    const std::shared_ptr<VXReportClient> keep = *found;
    m_controllers.erase(found);
    QMetaObject::invokeMethod(
        this, [keep] {}, Qt::QueuedConnection);
}
