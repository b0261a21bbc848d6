#pragma once

// The drawing of a report: one row per shown item (application, window, pool, pool member),
// either along a time axis (time lapse) or as shares of the longest item (time portions), with
// pinned group headers, a strip for choosing the range within all data, and a read-out of the
// time under the mouse. The view keeps a small model that update(QObject *) rebuilds from its
// delegate; it holds no event data of its own between rebuilds, only, for the renderings without
// text, each channel's fills of the last drawing, so that a drawing after a tick walks only the
// last column of each log.
//
// It lives inside a QScrollArea (as the scroll area's widget, not resized by it): it sizes itself
// to its rows (46 points each) and to the scroll area's viewport, and draws only the rows that
// intersect the visible part. The same drawing routine renders the report without text for the
// tray panel, the taskbar icon and the desktop report (drawReportInBounds with includeText off).

#include "VXReportGeometry.h"
#include "VXReportViewDelegate.h"
#include "VXValue.h"

#include <QPointF>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <memory>
#include <vector>

class QMenu;
class QPainter;

// Settings read by the view (user defaults, VXUserDefaults::standard()).
namespace VXReportViewKey {
// Row texts carry percentages of the shown range.
inline const QString kReportsShowPercentages = QStringLiteral("Reports Show Percentages");
// A vertical line follows the mouse over the rows.
inline const QString kIndicatorLineTracksMouse = QStringLiteral("Indicator Line Tracks Mouse");
// The rows area reads out the time under the mouse (without it only the chooser strip does).
inline const QString kShowTimeAtMouseLocation = QStringLiteral("Show Time At Mouse Location");
}   // namespace VXReportViewKey

// One drawn row: its entry and where it was drawn (view coordinates).
struct VXEventLogRect {
    VXDictionaryRef log;
    QRectF rect;
};

class VXReportView : public QWidget
{
    Q_OBJECT
public:
    // How a press on the view drags: a new range on the rows, or the chooser strip's begin edge,
    // end edge or whole range.
    using DragMode = VXReportGeometry::DragMode;

    explicit VXReportView(QWidget *parent = nullptr);
    ~VXReportView() override;

    // Repaint scheduling stays QWidget's; update(QObject *) rebuilds the model.
    using QWidget::update;

    // Rebuilds the model (range, clipped entries, groups, chooser strip) from the delegate and
    // sets the view's size, then schedules a repaint. Without a delegate it does nothing. A
    // non-null sender first cancels a pending deferred resize (a viewport resize only resizes).
    void update(QObject *sender);

    // Rebuilds as update(nullptr) does, unless the model is still current: the delegate answers
    // the range and the data's bounds of the last rebuild, and no setting changed since. For a
    // view that nothing else keeps current (a hidden live report drawn into the taskbar icon or
    // onto the desktop). The data source must move its last timestamp whenever its records change,
    // as the live record does: every tick stamps it, the forced tick after an edit included.
    void updateUnlessCurrent();

    // Changes whenever the drawing may change: on every rebuild, with a new delegate or overlay
    // message, a change of any setting or of the theme; unique among all views. Equal revisions
    // draw the same report into the same rectangle, so a picture of it can be kept.
    quint64 revision() const;

    void setDelegate(VXReportViewDelegate *delegate);
    VXReportViewDelegate *delegate() const { return m_delegate; }

    // A message (with a subtitle under it) drawn over a report that has no rows to show, such as
    // "No activity" for an empty range; an empty message draws nothing.
    void setOverlayMessage(const QString &message, const QString &subtitle = QString());
    QString overlayMessage() const;
    QString overlaySubtitle() const;

    // A widget shown while a non-empty range is displayed and hidden otherwise (not owned).
    void setDirectionIndicator(QWidget *directionIndicator);
    QWidget *directionIndicator() const;

    // The one drawing routine: fills `bounds` with the colour scheme's background and draws the
    // rows (only those intersecting `visibleRect`) with their headers, read-out and chooser strip
    // when text is included. Without details (while animating) labels are left out. With
    // `balanceScroller` the header titles are centred over the visible width plus that much
    // (the room a vertical scroll bar takes); -1 for renderings without text. When
    // `storeRects` is given, every drawn row is appended to it.
    void drawReportInBounds(QPainter &painter, const QRectF &bounds, const QRectF &visibleRect, bool emboss,
                            bool includeText, bool includeDetails, qreal balanceScroller,
                            std::vector<VXEventLogRect> *storeRects);

    // The report without text, details or rectangle store, upright in `rect` whichever way the
    // painter's y axis runs (a painter whose transform turns y upwards, as image code written
    // for y-up coordinates sets up, is flipped back for the drawing).
    void drawFlippedAndSimplifiedReportInRect(QPainter &painter, const QRectF &rect, bool emboss);

    // The entry of the first row of the last full drawing whose rectangle contains the point;
    // null when none does.
    VXDictionaryRef eventLogAtLocation(QPointF location) const;

