#include "VXReportGeometry.h"

#include "VXConfigurationKeys.h"
#include "VXSorting.h"
#include "VXStringExtensions.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace VXReportGeometry {

namespace {

// The row read-outs, by the activities a row shows and whether percentages are on.
constexpr char kFrontAndTotalPercentFormat[]
    = QT_TRANSLATE_NOOP("VXReportView", "Foreground: %@ (%lu%%) - Total: %@ (%lu%%)");
constexpr char kFrontAndTotalFormat[] = QT_TRANSLATE_NOOP("VXReportView", "Foreground: %@ (Total: %@)");
constexpr char kTotalPercentFormat[] = QT_TRANSLATE_NOOP("VXReportView", "Total: %@ (%lu%%)");
constexpr char kTotalFormat[] = QT_TRANSLATE_NOOP("VXReportView", "Total: %@");
constexpr char kFrontPercentFormat[] = QT_TRANSLATE_NOOP("VXReportView", "Foreground: %@ (%lu%%)");
constexpr char kFrontFormat[] = QT_TRANSLATE_NOOP("VXReportView", "Foreground: %@");

QString translated(const char *format)
{
    return QCoreApplication::translate("VXReportView", format);
}

bool isOpening(double value)
{
    return value > 0.0;
}

}   // namespace

qreal xCoordinateForTimestamp(double timestamp, double start, double stop, qreal width)
{
    double fraction = (timestamp - start) / (stop - start);
    if (!(fraction > 0.0))   // also an empty span (NaN)
        fraction = 0.0;
    else if (fraction > 1.0)
        fraction = 1.0;
    return VXFloorCGFloat(fraction * width);
}

double timestampForX(qreal x, double start, double stop, qreal width)
{
    double fraction = width > 0.0 ? x / width : 0.0;
    if (!(fraction > 0.0))
        fraction = 0.0;
    else if (fraction > 1.0)
        fraction = 1.0;
    return start + fraction * (stop - start);
}

qreal reportHeight(std::size_t rowCount, bool applicationsAndPools, bool chooser, qreal contentHeight)
{
    qreal height = rowCount > 0 ? kRowPitch * qreal(rowCount) : kMinimumHeight;
    if (applicationsAndPools)
        height += kGroupHeadersHeight;
    if (chooser)
        height += kChooserHeight;
    return height > contentHeight ? height : contentHeight;
}

qreal rowSpacing(qreal pitch)
{
    // Three points between rows of the usual pitch; a little more for very tall rows.
    return std::max(kMinimumRowSpacing, std::floor(pitch / 16.0));
}

void pinHeaders(qreal applicationsNaturalY, qreal poolsNaturalY, qreal left, qreal width, qreal visibleTop,
                HeaderPlacement *applications, HeaderPlacement *pools)
{
    HeaderPlacement p;
    p.shown = true;
    qreal poolsY = poolsNaturalY;
    if (visibleTop > poolsNaturalY) {
        poolsY = visibleTop;
        p.shadowHeight = std::min(visibleTop - poolsNaturalY, kMaximumShadowHeight);
    }
    p.rect = QRectF(left, poolsY, width, kHeaderHeight);
    p.topBorder = poolsY - visibleTop > 0.9;

    HeaderPlacement a;
    a.shown = true;
    qreal applicationsY = applicationsNaturalY;
    if (visibleTop > applicationsNaturalY) {
        applicationsY = visibleTop;
        a.shadowHeight = std::min(visibleTop - applicationsNaturalY, kMaximumShadowHeight);
    }
    const qreal limit = poolsY - kHeaderHeight;
    if (applicationsY > limit) {
        applicationsY = limit;
        a.shadowHeight = 0.0;
    }
    a.rect = QRectF(left, applicationsY, width, kHeaderHeight);
    a.topBorder = applicationsY - visibleTop > 0.9;

    if (applications)
        *applications = a;
    if (pools)
        *pools = p;
}

