#pragma once

// CSV snapshots: a CSV file opened again as a read-only report. The manager reads the file on
// a worker thread, hands the result to the main thread, has the reports layer make and show a
// report for it (one per file), and serves as the data source of every snapshot report.
//
//     main:    showReportSnapshotFromCSVFile(path) ............ result -> make, show, keep
//     worker:               \__ parse(path) __________________/
//
// The main thread's event loop keeps turning while a file is read. Opening a file that is
// already open (or being read) brings its report forward instead. A file that cannot be read
// opens nothing; its log line says why.

#include "VXReportDataSource.h"
#include "VXValue.h"

#include <QObject>
#include <QSet>
#include <QString>
#include <QThreadPool>

#include <memory>
#include <vector>

class VXReportSnapshotPresenter;
class VXUserDefaults;

class VXReportSnapshotManager : public QObject, public VXReportDataSource
{
    Q_OBJECT
public:
    explicit VXReportSnapshotManager(QObject *parent = nullptr);
    // Waits for files still being read; their results are dropped.
    ~VXReportSnapshotManager() override;

    // The program's manager, made on first use and owned by the application object.
    static VXReportSnapshotManager *snapshotManager();

    // The column separator of "Exported Report Column Separator" (",", ";" or a tab) in the
    // given store, or in the standard one (",", without one).
    static QString reportSnapshotColumnSeparator(const VXUserDefaults &defaults);
    static QString reportSnapshotColumnSeparator();

    // Reads the file now, on this thread (VXReportSnapshotParser), with the separator of the
    // standard store as the fallback.
    static VXDictionaryRef reportSnapshotConfigurationFromCSVFile(const QString &path);

    // Who makes and shows report windows. Without one, snapshots are kept without a window
    // (for tests and the command line).
    void setPresenter(VXReportSnapshotPresenter *presenter) { m_presenter = presenter; }
    // The application controller: it fills the View menus. Not owned.
    void setDelegate(VXReportDataSource *delegate) { m_delegate = delegate; }
    VXReportDataSource *delegate() const { return m_delegate; }

    // The reports of open snapshots, in the order they were opened.
    const std::vector<std::shared_ptr<VXReportClient>> &controllers() const { return m_controllers; }
    // The files being read now.
    int pendingCount() const { return static_cast<int>(m_pending.size()); }

    // Opens the file as a snapshot, or brings its open report forward. A null or empty path is
    // ignored. `fallbackSeparator` defaults to the standard store's setting, read now.
    void showReportSnapshotFromCSVFile(const QString &path);
    void showReportSnapshotFromCSVFile(const QString &path, const QString &fallbackSeparator);

    // Keeps the report (when asked) and shows it through the presenter.
    void showReportSnapshotWithController(const std::shared_ptr<VXReportClient> &controller, bool addToControllers);

    // The open snapshot's report for the file (compared as files: "a/../b.csv" is "b.csv"),
    // or null.
    std::shared_ptr<VXReportClient> controllerForPath(const QString &path) const;

    // VXReportDataSource, for snapshot reports.
    void getFirstTimestamp(double *firstTimestamp, double *lastTimestamp,
                           const VXReportClient &reportController) override;
    VXArrayRef eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                const VXReportClient &reportController) override;
    void populateViewMenu(VXReportMenu &menu, const VXReportClient &reportController) override;
    void reportWindowWillCloseForReportController(VXReportClient &reportController) override;

Q_SIGNALS:
    // A snapshot's report was made and shown (also when an open one was brought forward).
    void reportSnapshotShown(const QString &path);
    // The file could not be used; nothing opened. `reason` is the reader's refusal, or empty
    // when the file was read but no report could be made of it.
    void reportSnapshotRefused(const QString &path, const QString &reason);

private:
    void finishReading(const QString &path, const VXDictionaryRef &configuration, const QString &reason);

    VXReportSnapshotPresenter *m_presenter = nullptr;
    VXReportDataSource *m_delegate = nullptr;
    std::vector<std::shared_ptr<VXReportClient>> m_controllers;
    QSet<QString> m_pending;   // canonical paths being read
    QThreadPool m_workers;
};