    // The context menu for a press at `location`: the delegate's menu for the entry under it, or
    // null when there is no entry or no menu. contextMenuEvent() shows it.
    std::unique_ptr<QMenu> menuForEvent(QPointF location);

    // The time mapping over the visible rectangle's width, between first and last timestamp
    // (the chooser strip) or between begin and end (the rows). x is relative to the visible
    // rectangle's left edge.
    qreal xCoordinateForTimestamp(double timestamp, const QRectF &visibleRect,
                                  bool checkTimestampIntervalChooser) const;
    double timestampForMouseLocation(QPointF location, const QRectF &visibleRect,
                                     bool checkTimestampIntervalChooser) const;

    // The part of the view that is visible in its scroll area (the whole view when it has none).
    QRectF visibleRect() const;

    // The model, as the last rebuild left it.
    double beginTimestamp() const { return m_beginTimestamp; }
    double endTimestamp() const { return m_endTimestamp; }
    double firstTimestamp() const { return m_firstTimestamp; }
    double lastTimestamp() const { return m_lastTimestamp; }
    const VXArrayRef &eventLogs() const { return m_eventLogs; }
    bool containsApplications() const { return m_containsApplications; }
    bool containsPools() const { return m_containsPools; }
    bool showTimestampIntervalChooser() const { return m_showTimestampIntervalChooser; }
    // The rows of the last full drawing.
    const std::vector<VXEventLogRect> &eventLogRects() const { return m_eventLogRects; }

    // The mouse state: a location is "none" when its x is at or below -9999.8.
    QPointF mouseTrackLocation() const { return m_mouseTrackLocation; }
    QPointF mouseDownLocation() const { return m_mouseDownLocation; }
    QPointF mouseDragLocation() const { return m_mouseDragLocation; }
    bool mouseTrackLocationIsInTimestampIntervalChooser() const
    {
        return m_mouseTrackLocationIsInTimestampIntervalChooser;
    }
    DragMode dragMode() const { return m_dragMode; }
    bool isAnimating() const { return m_isAnimating; }

    // Where the mouse read-out's label was last drawn (view coordinates); empty when none was.
    QRectF lastMouseLabelRect() const { return m_lastMouseLabelRect; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    // The drawing steps of drawReportInBounds(): one row, one channel of a row, the chooser
    // strip, and the mouse read-out or selection span.
    void drawEventLog(QPainter &painter, const VXDictionary &eventLog, bool includeTotalActivity,
                      bool includeFrontActivity, bool inNaturalTime, double normalizedToInterval, QRectF inRect,
                      int colorScheme, bool emboss, bool includeText);
    void drawEventLogChannel(QPainter &painter, const VXArrayRef &log, bool inNaturalTime, double normalizedToInterval,
                             const QColor &color, const QRectF &inRect, bool emboss);
    void drawTimestampIntervalChooser(QPainter &painter, const QRectF &visibleRect, int colorScheme);
    void drawMouseSpanOrMouseLocation(QPainter &painter, const QRectF &visibleRect, int colorScheme);
    void drawMouseLocationInVisibleRect(QPainter &painter, const QRectF &visibleRect, bool drawTimeDescription);
    void drawReadOut(QPainter &painter, qreal x, const QRectF &area, const QRectF &visibleRect, bool inChooser,
                     bool drawLine, bool drawTimeDescription);
    QRectF timestampIntervalChooserRect(const QRectF &visibleRect) const;
    QRectF rowsArea(const QRectF &visibleRect) const;

    // Sizes the view to its rows and to the scroll area's viewport.
    void resizeToContent();
    // Follows the settings store of the moment: its changes mark the model and the drawing stale.
    void watchDefaults();
    bool locationIsInTimestampIntervalChooser(QPointF location) const;
    void trackMouse(QPointF location, bool entering);
    void setMouseDownLocation(QPointF location);
    void tellRange(double begin, double end);
    void zoomToRange(double lo, double hi);

    struct Private;
    std::unique_ptr<Private> d;

    VXReportViewDelegate *m_delegate = nullptr;
    VXArrayRef m_eventLogs;
    std::vector<VXEventLogRect> m_eventLogRects;
    double m_beginTimestamp = 0.0;
    double m_endTimestamp = 0.0;
    double m_firstTimestamp = 0.0;
    double m_lastTimestamp = 0.0;
    bool m_containsApplications = false;
    bool m_containsPools = false;
    bool m_showTimestampIntervalChooser = false;
    QPointF m_mouseTrackLocation;
    QPointF m_mouseDownLocation;
    QPointF m_mouseDragLocation;
    bool m_mouseTrackLocationIsInTimestampIntervalChooser = false;
    bool m_isAnimating = false;
    bool m_isTrackingAreaRegistrationScheduled = false;
    DragMode m_dragMode = DragMode::None;
    QRectF m_lastMouseLabelRect;
};
