#include "VXItemCell.h"

#include "VXItemListModel.h"
#include "VXOrganizerIcons.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kIconSize = 16;
constexpr int kRowPadding = 4;

}   // namespace

QRect VXItemCell::infoIconRect(const QRect &cellRect)
{
    return QRect(cellRect.right() - kIconSize - 3, cellRect.center().y() - kIconSize / 2 + 1, kIconSize, kIconSize);
}

void VXItemCell::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    if (index.data(VXItemListModel::IsHeaderRole).toBool())
        opt.state |= QStyle::State_Enabled;
    opt.decorationSize = QSize(kIconSize, kIconSize);
    const bool isPool = index.data(VXItemListModel::IsPoolRole).toBool();
    const QRect cell = opt.rect;
    if (isPool)
        opt.rect.setRight(opt.rect.right() - kIconSize - 6);
    const bool selected = opt.state & QStyle::State_Selected;
    QStyle *style = opt.widget ? opt.widget->style() : QApplication::style();

    painter->save();
    if (isPool) {
        QStyleOptionViewItem background = option;
        background.rect = cell;
        style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, opt.widget);
    }
    if (index.data(VXItemListModel::DimmedRole).toBool() && !selected)
        painter->setOpacity(0.5);
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, opt.widget);
    if (isPool) {
        const bool highlighted = index.data(VXItemListModel::NotesHighlightRole).toBool();
        const QRect place = infoIconRect(cell);
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawPixmap(place,
                            VXOrganizerIcons::infoIcon(highlighted)
                                .pixmap(place.size(), ratio, selected ? QIcon::Selected : QIcon::Normal));
    }
    painter->restore();
}

QSize VXItemCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(std::max(size.height(), kIconSize + kRowPadding));
    return size;
}

QWidget *VXItemCell::createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QWidget *editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (editor)
        Q_EMIT editingStarted();
    return editor;
}
