#include "VXItemList.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXItemCell.h"
#include "VXItemListModel.h"
#include "VXMainController.h"
#include "VXPieCell.h"
#include "VXReportMenuAdapter.h"
#include "VXStringExtensions.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>

namespace {

// How long a drag hovers over a pool before it springs open.
constexpr int kSpringLoadingDelay = 700;
constexpr int kMinimumVisibleRows = 4;
// Room a time cell keeps beyond its text, so that a duration is not drawn against the pie.
constexpr int kTimeSlack = 4;

bool carriesHistory(Qt::KeyboardModifiers modifiers)
{
    return modifiers & (Qt::ShiftModifier | Qt::AltModifier);
}

QString organizerText(const char *text)
{
    return QCoreApplication::translate("VXOrganizer", text);
}

}   // namespace

VXItemList::VXItemList(VXMainController &controller, VXOrganizerList list, QWidget *parent) :
    QTreeView(parent), m_controller(controller), m_operations(controller.organizer()), m_list(list),
    m_model(new VXItemListModel(controller, list, this))
{
    setModel(m_model);
    setAccessibleName(VXOrganizerOperations::headerName(list));
    auto *nameCell = new VXItemCell(this);
    connect(nameCell, &VXItemCell::editingStarted, this, [this] { m_operations.editingDidBegin(); });
    setItemDelegateForColumn(VXNameColumn, nameCell);
    setItemDelegateForColumn(VXFrontColumn, new VXPieCell(this));
    setItemDelegateForColumn(VXTotalColumn, new VXPieCell(this));

    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setEditTriggers(list == VXOrganizerList::Pools
                        ? QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed
                        : QAbstractItemView::NoEditTriggers);
    setDragEnabled(true);
    setDragDropMode(list == VXOrganizerList::Pools ? QAbstractItemView::DragDrop : QAbstractItemView::DragOnly);
    setAcceptDrops(list == VXOrganizerList::Pools);
    setDropIndicatorShown(false);
    setExpandsOnDoubleClick(list == VXOrganizerList::Applications);

    QHeaderView *columns = header();
    columns->setStretchLastSection(false);
    columns->setSectionResizeMode(VXNameColumn, QHeaderView::Stretch);
    const int timeWidth
        = fontMetrics().horizontalAdvance(QStringLiteral("000:00:00")) + kTimeSlack + VXPieCell::widthBesidesText();
    for (int column : {VXFrontColumn, VXTotalColumn}) {
        columns->setSectionResizeMode(column, QHeaderView::Interactive);
        columns->resizeSection(column, timeWidth);
    }
    fitTimeColumns();
    columns->setSectionsClickable(true);
    columns->setSortIndicatorShown(true);
    connect(columns, &QHeaderView::sectionClicked, this, [this](int column) {
        m_controller.setSortColumn(column);
        setFocus(Qt::MouseFocusReason);
    });
    showSortColumn(m_controller.sortColumn());

    connect(this, &QTreeView::expanded, this, [this](const QModelIndex &index) {
        m_model->setRowOpen(index, true);
        itemExpansionChanged(index, true);
    });
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex &index) {
        m_model->setRowOpen(index, false);
        itemExpansionChanged(index, false);
    });

    m_springTimer.setSingleShot(true);
    m_springTimer.setInterval(kSpringLoadingDelay);
    connect(&m_springTimer, &QTimer::timeout, this, [this] {
        const VXDictionaryRef item = m_model->itemForIndex(m_springIndex);
        if (item && VXOrganizerOperations::shouldAutoExpandItem(*item))
            expand(m_springIndex);
    });
}

VXItemList::~VXItemList() = default;

void VXItemList::reload()
{
    // Out of sight, the model follows its top rows only (showEvent() catches up).
    m_model->setShown(isVisible());
    if (!isVisible()) {
        m_model->reload();
        return;
    }
    fitTimeColumns();
    // The rows in view, top to bottom.
    QModelIndexList inView;
    const int bottom = viewport()->height();
    for (QModelIndex index = indexAt(QPoint(0, 0)); index.isValid(); index = indexBelow(index)) {
        if (visualRect(index).top() >= bottom)
            break;
        inView.append(index);
    }
    m_model->reload(inView);
}

