#pragma once

// A time cell of the organizer lists: a pie of the item's share of the list's overall time in
// the pie colour (white on a selected row), and the duration beside it.

#include <QStyledItemDelegate>

class VXPieCell final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // Draws the pie of `fraction` (0 to 1) in the rectangle.
    static void drawPie(QPainter &painter, const QRectF &rect, double fraction, const QColor &color);
};
