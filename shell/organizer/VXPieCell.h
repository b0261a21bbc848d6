#pragma once

// A time cell of the organizer lists: a pie of the item's share of the list's overall time in
// the pie colour (white on a selected row), and the duration beside it.

#include <QFont>
#include <QStyledItemDelegate>

#include <array>

class VXPieCell final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // Draws the pie of `fraction` (0 to 1) in the rectangle.
    static void drawPie(QPainter &painter, const QRectF &rect, double fraction, const QColor &color);
    // The width a cell takes besides its text: the pie and the gaps around both.
    static int widthBesidesText();
    // The text as drawn in `width` pixels: elided on the left when it does not fit.
    QString textToDraw(const QFont &font, const QString &text, int width) const;

private:
    // Whether the text fits the width as it is, told from its characters' advances (kept per
    // font) without shaping it; false when that cannot be told.
    bool fitsUnelided(const QFont &font, const QFontMetrics &metrics, const QString &text, int width) const;

    struct Advances {
        bool measured = false;
        QFont font;
        std::array<int, 128> byUnit {};   // -1: not measured yet
        int widest = 0;
    };
    mutable std::array<Advances, 2> m_advances;
    mutable std::size_t m_nextAdvances = 0;
};
