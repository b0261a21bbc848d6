#pragma once

// One activity-report window: the live report of the running program (unique ID "Default") or a
// read-only snapshot of a CSV file (unique ID = the file's path). The controller loads the window
// from the "Report" layout, keeps the report's own settings in the user defaults under keys
// formed from its unique ID, runs the begin and end date controls, and stands between the
// report view and its data source (its delegate): on every rebuild the view asks the controller
// for the range and the clipped entries, and the controller asks the data source.
//
//     data source (VXMainController | VXReportSnapshotManager)
//          ^  getFirstTimestamp, eventLogsClippedBetweenTimestamp, populateViewMenu
//     VXReportController  --- "Report: <ID>: Begin", "... End", "... Time Format", ...
//          ^  getBeginTimestamp, eventLogsForReportView, setBeginTimestamp
//     VXReportView
//
// The effective range: the data's bounds F..L, narrowed by the fixed begin and end that the
// check boxes turn on. A disabled picker always shows the bound it stands for, so turning its
// check box on fixes exactly what it showed. The begin picker may go past the chosen end (its
// upper limit is L); the end picker's lower limit is then the begin:
//
//     F |--------------------------------------------| L      data
//           [begin picker: F..L]
//                     [end picker: begin (or F)..L]
//
// Main thread only.

#include "VXChameleonDatePicker.h"
#include "VXReportBottomBar.h"
#include "VXReportDataSource.h"
#include "VXReportMenuTarget.h"
#include "VXReportView.h"
#include "VXReportViewDelegate.h"
#include "VXShellSettings.h"
#include "VXValue.h"

#include <QCheckBox>
#include <QDateTime>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QToolButton>

#include <memory>

class QWidget;
class VXReportMenuAdapter;
class VXUserDefaults;

// The settings of each report: "%@" is its unique ID.
namespace VXReportKey {
// The live report's unique ID.
inline const QString kDefaultUniqueID = QStringLiteral("Default");
// 0 time lapse, 1 time portions.
inline const QString kTimeFormat = QStringLiteral("Report: %@: Time Format");
// Filled with the ID and kFront or kTotal: whether that activity is drawn.
inline const QString kShownActivity = QStringLiteral("Report: %@: %@");
inline const QString kFront = QStringLiteral("Front");
inline const QString kTotal = QStringLiteral("Total");
// The fixed begin and end of the range (Unix seconds); absent means the data's own bound.
inline const QString kBegin = QStringLiteral("Report: %@: Begin");
inline const QString kEnd = QStringLiteral("Report: %@: End");
// The window was last left open.
inline const QString kVisible = QStringLiteral("Report: %@: Visible");
// The live report's own: its window floats, and it (not the organizer) was closed last.
// (The program's windows read them too: they are the controller's.)
inline const QString kDefaultStayInFront = VXReportDefaultStayInFrontKey;
inline const QString kDefaultClosedLast = VXReportDefaultClosedLastKey;
inline const QString kDefaultVisible = VXReportDefaultVisibleKey;
// The saved window frame ("x y width height"): the live report's, and others' followed by the ID.
inline const QString kLiveWindowFrame = QStringLiteral("ReportWindow");
inline const QString kWindowFramePrefix = QStringLiteral("ReportWindow: ");
}   // namespace VXReportKey

// The View button's texts (translation context "VXReportController").
inline constexpr char VXReportViewButtonToolTip[] = QT_TRANSLATE_NOOP("VXReportController", "View");
inline constexpr char VXReportViewMenuTitle[] = QT_TRANSLATE_NOOP("VXReportController", "Index");

// What a report without rows says: the live report, and a snapshot.
inline constexpr char VXReportNothingTrackedTitle[] = QT_TRANSLATE_NOOP("VXReportController", "Nothing Tracked Yet");
inline constexpr char VXReportNothingTrackedSubtitle[]
    = QT_TRANSLATE_NOOP("VXReportController", "No activity has been tracked in this range yet.");
inline constexpr char VXReportNoActivityTitle[] = QT_TRANSLATE_NOOP("VXReportController", "No Activity");
inline constexpr char VXReportNoActivitySubtitle[]
    = QT_TRANSLATE_NOOP("VXReportController", "The file holds no activity in this range.");

class VXReportController : public QObject, public VXReportClient, public VXReportViewDelegate, public VXReportMenuTarget
{
    Q_OBJECT
public:
    // A new controller; an empty ID is replaced by a fresh UUID. `defaults` null means the
    // standard store. The data source is not owned.
    static std::shared_ptr<VXReportController> reportControllerWithUniqueID(const QString &uniqueID,
                                                                            VXReportDataSource *delegate,
                                                                            VXUserDefaults *defaults = nullptr);
    VXReportController(const QString &uniqueID, VXReportDataSource *delegate, VXUserDefaults *defaults = nullptr,
                       QObject *parent = nullptr);
    ~VXReportController() override;

    // ---- Properties

    QString uniqueID() const override { return m_uniqueID; }
    bool isLiveReport() const { return m_uniqueID == VXReportKey::kDefaultUniqueID; }
    VXDictionaryRef snapshotConfiguration() const override { return m_snapshotConfiguration; }
    void setSnapshotConfiguration(VXDictionaryRef configuration);
    VXReportDataSource *delegate() const { return m_delegate; }
    void setDelegate(VXReportDataSource *delegate) { m_delegate = delegate; }

