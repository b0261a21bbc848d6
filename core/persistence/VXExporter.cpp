#include "VXExporter.h"

#include "VXCSVExport.h"
#include "VXClock.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXExportUserInterface.h"
#include "VXFolderAccessDelegate.h"
#include "VXItemSorting.h"
#include "VXLibraryFolders.h"
#include "VXListedItems.h"
#include "VXPersistenceLogging.h"
#include "VXRegisteredDefaults.h"
#include "VXReportEventLogs.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <optional>

#include <unistd.h>

namespace {

bool hasPermission(const QString &path, int mode)
{
    return !path.isEmpty() && ::access(QFile::encodeName(path).constData(), mode) == 0;
}

// The organizer's rows, from its lists when the source has them, else from the tree.
std::optional<VXListedItems> listedItems(const VXExportSource &source, const VXDictionary &configuration,
                                         const VXUserDefaults &defaults)
{
    if (source.applicationList || source.poolList) {
        const VXArrayRef applications = source.applicationList ? source.applicationList() : VXArrayRef();
        const VXArrayRef pools = source.poolList ? source.poolList() : VXArrayRef();
        return VXListedItems(applications.get(), pools.get());
    }
    return VXListedItems::fromConfiguration(configuration, defaults.boolForKey(VXDefaultsKey::kShowInactivePools));
}

}   // namespace

VXExporter::VXExporter(VXExportSource source, VXUserDefaults &defaults, const VXClock &clock,
                       VXFolderAccessDelegate *folderAccess) :
    m_source(std::move(source)),
    m_defaults(defaults), m_clock(clock), m_folderAccess(folderAccess)
{
}

VXArrayRef VXExporter::eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp) const
{
    const VXDictionaryRef configuration = m_source.configuration ? m_source.configuration() : VXDictionaryRef();
    if (!configuration)
        return VXMakeArray();
    const int sortColumn = m_source.sortColumn ? m_source.sortColumn() : VXCurrentSortColumn();
    const VXReportContentSettings settings = VXReportContentSettings::fromDefaults(m_defaults, sortColumn);
    // The rows matter only for the content "items shown in the lists".
    std::optional<VXListedItems> rows;
    if (settings.liveReportContent == 0)
        rows = listedItems(m_source, *configuration, m_defaults);
    return ::eventLogsClippedBetweenTimestamp(*configuration, timestamp, otherTimestamp, settings,
                                              rows ? &*rows : nullptr, &m_clipCache);
}

void VXExporter::getFirstTimestamp(double *first, double *last) const
{
    const VXDictionaryRef configuration = m_source.configuration ? m_source.configuration() : VXDictionaryRef();
    if (configuration) {
        ::getFirstTimestamp(*configuration, first, last);
        return;
    }
    if (first)
        *first = 0.0;
    if (last)
        *last = 0.0;
}

double VXExporter::firstTimestamp() const
{
    double first = 0.0;
    getFirstTimestamp(&first, nullptr);
    return first;
}

bool VXExporter::exportCSVWithBeginTimestamp(double beginTimestamp, double endTimestamp, const QString &path) const
{
    const VXDictionaryRef configuration = m_source.configuration ? m_source.configuration() : VXDictionaryRef();
    const VXExportSettings settings = VXExportSettings::fromDefaults(m_defaults);
    std::optional<VXListedItems> rows;
    if (configuration && settings.exportedReportContent != 1)
        rows = listedItems(m_source, *configuration, m_defaults);
    return ::exportCSVWithBeginTimestamp(configuration.get(), beginTimestamp, endTimestamp, path, settings,
                                         rows ? &*rows : nullptr);
}

void VXExporter::exportCSV(VXExportUserInterface &userInterface) const
{
    if (!userInterface.prepareExportPanelParentWindow()) {
        qCWarning(lcPersistence).noquote() << VXNoReportWindowMessage;
        userInterface.beep();
        return;
    }
    userInterface.setExportPanelModal(true);
    // Named as the daily export names its files, so that both sort by day side by side.
    userInterface.runSavePanel(QCoreApplication::translate("VXExporter", VXExportSnapshotTitle), VXExportFileType,
                               VXFillFormat(VXAutoExportFileNameFormat, {currentYearMonthDayStringWithHour(m_clock)}),
                               [this, &userInterface](const std::optional<QString> &path) {
                                   if (path) {
                                       double begin = 0.0;
                                       double end = 0.0;
                                       userInterface.getReportBeginTimestamp(&begin, &end);
                                       if (!exportCSVWithBeginTimestamp(begin, end, *path))
                                           userInterface.beep();
                                   }
                                   userInterface.setExportPanelModal(false);
                               });
}

