#pragma once

// The windows' icon (what taskbars show) as the live report: while "Show Activity Report In
// Dock" is on in windowed mode, the "Report" picture with the report drawn into it, redrawn every
// 5 seconds; without it the program's icon, or the fixed "Report" picture with "Fall Back To Fake
// Activity Report In Dock"; the program's icon in grey while hibernating. Nothing is drawn and
// nothing is scheduled unless the live report is shown, and the icon is set only when it changes.

#include <QIcon>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>

class VXReportView;
class VXScheduler;
class VXUserDefaults;

class VXTaskbarReportIcon : public QObject
{
    Q_OBJECT
public:
    static inline const QString kShowInDockKey = QStringLiteral("Show Activity Report In Dock");
    static inline const QString kFallBackToFakeKey = QStringLiteral("Fall Back To Fake Activity Report In Dock");
    // Seconds between two drawings of the live report.
    static constexpr double kRefreshInterval = 5.0;
    // The picture's size in points.
    static constexpr int kPoints = 128;

    enum class Kind { None, ProgramIcon, GreyProgramIcon, FakeReport, LiveReport };

    VXTaskbarReportIcon(VXUserDefaults &defaults, VXScheduler &scheduler, QObject *parent = nullptr);
    ~VXTaskbarReportIcon() override;

    // The live report's view (not owned); without one the fixed picture stands in for it.
    void setReportView(VXReportView *view);
    // Windowed mode (the taskbar shows the program's windows) or tray mode.
    void setWindowedMode(bool windowed);
    void setHibernating(bool hibernating);

    // Sets the icon for the current settings and state; while it shows the live report, again
    // after kRefreshInterval (drawn again only when the report changed). Cancels a pending
    // refresh first.
    void updateIcon();

    Kind kind() const { return m_kind; }
    // The last live picture drawn (null when none).
    const QImage &liveImage() const { return m_liveImage; }

    // The "Report" picture with the view's report drawn into its sheet, at a device pixel ratio.
    static QImage renderReportImage(VXReportView *view, qreal devicePixelRatio);
    // A view that cannot be seen is not rebuilt by the ticks: it is rebuilt before a drawing.
    static void refreshHiddenView(VXReportView *view);

private:
    // Sets the icon of a kind other than the live report, when it is not already set.
    void apply(Kind kind);

    VXUserDefaults &m_defaults;
    VXScheduler &m_scheduler;
    QPointer<VXReportView> m_view;
    bool m_windowed = false;
    bool m_hibernating = false;
    Kind m_kind = Kind::None;
    QImage m_liveImage;
    // The view's revision that m_liveImage shows.
    quint64 m_liveRevision = 0;
};