RowLayout layoutRows(const QRectF &rowsRect, std::size_t count, std::size_t applicationCount, bool includeText,
                     bool withHeaders, qreal visibleTop)
{
    RowLayout layout;
    if (count == 0)
        return layout;
    layout.rows.resize(count);
    if (count == 1) {
        // A single row fills the rectangle; one with text only up to the tallest row, so that its
        // name and read-out stay together.
        layout.rows[0] = rowsRect;
        if (includeText)
            layout.rows[0].setHeight(std::min(rowsRect.height(), kMaximumRowPitch));
        return layout;
    }

    if (!includeText) {
        // Small renderings (tray, taskbar icon, desktop): every row gets its share of the whole
        // height, boundaries on whole points, one point apart only when there is room.
        const qreal pitch = rowsRect.height() / qreal(count);
        const qreal spacing = pitch >= 6.0 ? 1.0 : 0.0;
        for (std::size_t i = 0; i < count; ++i) {
            const qreal top = rowsRect.top() + std::floor(qreal(i) * pitch);
            const qreal bottom = i + 1 == count ? rowsRect.bottom() : rowsRect.top() + std::floor(qreal(i + 1) * pitch);
            layout.rows[i] = QRectF(rowsRect.left(), top + spacing, rowsRect.width(), bottom - top - spacing);
        }
        return layout;
    }

    withHeaders = withHeaders && applicationCount > 0 && applicationCount < count;
    const qreal available = rowsRect.height() - (withHeaders ? kGroupHeadersHeight : 0.0);
    const qreal share = std::max<qreal>(0.0, std::floor(available / qreal(count)));
    const qreal pitch = std::min(share, kMaximumRowPitch);
    const qreal spacing = rowSpacing(pitch);

    // Rows at their tallest leave the rest of the rectangle empty below them.
    qreal y = share > pitch ? rowsRect.top() + (withHeaders ? kGroupHeadersHeight : 0.0) + pitch * qreal(count)
                            : rowsRect.bottom();
    qreal poolsNaturalY = 0.0;
    for (std::size_t i = count; i-- > 0;) {
        if (withHeaders && i + 1 == applicationCount) {
            y -= kHeaderHeight;
            poolsNaturalY = y;
        }
        const qreal top = y - pitch;
        layout.rows[i] = QRectF(rowsRect.left(), top + spacing, rowsRect.width(), pitch - spacing);
        y = top;
    }
    if (withHeaders)
        pinHeaders(rowsRect.top(), poolsNaturalY, rowsRect.left(), rowsRect.width(), visibleTop,
                   &layout.applicationsHeader, &layout.poolsHeader);
    return layout;
}

void appendNaturalChannelRects(const VXArray &eventLog, double begin, double end, const QRectF &r, bool emboss,
                               std::vector<QRectF> *out)
{
    const double range = end - begin;
    if (!(range > 0.0))
        return;
    walkNaturalChannel(eventLog, begin, (r.width() + 1.0) / range, r, emboss, out, nullptr);
}

