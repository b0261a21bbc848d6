#pragma once

// The report's geometry as plain functions: the time mapping, the view's height, the placement
// of rows and pinned group headers, the pixels an event log fills, the read-out label's place,
// and the chooser strip's grips. Everything is in points of the view's coordinates (y grows
// downwards); nothing here paints.

#include "VXValue.h"

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <cstddef>
#include <vector>

namespace VXReportGeometry {

// Rows are 46 points apart when the view sizes itself; two group headers of 30 points each are
// added when applications and pools are both shown; the chooser strip takes 15 points.
inline constexpr qreal kRowPitch = 46.0;
// Rows with text grow with the room they have up to this, so that a row's name and its read-out
// stay close together; what is left stays empty below the rows.
inline constexpr qreal kMaximumRowPitch = 1.5 * kRowPitch;
inline constexpr qreal kHeaderHeight = 30.0;
inline constexpr qreal kGroupHeadersHeight = 2 * kHeaderHeight;
inline constexpr qreal kChooserHeight = 15.0;
inline constexpr qreal kMinimumHeight = 1.0;
inline constexpr qreal kMinimumRowSpacing = 3.0;
// A pinned header's shadow grows with the distance it was moved, up to this.
inline constexpr qreal kMaximumShadowHeight = 15.0;

// A mouse location that is not set.
inline constexpr qreal kNoLocationX = -9999.9;
inline QPointF noLocation()
{
    return QPointF(kNoLocationX, 0.0);
}
inline bool isLocationSet(QPointF location)
{
    return location.x() > -9999.8;
}

// x for a timestamp: its fraction of [start, stop], clamped to 0..1, times the width, rounded
// down. Relative to the visible rectangle's left edge.
qreal xCoordinateForTimestamp(double timestamp, double start, double stop, qreal width);
// The timestamp at x: the fraction x / width, clamped to 0..1, of [start, stop].
double timestampForX(qreal x, double start, double stop, qreal width);

// The view's height: 46 per row (1 when there are none), 60 more for two group headers, 15
// more for the chooser strip; the content height when that is larger.
qreal reportHeight(std::size_t rowCount, bool applicationsAndPools, bool chooser, qreal contentHeight);

// A group header as drawn: where, whether it gets a border along its top, and the height of the
// shadow below it. `shown` is false when the layout has no such header.
struct HeaderPlacement {
    bool shown = false;
    QRectF rect;
    bool topBorder = false;
    qreal shadowHeight = 0.0;
};

struct RowLayout {
    // One rectangle per entry, in the entries' order (the first entry is the top row).
    std::vector<QRectF> rows;
    HeaderPlacement applicationsHeader;
    HeaderPlacement poolsHeader;
};

// Places `count` rows in `rowsRect`, the first `applicationCount` being application rows and
// the rest pool rows. With headers (text included and both groups shown) 30-point bands go
// above the first application row and between the groups, and the rows share what is left:
// each gets floor(available / count) points, at most kMaximumRowPitch, the top rowSpacing() of
// them left empty. Rows are stacked from the bottom up; what does not divide evenly stays at the
// top, below the applications header, and what rows at their tallest leave stays empty at the
// bottom. A single row fills the rectangle (with text up to kMaximumRowPitch). Without text the
// rows are packed tightly and spread over the whole height. Headers are pinned to `visibleTop`
// (see pinHeaders).
RowLayout layoutRows(const QRectF &rowsRect, std::size_t count, std::size_t applicationCount, bool includeText,
                     bool withHeaders, qreal visibleTop);

// The empty band between two rows of the given pitch.
qreal rowSpacing(qreal pitch);

// Pinned headers: a header whose natural place lies above the visible top is drawn at the
// visible top with a shadow as high as it was moved (at most 15). The pools header pushes the
// applications header upwards: that one never lies less than 30 points above the pools header,
// and has no shadow while pushed. A header more than 0.9 points below the visible top gets a
// border along its top.
void pinHeaders(qreal applicationsNaturalY, qreal poolsNaturalY, qreal left, qreal width, qreal visibleTop,
                HeaderPlacement *applications, HeaderPlacement *pools);

// The channel of one event log in natural time, as the rectangles to fill in row rectangle `r`
// for the shown range [begin, end]: one per closed period, where a period shorter than a point
// shows as a 1-point tick once it and the periods before it in the same pixel column add up to
// more than 0.09 points. Rectangles that touch or overlap are merged into one (the channel's
// colour is opaque, so that changes no pixel). With emboss each is first widened by 1 point on
// both sides. Appends to `out`.
void appendNaturalChannelRects(const VXArray &eventLog, double begin, double end, const QRectF &r, bool emboss,
                               std::vector<QRectF> *out);

// Where a walk over a channel's log can pick up again: at the closing that began the last column
// (index), the period's opening then (prev), the number before the closing (checked on picking
// up), the fills made before that column with the last of them as it stood then, the scale of
// the walk, and the smallest scale at which the columns before it and the place of its own first
// period come out the same. Index 0: none.
struct ChannelWalkPoint {
    std::size_t index = 0;
    double prev = -1.0;
    double numberBefore = 0.0;
    std::size_t fillCount = 0;
    QRectF lastFill;
    double scale = 0.0;
    double holdsDownTo = 0.0;
};

// The walk behind appendNaturalChannelRects(), with `scale` points per second. With a point, `out`
// holds the fills of an earlier walk of the same log in the same row rectangle from the same
// begin (or nothing, with an empty point): the walk picks up at the point when the log still
// holds the number before it (a log changes only at its end, as the clip cache changes it:
// VXReportEventLogs.h) and the scale lies between the point's smallest and its own (the range's
// end moved on, but not so far that an earlier column changes: in a long range that is rare), and
// otherwise starts over with `out` cleared; it leaves the point of its own last column in
// `point`. Either way the fills are those of a walk from the start. True when it picked up (the
// fills before the point's count less one are as they were).
bool walkNaturalChannel(const VXArray &eventLog, double begin, double scale, const QRectF &r, bool emboss,
                        std::vector<QRectF> *out, ChannelWalkPoint *point);

// The summed length of the closed periods of an event log (repeated openings or closings count
// once, as in the drawing).
double eventLogDuration(const VXArray &eventLog);

// The time-portions bar: floor(total * width / D), D being the normalising interval when that
// is above -0.1 and the range otherwise.
qreal normalizedBarWidth(double total, double normalizingInterval, double range, qreal width);

// The largest "Time" (when total activity is drawn) or "Front Time" (otherwise) above 0.1
// seconds among the entries; -1 when there is none or when neither activity is drawn.
double normalizingInterval(const VXArray &eventLogs, bool drawTotalActivity, bool drawFrontActivity);

// The whole number part of time * 100 / range, truncated toward zero.
unsigned long percentage(double time, double range);

// The row's read-out: foreground and total time, with or without percentages of the range.
QString rowText(double frontTime, double time, double range, bool includeFront, bool includeTotal,
                bool showPercentages);

// The read-out label's rectangle for a label of `labelSize` at mouse x in `area`: centred on the
// mouse, 3 points above the area's bottom, at least 8 points inside its left and right edges;
// near the right edge it stands left of the mouse line, 10 points away from it.
QRectF mouseLabelRect(qreal mouseX, QSizeF labelSize, const QRectF &area);

// What a press in the chooser strip grabs. bx and ex are the strip's x for begin and end. The
// grip is a quarter of the shown part, at most 8 points, and none (-1) below 2.
enum class DragMode { None, Select, Begin, End, Move };
qreal chooserGrip(qreal bx, qreal ex);
// Begin or End for a press on a grip (the nearer side of the range in time: end when the time
// at the press is at least as close to end as to begin), Move between the grips.
DragMode chooserPressMode(qreal x, qreal bx, qreal ex, double pressTimestamp, double begin, double end);

// The range after moving it: begin follows the mouse by (t - pressTimestamp), kept within
// [first, last - span]; end is begin + span.
void movedRange(double t, double pressTimestamp, double begin0, double span, double first, double last, double *begin,
                double *end);

}   // namespace VXReportGeometry
