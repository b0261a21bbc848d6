#pragma once

// The live report on the desktop: while "Show Activity Report On Desktop" is on, a frameless
// window over the available area of the primary screen, kept below all other windows, at the
// opacity "Show Activity Report On Desktop: Alpha", redrawn every 5 seconds and refitted when the
// screens change; when it is turned off the window fades out and closes. Nothing is drawn,
// scheduled or watched while it is off.

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class QPropertyAnimation;
class QScreen;
class VXFullscreenReportWindow;
class VXReportView;
class VXScheduler;
class VXUserDefaults;

class VXDesktopReport : public QObject
{
    Q_OBJECT
public:
    static inline const QString kShowOnDesktopKey = QStringLiteral("Show Activity Report On Desktop");
    static constexpr double kRefreshInterval = 5.0;

    VXDesktopReport(VXUserDefaults &defaults, VXScheduler &scheduler, QObject *parent = nullptr);
    ~VXDesktopReport() override;

    // The live report's view (not owned).
    void setReportView(VXReportView *view);

    // Shows, refits and redraws the window for the settings (the picture only when the report or
    // the window's size changed), again after kRefreshInterval while it is on; or lets it vanish.
    // Cancels a pending refresh first.
    void updateIcon();

    // The window while it exists (null before the first showing).
    VXFullscreenReportWindow *window() const { return m_window.get(); }
    bool isShown() const;

private:
    void watchScreens(bool watch);
    void vanish();

    VXUserDefaults &m_defaults;
    VXScheduler &m_scheduler;
    QPointer<VXReportView> m_view;
    // The view's revision that the window's picture shows.
    quint64 m_drawnRevision = 0;
    // Two pictures in turn: the window shows one while the next is drawn into the other, so a
    // refresh neither allocates a screen's worth of memory nor copies the one shown.
    QImage m_canvases[2];
    int m_nextCanvas = 0;
    std::unique_ptr<VXFullscreenReportWindow> m_window;
    QPropertyAnimation *m_fade = nullptr;
    QList<QMetaObject::Connection> m_screenConnections;
};