// No duration either list shows is longer than the overall time. Cut short, a duration would
// lose its leading digits (a thousand days read as a few), so the time columns grow to fit it
// in the bold font of the header and the frontmost rows; they never shrink by themselves, and a
// width a person chose stands until the overall time outgrows it.
void VXItemList::fitTimeColumns()
{
    const QString widest = stringWithTimeInterval(m_controller.overallApplicationTime(), true);
    // (Its length is told first: its width changes with it, and the width is then measured.)
    if (widest.size() <= m_fittedLength)
        return;
    m_fittedLength = widest.size();
    QFont bold = font();
    bold.setBold(true);
    const int width = QFontMetrics(bold).horizontalAdvance(widest) + kTimeSlack + VXPieCell::widthBesidesText();
    for (int column : {VXFrontColumn, VXTotalColumn}) {
        if (header()->sectionSize(column) < width)
            header()->resizeSection(column, width);
    }
}

// ---- Selection and expansion

void VXItemList::showEvent(QShowEvent *event)
{
    QTreeView::showEvent(event);
    if (m_model->isBehind())
        reload();
}

VXDictionaryRef VXItemList::selectedItem() const
{
    // A row whose item left the list while none showed it must not answer.
    m_model->catchUp();
    const QModelIndexList rows = selectionModel()->selectedRows();
    return rows.isEmpty() ? VXDictionaryRef() : m_model->itemForIndex(rows.first());
}

bool VXItemList::selectItem(const VXDictionary *item)
{
    const QModelIndex index = m_model->indexForItem(item);
    if (!index.isValid())
        return false;
    for (QModelIndex parent = index.parent(); parent.isValid(); parent = parent.parent())
        expand(parent);
    setCurrentIndex(index);
    scrollTo(index);
    return true;
}

void VXItemList::restoreExpansionStates(bool regardless)
{
    // Only rows that came since the last time can have a state to restore: the others show
    // theirs already (opening and closing store it).
    const int inserted = m_model->changes().insertedRows;
    if (!regardless && inserted == m_insertedRowsAtRestore
        && m_model->controller().configuration() == m_restoredConfiguration)
        return;
    m_insertedRowsAtRestore = inserted;
    m_restoredConfiguration = m_model->controller().configuration();
    m_restoringExpansion = true;
    std::vector<QModelIndex> pending {QModelIndex()};
    while (!pending.empty()) {
        const QModelIndex parent = pending.back();
        pending.pop_back();
        for (int row = 0, rows = m_model->rowCount(parent); row < rows; ++row) {
            const QModelIndex index = m_model->index(row, 0, parent);
            const VXDictionaryRef item = m_model->itemForIndex(index);
            if (!item || !(regardless || boolForKey(*item, VXExpandedKey)) || !m_model->hasChildren(index))
                continue;
            {
                if (!isExpanded(index))
                    expand(index);
                pending.push_back(index);
            }
        }
    }
    m_restoringExpansion = false;
}

void VXItemList::itemExpansionChanged(const QModelIndex &index, bool expanded)
{
    if (m_restoringExpansion)
        return;
    const VXDictionaryRef item = m_model->itemForIndex(index);
    if (!item)
        return;
    VXOrganizerOperations::storeExpandedState(*item, expanded);
    // Shift (or Alt) opens the whole branch; each row stores its state on the way.
    if (expanded && carriesHistory(QGuiApplication::keyboardModifiers())) {
        for (int row = 0, rows = m_model->rowCount(index); row < rows; ++row) {
            const QModelIndex child = m_model->index(row, 0, index);
            if (m_model->hasChildren(child))
                expand(child);
        }
    }
}