bool walkNaturalChannel(const VXArray &eventLog, double begin, double scale, const QRectF &r, bool emboss,
                        std::vector<QRectF> *out, ChannelWalkPoint *point)
{
    const VXArray::Numbers items = eventLog.numbers();
    const auto numberAt = [items](std::size_t i) { return items[i]; };
    std::size_t start = 0;
    double prev = -1.0;
    // The scale below which a column before the one being walked would change.
    double holdsDownTo = 0.0;
    bool pickedUp = false;
    if (point) {
        // Picks up where the last column began, when the numbers before it are still there and
        // the columns before it come out the same at this scale.
        if (point->index > 0 && point->index < items.size() && numberAt(point->index - 1) == point->numberBefore
            && point->fillCount <= out->size() && scale <= point->scale && scale >= point->holdsDownTo) {
            out->resize(point->fillCount);
            if (!out->empty())
                out->back() = point->lastFill;
            start = point->index;
            prev = point->prev;
            holdsDownTo = point->holdsDownTo;
            pickedUp = true;
        } else {
            out->clear();
        }
        *point = ChannelWalkPoint();
    }
    if (items.size() == 0 || !(scale > 0.0))
        return pickedUp;
    // A year's row holds thousands of periods for a few hundred columns: the walk reads the
    // numbers in place, tells columns apart by their whole number, and makes one rectangle per
    // column when it leaves it. Within a column the sum only grows (clipped periods are closed
    // and in order), so its last rectangle holds every earlier one.
    // The column of the periods being added up: a whole number from 0 (the usual case), or, for
    // one left of the range or beyond 2^52, -1 with the column in `otherX`. None before the first.
    std::int64_t column = -1;
    double otherX = -1.0;
    double acc = 0.0;
    // The column's seconds.
    double seconds = 0.0;
    // A smaller scale (the range's end moved on) moves a column's periods left and shrinks its
    // sum: a column holds down to the scale that would move its first period into the column on
    // its left, and to the one that would take its sum below what makes its width (both kept a
    // little above, against rounding). A column past 2^52 points holds at no other scale.
    constexpr double kMargin = 1.0 + 1e-9;
    double columnHoldsDownTo = 0.0;
    const auto sumHoldsDownTo = [&] {
        const double least = acc >= 2.0 ? std::floor(acc) : acc > 0.09 ? 0.09 : 0.0;
        return least > 0.0 ? least / seconds * kMargin : 0.0;
    };
    const auto fill = [&] {
        holdsDownTo = std::max({holdsDownTo, columnHoldsDownTo, sumHoldsDownTo()});
        if (!(acc > 0.09))
            return;
        const double x = column >= 0 ? double(column) : otherX;
        QRectF rect(r.x() + x, r.y(), acc < 1.1 ? 1.0 : std::floor(acc), r.height());
        if (emboss)
            rect.adjust(-1.0, 0.0, 1.0, 0.0);
        // Rectangles that touch or overlap are merged (the channel's colour is opaque).
        if (!out->empty()) {
            QRectF &last = out->back();
            if (last.top() == rect.top() && last.height() == rect.height() && rect.left() <= last.right()
                && rect.right() >= last.left()) {
                last.setLeft(std::min(last.left(), rect.left()));
                last.setRight(std::max(last.right(), rect.right()));
                return;
            }
        }
        out->push_back(rect);
    };
    bool pending = false;
    for (std::size_t i = start; i < items.size(); ++i) {
        const double v = numberAt(i);
        if (isOpening(v) == isOpening(prev))
            continue;
        if (isOpening(v)) {
            prev = v;
            continue;
        }
        const double w = scale * (-v - prev);
        const double position = (prev - begin) * scale;
        // Periods on the same pixel column add up, so that runs of short ones stay visible.
        // Columns left of the range never gather periods (nor, here, columns past 2^52 points).
        bool sameColumn;
        if (position >= 0.0 && position < 4503599627370496.0) {
            const auto x = std::int64_t(position);   // the floor, exactly
            sameColumn = x == column;
            if (!sameColumn && pending)
                fill();
            column = x;
        } else {
            const double x = std::floor(position);
            sameColumn = false;
            if (pending)
                fill();
            column = -1;
            otherX = x;
        }
        if (!sameColumn) {
            seconds = 0.0;
            const double offset = prev - begin;
            if (column > 0)
                columnHoldsDownTo = double(column) / offset * kMargin;
            else if (column < 0 && position < 0.0)
                columnHoldsDownTo = otherX + 1.0 < 0.0 ? (otherX + 1.0) / offset * kMargin : 0.0;
            else
                columnHoldsDownTo = column == 0 ? 0.0 : scale;
            // The walk may pick up here while the columns before this one hold, and this one's
            // first period stays in it.
            if (point)
                *point = {i,
                          prev,
                          numberAt(i - 1),
                          out->size(),
                          out->empty() ? QRectF() : out->back(),
                          scale,
                          std::max(holdsDownTo, columnHoldsDownTo)};
        }
        acc = sameColumn ? acc + w : w;
        seconds += -v - prev;
        pending = true;
        prev = v;
    }
    if (pending)
        fill();
    return pickedUp;
}

double eventLogDuration(const VXArray &eventLog)
{
    double prev = -1.0;
    double total = 0.0;
    for (const VXValue &number : eventLog) {
        const double v = number.toDouble();
        if (isOpening(v) == isOpening(prev))
            continue;
        if (!isOpening(v))
            total += -v - prev;
        prev = v;
    }
    return total;
}