double VXExporter::autoExportBeginTimestamp() const
{
    const double first = firstTimestamp();
    if (m_defaults.integerForKey(VXAutoExportKey::kAutoExportRange) == 1)
        return std::max(first, m_defaults.doubleForKey(VXAutoExportKey::kLastAutoExport));
    return first;
}

VXAutoExportResult VXExporter::autoExportIfNecessary()
{
    if (!m_defaults.boolForKey(VXAutoExportKey::kAutoExportReports))
        return VXAutoExportResult::Off;

    const QString folder = autoExportFolderPath();
    QString bookmark;
    if (folder.isEmpty() || !confirmWriteAccess(folder, &bookmark)) {
        qCWarning(lcPersistence).noquote() << VXFillFormat(VXCannotAutoExportMessage, {folder});
        return VXAutoExportResult::NoAccess;
    }

    const QString fileName = VXFillFormat(VXAutoExportFileNameFormat, {currentYearMonthDayStringWithHour(m_clock)});
    const QString file = stringByExpandingTildeInPath(QDir(folder).filePath(fileName));
    VXAutoExportResult result = VXAutoExportResult::AlreadyExported;
    if (!QFileInfo::exists(file)) {
        double last = 0.0;
        getFirstTimestamp(nullptr, &last);
        if (exportCSVWithBeginTimestamp(autoExportBeginTimestamp(), last, file)) {
            m_defaults.setDouble(m_clock.now(), VXAutoExportKey::kLastAutoExport);
            result = VXAutoExportResult::Exported;
        } else {
            qCWarning(lcPersistence).noquote() << VXFillFormat(VXCannotAutoExportMessage, {file});
            result = VXAutoExportResult::Failed;
        }
    }
    stopAccessing(bookmark);
    return result;
}

QString VXExporter::defaultAutoExportFolderPath() const
{
    const QString reports = libraryFolderPathWithName(VXReportsFolderName);
    if (!reports.isEmpty())
        return reports;
    return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
}

QString VXExporter::autoExportFolderPath() const
{
    return stringByExpandingTildeInPath(folderPathForKey(m_defaults, VXAutoExportKey::kAutoExportFolder,
                                                         defaultAutoExportFolderPath(), folderAccess()));
}

bool VXExporter::setExportFolderPath(const QString &path)
{
    if (path.isEmpty())
        return false;
    const QString folder = stringByExpandingTildeInPath(path);
    QString bookmark;
    if (!confirmWriteAccess(folder, &bookmark))
        return false;
    // The bookmark manager keeps its own record of a folder the user chose; the access taken
    // to check it is not needed any more.
    stopAccessing(bookmark);
    setFolderPath(m_defaults, stringByAbbreviatingWithTildeInPath(QDir::cleanPath(folder)),
                  VXAutoExportKey::kAutoExportFolder);
    return true;
}

void VXExporter::revealExportFolder(VXExportUserInterface &userInterface) const
{
    const QString folder = autoExportFolderPath();
    if (!hasPermission(folder, R_OK) || !userInterface.revealFolderInFileManager(folder)) {
        qCWarning(lcPersistence).noquote() << VXFillFormat(VXCannotRevealExportFolderMessage, {folder});
        userInterface.beep();
    }
}

VXExportFolderSelectorItem VXExporter::autoExportFolderSelectorItem() const
{
    const QString folder = autoExportFolderPath();
    return {displayFileName(folder), folder, spacedDashString() + readablePathRepresentation(folder)};
}

VXFolderAccessDelegate *VXExporter::folderAccess() const
{
    return m_folderAccess ? m_folderAccess : VXFolderAccessDelegate::shared();
}

bool VXExporter::confirmWriteAccess(const QString &path, QString *accessedBookmarkPath) const
{
    if (VXFolderAccessDelegate *delegate = folderAccess())
        return delegate->confirmWriteAccessForPath(path, false, nullptr, accessedBookmarkPath, {});
    return QFileInfo(path).isDir() && hasPermission(path, W_OK | X_OK);
}

void VXExporter::stopAccessing(const QString &accessedBookmarkPath) const
{
    if (accessedBookmarkPath.isEmpty())
        return;
    if (VXFolderAccessDelegate *delegate = folderAccess())
        delegate->stopAccessingBookmarkForPath(accessedBookmarkPath);
}