void VXItemList::showSortColumn(int column)
{
    const Qt::SortOrder order = column == VXNameColumn ? Qt::AscendingOrder : Qt::DescendingOrder;
    if (header()->sortIndicatorSection() != column || header()->sortIndicatorOrder() != order)
        header()->setSortIndicator(column, order);
}

void VXItemList::setHibernating(bool hibernating)
{
    if (m_hibernating == hibernating)
        return;
    m_hibernating = hibernating;
    viewport()->update();
}

void VXItemList::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    QTreeView::selectionChanged(selected, deselected);
    if (!selected.isEmpty())
        Q_EMIT rowSelected();
}

// ---- Keyboard and context menu

void VXItemList::keyPressEvent(QKeyEvent *event)
{
    if (state() != QAbstractItemView::EditingState) {
        if (event->matches(QKeySequence::Undo)) {
            m_controller.undo(this);
            return;
        }
        if (event->matches(QKeySequence::Redo)) {
            m_controller.redo(this);
            return;
        }
    }
    const QModelIndex current = currentIndex().siblingAtColumn(VXNameColumn);
    switch (event->key()) {
    case Qt::Key_Escape:
        if (selectionModel()->hasSelection()) {
            clearSelection();
            return;
        }
        break;
    case Qt::Key_Delete:
    case Qt::Key_Backspace: Q_EMIT deleteRequested(); return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // (A Return that an open editor passed on is not a new edit.)
        if (state() != QAbstractItemView::EditingState && current.isValid()
            && (m_model->flags(current) & Qt::ItemIsEditable)) {
            edit(current);
            return;
        }
        break;
    case Qt::Key_Right:
        // Shift+Right (or Alt+Right) opens the whole branch.
        if (current.isValid() && carriesHistory(event->modifiers())) {
            expandRecursively(current);
            std::vector<QModelIndex> pending {current};
            while (!pending.empty()) {
                const QModelIndex index = pending.back();
                pending.pop_back();
                if (const VXDictionaryRef item = m_model->itemForIndex(index); item && m_model->hasChildren(index))
                    VXOrganizerOperations::storeExpandedState(*item, true);
                for (int row = 0, rows = m_model->rowCount(index); row < rows; ++row)
                    pending.push_back(m_model->index(row, 0, index));
            }
            return;
        }
        break;
    case Qt::Key_Menu:
    case Qt::Key_F10:
        if (event->key() == Qt::Key_Menu || event->modifiers() == Qt::ShiftModifier) {
            showContextMenu(current, viewport()->mapToGlobal(visualRect(current).bottomLeft()));
            return;
        }
        break;
    default: break;
    }
    QTreeView::keyPressEvent(event);
}

std::unique_ptr<QMenu> VXItemList::contextMenuForIndex(const QModelIndex &index)
{
    const VXDictionaryRef item = m_model->itemForIndex(index);
    if (!item)
        return nullptr;
    auto menu = std::make_unique<QMenu>(this);
    menu->setTitle(organizerText(VXContextMenuTitle));
    if (!m_operations.contextMenuForItem(item, false, VXReportMenuAdapter::attachedTo(menu.get())))
        return nullptr;
    return menu;
}

void VXItemList::showContextMenu(const QModelIndex &index, const QPoint &globalPosition)
{
    if (std::unique_ptr<QMenu> menu = contextMenuForIndex(index))
        menu->exec(globalPosition);
}

void VXItemList::contextMenuEvent(QContextMenuEvent *event)
{
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const QModelIndex current = currentIndex().siblingAtColumn(VXNameColumn);
        showContextMenu(current, viewport()->mapToGlobal(visualRect(current).bottomLeft()));
    } else {
        showContextMenu(indexAt(event->pos()), event->globalPos());
    }
}

// ---- Dragging out

