#pragma once

// One organizer list: a tree view over a VXItemListModel with the list's keyboard, mouse and
// drag-and-drop behaviour. The rules are VXOrganizerOperations'; this class turns events into
// calls:
//
//     Escape                 deselects            Delete, Backspace    deleteRequested()
//     F2, Return (pools)     renames              Menu, Shift+F10      the context menu
//     Ctrl+Z, Ctrl+Shift+Z   undo, redo           header click         the sort column
//     drag a row out         "List Item", or "Delete from List" for a pool
//     drop (pool list)       onto a pool, or onto empty space ("Create Pool"); Shift carries
//                            the dragged item's history (shown with a hooked arrow)
//
// It also draws the empty pool list's hint and the "Suspended" veil while tracking hibernates.

#include "VXOrganizerOperations.h"
#include "VXValue.h"

#include <QPersistentModelIndex>
#include <QTimer>
#include <QTreeView>

class QMenu;
class VXItemListModel;
class VXMainController;

class VXItemList final : public QTreeView
{
    Q_OBJECT
public:
    VXItemList(VXMainController &controller, VXOrganizerList list, QWidget *parent = nullptr);
    ~VXItemList() override;

    VXOrganizerList list() const { return m_list; }
    VXItemListModel *itemModel() const { return m_model; }

    // Shows the controller's list again (after every tick).
    void reload();

    // The selected item; null when nothing (or the header) is selected.
    VXDictionaryRef selectedItem() const;
    // Selects the item's row (expanding its parents); false when it is not listed.
    bool selectItem(const VXDictionary *item);

    // Expands every row whose item has "Expanded" set (every row with `regardless`).
    void restoreExpansionStates(bool regardless = false);
    // The list's sort indicator shows the column.
    void showSortColumn(int column);

    bool isHibernating() const { return m_hibernating; }
    void setHibernating(bool hibernating);
    bool isEditing() const { return state() == QAbstractItemView::EditingState; }

    // The context menu for the row (null for the header row, or when there is none).
    std::unique_ptr<QMenu> contextMenuForIndex(const QModelIndex &index);

    // What a drop at `position` (viewport coordinates) would do with the mime data: the target
    // row (invalid for empty space) and whether it is accepted.
    struct DropTarget {
        QPersistentModelIndex index;
        bool emptySpace = false;
        bool accepted = false;
    };
    DropTarget dropTargetAt(const QPoint &position, const QMimeData *mime);
    // While a drag hovers over empty space: the "Create Pool" highlight, with the hooked arrow
    // for a drag that carries history.
    bool showsCreatePool() const { return m_createPoolHighlight; }
    bool showsHistoryArrow() const { return m_historyArrow; }

    // The end of a drag that began in this list; `target` is the widget it was dropped on
    // (null outside the program). A pool dragged out of the pool list is deleted.
    void dragDidEnd(Qt::DropAction action, QObject *target);

    QSize minimumSizeHint() const override;

    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QList<int> &roles = QList<int>()) override;

Q_SIGNALS:
    void deleteRequested();
    // A row became selected (the other list deselects).
    void rowSelected();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;

private:
    // The dragged dictionary of the mime data, read once per drag.
    const VXDictionary *draggedItem(const QMimeData *mime);
    void updateDropHighlight(const DropTarget &target, Qt::KeyboardModifiers modifiers);
    void clearDropHighlight();
    void itemExpansionChanged(const QModelIndex &index, bool expanded);
    void showContextMenu(const QModelIndex &index, const QPoint &globalPosition);
    void fitTimeColumns();

    VXMainController &m_controller;
    VXOrganizerOperations &m_operations;
    VXOrganizerList m_list;
    VXItemListModel *m_model;
    bool m_hibernating = false;
    qsizetype m_fittedLength = 0;   // of the duration the time columns were last fitted to
    bool m_restoringExpansion = false;
    int m_insertedRowsAtRestore = -1;
    VXDictionaryRef m_restoredConfiguration;
    bool m_createPoolHighlight = false;
    bool m_historyArrow = false;
    QPersistentModelIndex m_dropIndex;
    QPersistentModelIndex m_springIndex;
    QTimer m_springTimer;
    QByteArray m_draggedData;
    VXDictionaryRef m_dragged;
};