qreal normalizedBarWidth(double total, double normalizingInterval, double range, qreal width)
{
    const double d = normalizingInterval > -0.1 ? normalizingInterval : range;
    if (!(d > 0.0))
        return 0.0;
    return std::floor(total * width / d);
}

double normalizingInterval(const VXArray &eventLogs, bool drawTotalActivity, bool drawFrontActivity)
{
    if (!drawTotalActivity && !drawFrontActivity)
        return -1.0;
    const QString &key = drawTotalActivity ? VXTimeKey : VXFrontTimeKey;
    double largest = -1.0;
    for (const VXValue &entry : eventLogs) {
        const VXDictionary *dictionary = entry.dictionary();
        if (!dictionary)
            continue;
        const double time = dictionary->value(key).toDouble();
        if (time > 0.1 && time > largest)
            largest = time;
    }
    return largest;
}

unsigned long percentage(double time, double range)
{
    if (!(range > 0.0))
        return 0;
    const double value = std::trunc(time * 100.0 / range);
    if (!(value > 0.0))
        return 0;
    if (value >= 4294967295.0)
        return 4294967295UL;
    return static_cast<unsigned long>(value);
}

QString rowText(double frontTime, double time, double range, bool includeFront, bool includeTotal, bool showPercentages)
{
    const auto number = [](unsigned long value) { return QString::number(value); };
    if (includeFront == includeTotal) {
        if (showPercentages)
            return VXFillFormat(translated(kFrontAndTotalPercentFormat),
                                {stringWithTimeInterval(frontTime, false), number(percentage(frontTime, range)),
                                 stringWithTimeInterval(time, false), number(percentage(time, range))});
        return VXFillFormat(translated(kFrontAndTotalFormat),
                            {stringWithTimeInterval(frontTime, false), stringWithTimeInterval(time, false)});
    }
    if (includeTotal) {
        if (showPercentages)
            return VXFillFormat(translated(kTotalPercentFormat),
                                {stringWithTimeInterval(time, false), number(percentage(time, range))});
        return VXFillFormat(translated(kTotalFormat), {stringWithTimeInterval(time, false)});
    }
    if (showPercentages)
        return VXFillFormat(translated(kFrontPercentFormat),
                            {stringWithTimeInterval(frontTime, false), number(percentage(frontTime, range))});
    return VXFillFormat(translated(kFrontFormat), {stringWithTimeInterval(frontTime, false)});
}

QRectF mouseLabelRect(qreal mouseX, QSizeF labelSize, const QRectF &area)
{
    const qreal w = labelSize.width();
    const qreal h = labelSize.height();
    qreal x = std::floor(mouseX - w / 2.0);
    if (x + w > area.right() - 8.0)
        x = mouseX - 10.0 - w;
    if (x < area.left() + 8.0)
        x = area.left() + 8.0;
    const qreal y = std::floor(area.bottom() - 3.0 - h);
    return QRectF(x, y, w, h);
}

qreal chooserGrip(qreal bx, qreal ex)
{
    qreal grip = std::floor((ex - bx) / 4.0);
    if (grip > 8.0)
        grip = 8.0;
    return grip < 2.0 ? -1.0 : grip;
}

DragMode chooserPressMode(qreal x, qreal bx, qreal ex, double pressTimestamp, double begin, double end)
{
    const qreal grip = chooserGrip(bx, ex);
    if (x <= bx + grip || x >= ex - grip)
        return std::abs(pressTimestamp - end) <= std::abs(pressTimestamp - begin) ? DragMode::End : DragMode::Begin;
    return DragMode::Move;
}

void movedRange(double t, double pressTimestamp, double begin0, double span, double first, double last, double *begin,
                double *end)
{
    double b = t + begin0 - pressTimestamp;
    if (b < first)
        b = first;
    else if (b > last - span)
        b = last - span;
    if (begin)
        *begin = b;
    if (end)
        *end = b + span;
}

}   // namespace VXReportGeometry