void VXItemList::startDrag(Qt::DropActions supportedActions)
{
    Q_UNUSED(supportedActions);
    const QModelIndex index = currentIndex().siblingAtColumn(VXNameColumn);
    if (!index.isValid() || VXItemListModel::isHeader(index)
        || !selectionModel()->isRowSelected(index.row(), index.parent()))
        return;
    QMimeData *mime = m_model->mimeData({index});
    if (!mime)
        return;
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);
    const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
    if (!icon.isNull())
        drag->setPixmap(icon.pixmap(32, 32));
    // Nothing is credited while the row is in flight: the drop must find the tree as it left it.
    m_controller.setPaused(true);
    const Qt::DropAction action = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::CopyAction);
    m_controller.setPaused(false);
    dragDidEnd(action, drag->target());
    drag->deleteLater();
}

void VXItemList::dragDidEnd(Qt::DropAction action, QObject *target)
{
    Q_UNUSED(action);
    if (m_operations.itemToDelete()) {
        const bool insideList = target == this || target == viewport();
        if (!insideList && !m_operations.deleteDraggedItem())
            QApplication::beep();
    }
    m_operations.dragDidEnd();
}

// ---- Dropping

const VXDictionary *VXItemList::draggedItem(const QMimeData *mime)
{
    const QByteArray bytes = mime->data(VXListItemPasteboardType);
    if (!m_dragged || bytes != m_draggedData) {
        m_draggedData = bytes;
        m_dragged = VXOrganizerOperations::draggedItemFromData(bytes);
    }
    return m_dragged.get();
}

VXItemList::DropTarget VXItemList::dropTargetAt(const QPoint &position, const QMimeData *mime)
{
    DropTarget target;
    if (m_list != VXOrganizerList::Pools || !mime || !mime->hasFormat(VXListItemPasteboardType))
        return target;
    const QModelIndex index = indexAt(position).siblingAtColumn(VXNameColumn);
    if (VXItemListModel::isHeader(index))
        return target;
    target.index = index;
    target.emptySpace = !index.isValid();
    const VXDictionaryRef item = m_model->itemForIndex(index);
    target.accepted = m_operations.validateDrop(m_list, item.get(), -1, draggedItem(mime));
    return target;
}

void VXItemList::updateDropHighlight(const DropTarget &target, Qt::KeyboardModifiers modifiers)
{
    const bool createPool = target.accepted && target.emptySpace;
    const bool arrow = target.accepted && carriesHistory(modifiers);
    const QModelIndex dropIndex = target.accepted ? QModelIndex(target.index) : QModelIndex();
    if (createPool != m_createPoolHighlight || arrow != m_historyArrow || dropIndex != m_dropIndex) {
        m_createPoolHighlight = createPool;
        m_historyArrow = arrow;
        m_dropIndex = dropIndex;
        viewport()->update();
    }
}

void VXItemList::clearDropHighlight()
{
    m_springTimer.stop();
    m_springIndex = QPersistentModelIndex();
    updateDropHighlight(DropTarget(), Qt::NoModifier);
}

