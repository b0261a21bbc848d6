#include "VXPieCell.h"

#include "VXColorExtensions.h"
#include "VXItemListModel.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kPieSize = 16;
constexpr int kGap = 4;

}   // namespace

void VXPieCell::drawPie(QPainter &painter, const QRectF &rect, double fraction, const QColor &color)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF disc = rect.adjusted(1, 1, -1, -1);
    QColor rim = color;
    rim.setAlphaF(0.75f);
    painter.setPen(QPen(rim, 1.0));
    QColor well = color;
    well.setAlphaF(0.12f);
    painter.setBrush(well);
    painter.drawEllipse(disc);
    if (fraction >= 0.999) {
        painter.setBrush(color);
        painter.drawEllipse(disc);
    } else if (fraction > 0.0) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        // From twelve o'clock, clockwise.
        painter.drawPie(disc, 90 * 16, -int(fraction * 360 * 16));
    }
    painter.restore();
}

void VXPieCell::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    if (index.data(VXItemListModel::IsHeaderRole).toBool())
        opt.state |= QStyle::State_Enabled;
    QStyle *style = opt.widget ? opt.widget->style() : QApplication::style();
    const bool selected = opt.state & QStyle::State_Selected;
    const QVariant fraction = index.data(VXItemListModel::PieFractionRole);

    painter->save();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, opt.widget);
    if (index.data(VXItemListModel::DimmedRole).toBool() && !selected)
        painter->setOpacity(0.5);
    QRect textRect = opt.rect.adjusted(kGap, 0, -kGap, 0);
    if (fraction.isValid()) {
        const QRectF pie(opt.rect.left() + kGap, opt.rect.center().y() - kPieSize / 2.0 + 0.5, kPieSize, kPieSize);
        drawPie(*painter, pie, fraction.toDouble(),
                selected ? QColor(Qt::white) : activePieColor(currentColorScheme()));
        textRect.setLeft(int(pie.right()) + kGap);
    }
    painter->setFont(opt.font);
    painter->setPen(opt.palette.color(opt.state & QStyle::State_Enabled ? QPalette::Normal : QPalette::Disabled,
                                      selected ? QPalette::HighlightedText : QPalette::Text));
    const QString text = opt.fontMetrics.elidedText(opt.text, Qt::ElideLeft, textRect.width());
    painter->drawText(textRect, Qt::AlignRight | Qt::AlignVCenter, text);
    painter->restore();
}

QSize VXPieCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const int width = kGap + kPieSize + kGap + opt.fontMetrics.horizontalAdvance(opt.text) + kGap;
    return QSize(width, std::max(opt.fontMetrics.height(), kPieSize) + 4);
}
