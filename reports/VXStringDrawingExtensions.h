#pragma once

// Drawing helpers on texts: a label fitted into a rectangle of a report, and the small icons of
// items (applications by path, windows and pools by their markers). Main thread only: the shared
// attributes and the icon caches are not guarded.

#include <QColor>
#include <QFont>
#include <QPixmap>
#include <QPointF>
#include <QRectF>
#include <QString>

class QPainter;

// How a fitted label is drawn. fitAndDrawText() overwrites `font` and `color` on every call.
struct VXTextAttributes {
    Qt::Alignment alignment = Qt::AlignHCenter;
    Qt::TextElideMode elideMode = Qt::ElideRight;
    // A shadow drawn behind the text when valid.
    QColor shadowColor;
    QPointF shadowOffset {0.0, 1.0};
    QFont font;
    QColor color;
};

// Draws the text centred vertically in `rect` at the largest whole size that fits: the width at
// size 20 scaled to 17/20 of the rectangle's width (at most `maximumSize` when that is above 0),
// unless that is larger than the size fitting the height the same way or its line is taller
// than the rectangle; never below 11 (longer texts are then cut at their tail). `weight` is the
// font's weight; without a colour the text is white; without attributes a shared set (centred,
// cut at the tail) is used. Answers the size used, 0 for an empty text.
int scaleToFitAndDrawInRect(const QString &self, QPainter &painter, const QRectF &rect, VXTextAttributes *attributes,
                            int weight, const QColor *color, qreal maximumSize);

// The size scaleToFitAndDrawInRect() would choose, and the height of its line.
int scaleToFitSize(const QString &self, const QSizeF &size, int weight, qreal maximumSize, qreal *textHeight);

// The part of the text a label of that width can show at all: no visible character is narrower
// than a pixel, so a label never shows more characters than its width has pixels. Both functions
// above measure and lay out only this part (the text itself when it is short enough), so that a
// title of many megabytes costs no more than a line of them.
QString labelTextVisibleInWidth(const QString &self, qreal width);

// The item's 16-point icon: "_Window" and "_Pool" give the window and pool images, any other
// text is a path and gives the file's icon; null when there is none (and then not cached).
// Cached per path for the whole run.
QPixmap cached16Icon(const QString &self);
// cached16Icon() when active, else a copy of it at half opacity (cached as well).
QPixmap activeCached16Icon(const QString &self, bool active);
