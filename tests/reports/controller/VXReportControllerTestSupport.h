#pragma once

// Helpers for the report controller's tests: an application on the offscreen platform, settings
// of the test's own ($XDG_CONFIG_HOME in a temporary folder), and a data source over hand-made
// clipped entries that counts what it is asked.

#include "VXConfigurationKeys.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXRegisteredDefaults.h"
#include "VXReportController.h"
#include "VXReportDataSource.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXTestSupport.h"
#include "VXUserDefaults.h"
#include "VXValue.h"

#include <QApplication>
#include <QByteArray>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>
#include <ostream>
#include <vector>

namespace vxreporttest {

// The widgets of these tests run without a display unless a test has set up one.
inline QApplication &application()
{
    static int argc = 1;
    static char name[] = "wendle-report-controller-tests";
    static char *argv[] = {name, nullptr};
    if (!QApplication::instance()) {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv);
    }
    return *qApp;
}

// $XDG_CONFIG_HOME in a folder of its own, and the program's settings store there (registered
// defaults included), installed as the standard store while it lives.
class PrivateSettings
{
public:
    PrivateSettings()
    {
        application();
        defaults = std::make_unique<VXUserDefaults>();
        VXRegisterDefaults(*defaults);
        VXUserDefaults::setStandard(defaults.get());
    }
    ~PrivateSettings()
    {
        if (VXUserDefaults::standard() == defaults.get())
            VXUserDefaults::setStandard(nullptr);
        defaults.reset();
    }
    PrivateSettings(const PrivateSettings &) = delete;
    PrivateSettings &operator=(const PrivateSettings &) = delete;

    QTemporaryDir folder;

private:
    const VXScopedEnvironment m_configHome {"XDG_CONFIG_HOME", QFile::encodeName(folder.path())};

public:
    std::unique_ptr<VXUserDefaults> defaults;
};

// Snapshot reports opened as the program opens them: the CSV file written to the settings'
// folder, read by the snapshot manager and shown in its window.
class SnapshotReports
{
public:
    SnapshotReports(PrivateSettings &settings, VXReportDataSource &delegate) :
        m_settings(settings), windows(settings.defaults.get())
    {
        manager.setPresenter(&windows);
        manager.setDelegate(&delegate);
    }

    // The file's report, or null when it was not shown within ten seconds.
    VXReportController *open(const QString &fileName, const QByteArray &csv)
    {
        const QString path = m_settings.folder.filePath(fileName);
        if (!VXWriteFile(path, csv))
            return nullptr;
        QSignalSpy shown(&manager, &VXReportSnapshotManager::reportSnapshotShown);
        manager.showReportSnapshotFromCSVFile(path, QStringLiteral(","));
        if (!shown.wait(10000))
            return nullptr;
        return dynamic_cast<VXReportController *>(manager.controllerForPath(path).get());
    }

private:
    PrivateSettings &m_settings;

public:
    VXReportSnapshotWindows windows;
    VXReportSnapshotManager manager;
};

// An application item with its foreground and total logs, clipped to the range as the data
// sources clip it.
inline VXDictionaryRef applicationEntry(const QString &name, std::vector<double> front, std::vector<double> total,
                                        double begin, double end)
{
    VXDictionaryRef item = VXMakeDictionary();
    item->insert(VXNameKey, name);
    item->insert(VXPathKey, QStringLiteral("/usr/share/applications/") + name + QStringLiteral(".desktop"));
    VXArrayRef frontLog = VXMakeArray();
    for (double value : front)
        frontLog->append(value);
    VXArrayRef totalLog = VXMakeArray();
    for (double value : total)
        totalLog->append(value);
    item->insert(VXFrontActiveLogKey, frontLog);
    item->insert(VXActiveLogKey, totalLog);
    return eventLogClippedBetweenTimestamp(item, begin, end);
}

// Answers fixed bounds and entries, and counts the questions.
class FakeDataSource : public VXReportDataSource
{
public:
    void getFirstTimestamp(double *firstTimestamp, double *lastTimestamp, const VXReportClient &) override
    {
        ++boundsAsked;
        if (firstTimestamp)
            *firstTimestamp = first;
        if (lastTimestamp)
            *lastTimestamp = last;
    }
    VXArrayRef eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                const VXReportClient &) override
    {
        ++logsAsked;
        lastClip = {timestamp, otherTimestamp};
        return entries ? entries : VXMakeArray();
    }
    void populateViewMenu(VXReportMenu &menu, const VXReportClient &) override
    {
        ++menusFilled;
        menu.addItem(QStringLiteral("Fake Entry"), 7, [this] { ++fakeEntryChosen; });
    }
    void reportWindowWillCloseForReportController(VXReportClient &) override { ++closeNotices; }

    double first = 0.0;
    double last = 0.0;
    VXArrayRef entries;
    int boundsAsked = 0;
    int logsAsked = 0;
    std::pair<double, double> lastClip {0.0, 0.0};
    int menusFilled = 0;
    int fakeEntryChosen = 0;
    int closeNotices = 0;
};

}   // namespace vxreporttest