void VXItemList::dragEnterEvent(QDragEnterEvent *event)
{
    if (m_list == VXOrganizerList::Pools && event->mimeData()->hasFormat(VXListItemPasteboardType)) {
        // Accepted whatever lies under the pointer now, so that the moves that follow arrive.
        updateDropHighlight(dropTargetAt(event->position().toPoint(), event->mimeData()), event->modifiers());
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void VXItemList::dragMoveEvent(QDragMoveEvent *event)
{
    const DropTarget target = dropTargetAt(event->position().toPoint(), event->mimeData());
    updateDropHighlight(target, event->modifiers());
    if (target.index != m_springIndex) {
        m_springIndex = target.index;
        if (m_springIndex.isValid())
            m_springTimer.start();
        else
            m_springTimer.stop();
    }
    if (target.accepted) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void VXItemList::dragLeaveEvent(QDragLeaveEvent *event)
{
    clearDropHighlight();
    event->accept();
}

void VXItemList::dropEvent(QDropEvent *event)
{
    const DropTarget target = dropTargetAt(event->position().toPoint(), event->mimeData());
    clearDropHighlight();
    const VXDictionaryRef item = m_model->itemForIndex(target.index);
    if (target.accepted
        && m_operations.acceptDrop(m_list, item, -1, draggedItem(event->mimeData()),
                                   carriesHistory(event->modifiers()))) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
    m_dragged.reset();
    m_draggedData.clear();
}

// ---- Drawing

void VXItemList::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles)
{
    // The tree measures its first row again (every cell, through the delegates) on each change
    // that starts there, to learn the height of all rows. The first row is the header, whose
    // list total changes nearly every tick; a time cell's height comes from its font alone, so a
    // change to the header's time cells leaves the rows' height as it was: the cells are only
    // drawn again. The name cell, which measures its text, goes the tree's way.
    const bool headerTimesOnly = uniformRowHeights() && topLeft.isValid() && !topLeft.parent().isValid()
        && topLeft.row() == 0 && bottomRight.row() == 0 && bottomRight.parent() == topLeft.parent()
        && std::min(topLeft.column(), bottomRight.column()) > VXNameColumn;
    if (headerTimesOnly)
        QAbstractItemView::dataChanged(topLeft, bottomRight, roles);
    else
        QTreeView::dataChanged(topLeft, bottomRight, roles);
}

QSize VXItemList::minimumSizeHint() const
{
    const int rowHeight = std::max(sizeHintForRow(0), fontMetrics().height() + 4);
    const int height = header()->sizeHint().height() + kMinimumVisibleRows * rowHeight + 2 * frameWidth();
    return QSize(QTreeView::minimumSizeHint().width(), height);
}

void VXItemList::paintEvent(QPaintEvent *event)
{
    QTreeView::paintEvent(event);
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &colors = palette();
    const QRect area = viewport()->rect();
    // The free space below the last row, where the hint and the "Create Pool" label go.
    const int rows = m_model->rowCount();
    const QModelIndex last = rows > 0 ? m_model->index(rows - 1, 0) : QModelIndex();
    int freeTop = last.isValid() ? visualRect(last).bottom() + 1 : 0;
    if (freeTop > area.bottom() - fontMetrics().height() * 2)
        freeTop = area.top();
    const QRect free(area.left(), freeTop, area.width(), area.bottom() - freeTop);

    if (m_dropIndex.isValid()) {
        const QRect row
            = visualRect(m_dropIndex).united(visualRect(m_dropIndex.sibling(m_dropIndex.row(), VXTotalColumn)));
        painter.setPen(QPen(colors.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(row).adjusted(1, 1, -1, -1), 4, 4);
    }
    if (m_createPoolHighlight) {
        painter.setPen(QPen(colors.color(QPalette::Highlight), 2));
        QColor wash = colors.color(QPalette::Highlight);
        wash.setAlphaF(0.08f);
        painter.setBrush(wash);
        painter.drawRoundedRect(QRectF(area).adjusted(1, 1, -1, -1), 5, 5);
        QString label = organizerText(VXCreatePoolText);
        if (m_historyArrow)
            label = QString(QChar(VXHookedRightArrow)) + u' ' + label;
        QFont font = this->font();
        font.setBold(true);
        painter.setFont(font);
        painter.setPen(colors.color(QPalette::Highlight));
        painter.drawText(free, Qt::AlignCenter, label);
    } else if (m_list == VXOrganizerList::Pools && rows <= 1) {
        painter.setPen(colors.color(QPalette::PlaceholderText));
        painter.drawText(free.adjusted(8, 0, -8, 0), Qt::AlignCenter | Qt::TextWordWrap,
                         organizerText(VXDragItemsHereText));
    }
    if (m_hibernating) {
        QColor veil = colors.color(QPalette::Base);
        veil.setAlphaF(0.72f);
        painter.fillRect(area, veil);
        QFont font = this->font();
        font.setBold(true);
        font.setPointSizeF(font.pointSizeF() * 1.4);
        painter.setFont(font);
        painter.setPen(colors.color(QPalette::PlaceholderText));
        painter.drawText(area, Qt::AlignCenter, organizerText(VXHibernationMessageItemList));
    }
}
