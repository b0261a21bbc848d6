#pragma once

// The name cell of the organizer lists: the item's icon and display name, bold while it is in
// front, at half opacity while it is neither running nor in front; a pool also shows its info
// icon, highlighted when its notes say something (and the settings ask for that).

#include <QStyledItemDelegate>

class VXItemCell final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    // The info icon's place in a pool's cell.
    static QRect infoIconRect(const QRect &cellRect);

Q_SIGNALS:
    // An editor opened (tracking pauses for a moment).
    void editingStarted() const;

protected:
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