    // The interface objects, null until the window is loaded.
    QWidget *reportWindow() const { return m_reportWindow.data(); }
    QWidget *reportContainer() const { return m_reportContainer; }
    VXReportView *reportView() const { return m_reportView; }
    VXReportBottomBar *bottomBar() const { return m_bottomBar; }
    QCheckBox *beginDateSwitch() const { return m_beginDateSwitch; }
    QCheckBox *endDateSwitch() const { return m_endDateSwitch; }
    VXChameleonDatePicker *beginDatePicker() const { return m_beginDatePicker; }
    VXChameleonDatePicker *endDatePicker() const { return m_endDatePicker; }
    // The View button, and its menu (null without a data source).
    QToolButton *viewMenuButton() const { return m_viewMenuButton; }
    QMenu *viewMenu() const { return m_viewMenu; }

    // The settings key of this report made from a pattern of VXReportKey.
    QString keyForReport(const QString &pattern) const;
    // The key under which the window frame is saved.
    QString windowFrameKey() const;

    // ---- Windows

    // The window, loaded on first use: the layout, the title of a snapshot's file, the View
    // button, the live report's level, the saved frame, and the date controls from the settings.
    QWidget *loadReportWindow();
    // loadReportWindow(), then the report view (for renderings of the live report elsewhere).
    VXReportView *loadReportView();
    // Shows the window, or closes it when it is the active window.
    void toggleReportWindow(QObject *sender);
    // Shows the loaded window (centred on its first showing when it has no saved frame),
    // rebuilds the report whatever the window's state, and brings the window forward; with
    // `activate` it also becomes the active window.
    void presentReportWindow(bool activate);
    // The program is quitting: windows that close from now on are not closed by the user, so
    // they keep their "Visible" state (the live report reopens at the next launch). Process-wide.
    static void setApplicationTerminating(bool terminating);
    static bool isApplicationTerminating();
    // True when the window is the active one.
    bool isKeyWindow() const;

    // ---- Settings

    void setTimeFormatFromMenuItem(int tag) override;
    int timeFormat() const override;
    // Tag 0 flips "Front", tag 1 "Total".
    void toggleShownActivityFromMenuItem(int tag) override;
    // A snapshot draws what its file holds (its configuration's "Foreground Activity" and "Total
    // Activity"); the live report what its settings say.
    bool drawFrontActivity() const override;
    bool drawTotalActivity() const override;
    // The action of the four date controls.
    void changeSetting(QObject *sender);
    // Whether a View menu entry of this report is enabled and checked now.
    VXReportMenuItemState validateMenuItem(VXReportMenuAction action, int tag) const override;

    // ---- The report view's questions (VXReportViewDelegate)

    void getBeginTimestamp(double *beginTimestamp, double *endTimestamp, double *firstTimestamp, double *lastTimestamp,
                           VXReportView *reportView) override;
    void setBeginTimestamp(double beginTimestamp, double endTimestamp, VXReportView *reportView) override;
    VXArrayRef eventLogsForReportView(VXReportView *reportView, double clippedBetweenTimestamp,
                                      double andTimestamp) override;
    std::unique_ptr<QMenu> contextMenuForEventLog(const VXDictionaryRef &eventLog) override;

    // ---- Refreshing

    // Rebuilds the view unless it cannot be seen: a hidden window counts only without the flag,
    // a hidden view (or a hidden widget above it) always.
    void updateRegardlessOfWindowVisibility(bool regardless);
    void detachReportView() override;

    // The view is visible in a visible window.
    bool isReportShown() const;

    // Picker dates and Unix seconds (milliseconds kept).
    static QDateTime dateForTimestamp(double timestamp);
    static double timestampForDate(const QDateTime &date);

public Q_SLOTS:
    // After every tick and settings change: rebuilds the view when its window is visible.
    void update(QObject *sender);
    // When the panel that embeds the report shows, and when a snapshot first shows.
    void updateRegardless(QObject *sender);

Q_SIGNALS:
    // The window closed (by its close button or by the toggle).
    void reportWindowClosed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // The window's close button: stores the closed state and allows the close.
    bool windowShouldClose();
    void windowWillClose();
    // The window's palette for the colour scheme in the settings.
    void applyColorScheme();
    void setUpViewMenuButton();
    // The view's message for a report without rows, by the kind of report.
    void setUpEmptyReportMessage();
    void readDateControl(const QString &pattern, QCheckBox *dateSwitch, VXChameleonDatePicker *picker);
    void storeDateOfPicker(const QString &pattern, VXChameleonDatePicker *picker);
    void applyRangeSide(double timestamp, const QString &pattern, QCheckBox *dateSwitch, VXChameleonDatePicker *picker);
    void saveWindowFrame();
    bool restoreWindowFrame();
    void settingChanged(const QString &key);
    VXUserDefaults &defaults() const;

    QString m_uniqueID;
    VXReportDataSource *m_delegate;
    VXDictionaryRef m_snapshotConfiguration;
    VXUserDefaults *m_defaults;
    std::unique_ptr<VXUserDefaults> m_ownDefaults;

    // Owned; held weakly so that a window torn down with the application is not deleted twice.
    QPointer<QWidget> m_reportWindow;
    QPointer<QWidget> m_reportContainer;
    QPointer<VXReportView> m_reportView;
    QPointer<VXReportBottomBar> m_bottomBar;
    QPointer<QCheckBox> m_beginDateSwitch;
    QPointer<QCheckBox> m_endDateSwitch;
    QPointer<VXChameleonDatePicker> m_beginDatePicker;
    QPointer<VXChameleonDatePicker> m_endDatePicker;
    QPointer<QToolButton> m_viewMenuButton;
    QPointer<QMenu> m_viewMenu;
    bool m_hasBeenShown = false;
    bool m_hasSavedFrame = false;
    bool m_closingByToggle = false;
    bool m_restoringFrame = false;
};
