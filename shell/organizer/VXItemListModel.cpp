#include "VXItemListModel.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXMainController.h"
#include "VXOrganizerIcons.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QFont>
#include <QMimeData>

#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_set>

namespace {

constexpr int kPieSteps = 1000;   // a 16-pixel pie shows no finer step
constexpr std::uint64_t kNoTime = std::numeric_limits<std::uint64_t>::max();

enum StateBit : std::uint8_t { kActive = 1, kFrontActive = 2, kNotes = 4 };

std::uint64_t wholeSeconds(double seconds)
{
    if (!(seconds > 0.0))
        return 0;
    return seconds >= 1.8e19 ? kNoTime - 1 : std::uint64_t(seconds);
}

int pieSteps(double time, double overall)
{
    if (overall < 0.1)
        return 0;   // drawn empty
    return int(std::lround(std::clamp(time / overall, 0.0, 1.0) * kPieSteps));
}

QString durationText(std::uint64_t seconds)
{
    return seconds == kNoTime ? QString() : stringWithTimeInterval(double(seconds), true);
}

}   // namespace

VXItemListModel::VXItemListModel(VXMainController &controller, VXOrganizerList list, QObject *parent) :
    QAbstractItemModel(parent), m_controller(controller), m_operations(controller.organizer()), m_list(list)
{
    m_root.children.push_back(makeNode(VXDictionaryRef(), &m_root));
    noteChildItems(m_root);
    reload();
}

VXItemListModel::~VXItemListModel() = default;

// ---- Following the controller

void VXItemListModel::reload(const QModelIndexList &rowsInView)
{
    m_overallTime = m_operations.overallTime(m_list);
    if (!m_shown) {
        // The top rows only, so that no item that left the list is held; the rows under open
        // ones and what the rows show catch up when a view shows the model again.
        const VXArray *items = rootArray();
        if (!showsExactly(m_root, 1, items))
            syncRows(m_root, 1, items);
        m_behind = true;
        return;
    }
    m_behind = false;
    // What the rows in view show, before their rows are brought in line: a row's cells come
    // from its item alone, and this reaches them without a walk over every row of the list.
    for (const QModelIndex &index : rowsInView) {
        Node *node = nodeForIndex(index);
        if (node->item)
            refreshShown(*node);
    }
    syncChildren(m_root, rootArray());
}

void VXItemListModel::setShown(bool shown)
{
    m_shown = shown;
}

void VXItemListModel::catchUp()
{
    if (!m_behind)
        return;
    m_behind = false;
    syncChildren(m_root, rootArray());
}

const VXArray *VXItemListModel::rootArray() const
{
    return (m_list == VXOrganizerList::Applications ? m_controller.applicationArray() : m_controller.poolArray()).get();
}

void VXItemListModel::setRowOpen(const QModelIndex &index, bool open)
{
    Node *node = index.isValid() ? nodeForIndex(index) : nullptr;
    if (!node || !node->item || node->open == open)
        return;
    node->open = open;
    std::vector<Node *> &siblings = node->parent->openChildren;
    if (open)
        siblings.push_back(node);
    else
        std::erase(siblings, node);
    if (open)
        syncChildren(*node, node->item->value(VXChildrenKey).array());
}

std::unique_ptr<VXItemListModel::Node> VXItemListModel::makeNode(const VXDictionaryRef &item, Node *parent) const
{
    auto node = std::make_unique<Node>();
    node->item = item;
    node->parent = parent;
    if (item) {
        if (const VXArray *children = item->value(VXChildrenKey).array()) {
            for (const VXValue &value : *children) {
                if (VXDictionary *child = value.dictionary()) {
                    node->children.push_back(makeNode(VXDictionaryRef(child), node.get()));
                    node->children.back()->row = int(node->children.size()) - 1;
                }
            }
        }
    }
    noteChildItems(*node);
    node->shown = shownFor(*node);
    return node;
}

void VXItemListModel::renumber(Node &node, int from)
{
    for (int row = std::max(from, 0); row < int(node.children.size()); ++row)
        node.children[std::size_t(row)]->row = row;
}

void VXItemListModel::noteChildItems(Node &node)
{
    node.childItems.resize(node.children.size());
    node.openChildren.clear();
    for (std::size_t row = 0; row < node.children.size(); ++row) {
        Node *child = node.children[row].get();
        node.childItems[row] = child->item.get();
        if (child->open && child->item)
            node.openChildren.push_back(child);
    }
}

bool VXItemListModel::showsExactly(const Node &node, int first, const VXArray *items)
{
    const std::size_t count = items ? items->size() : 0;
    if (node.childItems.size() != std::size_t(first) + count)
        return false;
    for (std::size_t i = 0; i < count; ++i) {
        // The element in place: a copy would count a reference on every item of the list.
        const VXDictionary *item = items->objectAt(i).dictionary();
        if (!item || node.childItems[std::size_t(first) + i] != item)
            return false;
    }
    return true;
}

void VXItemListModel::syncChildren(Node &node, const VXArray *items)
{
    const bool root = &node == &m_root;
    const int first = root ? 1 : 0;   // the header row stays
    if (!showsExactly(node, first, items))
        syncRows(node, first, items);
    // The header row's total follows the overall time, in view or not.
    if (root)
        refreshShown(*node.children.front());
    for (Node *child : node.openChildren)
        syncChildren(*child, child->item->value(VXChildrenKey).array());
}

void VXItemListModel::syncClosedRows(Node &node)
{
    for (const auto &child : node.children) {
        if (!child->item)
            continue;
        const VXArray *items = child->item->value(VXChildrenKey).array();
        if (!showsExactly(*child, 0, items))
            syncRows(*child, 0, items);
        syncClosedRows(*child);
    }
}

void VXItemListModel::syncRows(Node &node, int first, const VXArray *items)
{
    std::vector<VXDictionary *> wanted;
    if (items) {
        wanted.reserve(items->size());
        for (const VXValue &value : *items) {
            if (VXDictionary *item = value.dictionary())
                wanted.push_back(item);
        }
    }
    const QModelIndex parentIndex = indexForNode(&node);
    auto &children = node.children;

    // Rows whose items went, in runs from the end.
    if (int(children.size()) > first) {
        const std::unordered_set<const VXDictionary *> kept(wanted.begin(), wanted.end());
        int removedFrom = int(children.size());
        for (int row = int(children.size()) - 1; row >= first - 1; --row) {
            const bool goes = row >= first && !kept.count(children[std::size_t(row)]->item.get());
            if (goes)
                continue;
            const int runStart = row + 1, runEnd = removedFrom - 1;
            if (runStart <= runEnd) {
                beginRemoveRows(parentIndex, runStart, runEnd);
                children.erase(children.begin() + runStart, children.begin() + runEnd + 1);
                endRemoveRows();
                m_changes.removedRows += runEnd - runStart + 1;
            }
            removedFrom = row;
        }
        renumber(node, first);
    }

    // Rows that moved or came, in the array's order.
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const int row = first + int(i);
        if (row < int(children.size()) && children[std::size_t(row)]->item.get() == wanted[i])
            continue;
        int found = -1;
        for (int other = row + 1; other < int(children.size()); ++other) {
            if (children[std::size_t(other)]->item.get() == wanted[i]) {
                found = other;
                break;
            }
        }
        if (found >= 0) {
            beginMoveRows(parentIndex, found, found, parentIndex, row);
            auto moved = std::move(children[std::size_t(found)]);
            children.erase(children.begin() + found);
            children.insert(children.begin() + row, std::move(moved));
            renumber(node, row);
            endMoveRows();
            ++m_changes.movedRows;
        } else {
            beginInsertRows(parentIndex, row, row);
            children.insert(children.begin() + row, makeNode(VXDictionaryRef(wanted[i]), &node));
            renumber(node, row);
            endInsertRows();
            ++m_changes.insertedRows;
        }
    }
    // An item listed twice before and once now leaves a row over.
    const int end = first + int(wanted.size());
    if (int(children.size()) > end) {
        beginRemoveRows(parentIndex, end, int(children.size()) - 1);
        m_changes.removedRows += int(children.size()) - end;
        children.erase(children.begin() + end, children.end());
        endRemoveRows();
    }
    noteChildItems(node);
}

VXItemListModel::Shown VXItemListModel::shownFor(const Node &node, const Shown *before) const
{
    Shown shown;
    shown.name = shownName(node);
    shown.frontSeconds = shownSeconds(node, VXFrontColumn);
    shown.totalSeconds = shownSeconds(node, VXTotalColumn);
    shown.frontText
        = before && before->frontSeconds == shown.frontSeconds ? before->frontText : durationText(shown.frontSeconds);
    shown.totalText
        = before && before->totalSeconds == shown.totalSeconds ? before->totalText : durationText(shown.totalSeconds);
    if (node.item) {
        shown.frontPie = shownPie(node, VXFrontColumn);
        shown.totalPie = shownPie(node, VXTotalColumn);
    }
    shown.state = shownState(node);
    return shown;
}

QString VXItemListModel::shownName(const Node &node) const
{
    return node.item ? itemName(*node.item) : VXOrganizerOperations::headerName(m_list);
}

std::uint64_t VXItemListModel::shownSeconds(const Node &node, int column) const
{
    if (!node.item) {
        if (column != VXTotalColumn)
            return kNoTime;
        const std::optional<double> total = m_operations.headerTotal(m_list);
        return total ? wholeSeconds(*total) : kNoTime;
    }
    return wholeSeconds(timeIntervalForKey(*node.item, column == VXFrontColumn ? VXFrontTimeKey : VXTimeKey));
}

int VXItemListModel::shownPie(const Node &node, int column) const
{
    if (!node.item)
        return -1;
    return pieSteps(timeIntervalForKey(*node.item, column == VXFrontColumn ? VXFrontTimeKey : VXTimeKey),
                    m_overallTime);
}

std::uint8_t VXItemListModel::shownState(const Node &node, bool withNotes) const
{
    if (!node.item)
        return 0;
    const VXDictionary &item = *node.item;
    std::uint8_t state = 0;
    if (boolForKey(item, VXActiveKey))
        state |= kActive;
    if (boolForKey(item, VXFrontActiveKey))
        state |= kFrontActive;
    if (withNotes && item.value(VXPathKey).stringRef() == VXPoolPathMarker) {
        const VXUserDefaults *defaults = VXUserDefaults::standard();
        const bool reflectNotes = defaults && defaults->boolForKey(VXInfoIconsReflectNotesStatusKey);
        if (reflectNotes && !item.value(VXPoolNotesKey).toString().isEmpty())
            state |= kNotes;
    }
    return state;
}

void VXItemListModel::refreshShown(Node &node)
{
    Shown shown = shownFor(node, &node.shown);
    // Only the cells that show something else: a cell alone is repainted alone.
    const bool wholeRow = shown.state != node.shown.state;
    const bool name = wholeRow || shown.name != node.shown.name;
    const bool front = wholeRow || shown.frontText != node.shown.frontText || shown.frontPie != node.shown.frontPie;
    const bool total = wholeRow || shown.totalText != node.shown.totalText || shown.totalPie != node.shown.totalPie;
    node.shown = std::move(shown);
    if (!name && !front && !total)
        return;
    ++m_changes.changedRows;
    if (wholeRow) {
        Q_EMIT dataChanged(indexForNode(&node, VXNameColumn), indexForNode(&node, VXTotalColumn));
        return;
    }
    for (const auto &[changed, column] :
         {std::pair {name, VXNameColumn}, std::pair {front, VXFrontColumn}, std::pair {total, VXTotalColumn}}) {
        if (changed) {
            const QModelIndex cell = indexForNode(&node, column);
            Q_EMIT dataChanged(cell, cell);
        }
    }
}

// ---- Indexes

VXItemListModel::Node *VXItemListModel::nodeForIndex(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<Node *>(index.internalPointer()) : const_cast<Node *>(&m_root);
}

QModelIndex VXItemListModel::indexForNode(const Node *node, int column) const
{
    if (!node || node == &m_root)
        return QModelIndex();
    return createIndex(node->row, column, const_cast<Node *>(node));
}

VXDictionaryRef VXItemListModel::itemForIndex(const QModelIndex &index) const
{
    return index.isValid() ? nodeForIndex(index)->item : VXDictionaryRef();
}

QModelIndex VXItemListModel::findItem(const VXDictionary *item) const
{
    std::vector<const Node *> pending {&m_root};
    while (!pending.empty()) {
        const Node *node = pending.back();
        pending.pop_back();
        if (node->item.get() == item)
            return indexForNode(node);
        for (const auto &child : node->children)
            pending.push_back(child.get());
    }
    return QModelIndex();
}

QModelIndex VXItemListModel::indexForItem(const VXDictionary *item)
{
    if (!item)
        return QModelIndex();
    catchUp();
    QModelIndex index = findItem(item);
    if (!index.isValid()) {
        // It may lie under rows that are closed and were not followed since.
        syncClosedRows(m_root);
        index = findItem(item);
    }
    return index;
}

QModelIndex VXItemListModel::index(int row, int column, const QModelIndex &parent) const
{
    const Node *node = nodeForIndex(parent);
    if (row < 0 || row >= int(node->children.size()) || column < 0 || column >= VXColumnCount)
        return QModelIndex();
    return createIndex(row, column, node->children[std::size_t(row)].get());
}

QModelIndex VXItemListModel::parent(const QModelIndex &child) const
{
    return child.isValid() ? indexForNode(nodeForIndex(child)->parent) : QModelIndex();
}

int VXItemListModel::rowCount(const QModelIndex &parent) const
{
    if (parent.column() > 0)
        return 0;
    return int(nodeForIndex(parent)->children.size());
}

int VXItemListModel::columnCount(const QModelIndex &parent) const
{
    Q_UNUSED(parent);
    return VXColumnCount;
}

bool VXItemListModel::hasChildren(const QModelIndex &parent) const
{
    const Node *node = nodeForIndex(parent);
    if (node == &m_root || !node->item || node->open || parent.column() > 0)
        return rowCount(parent) > 0;
    // A closed row is followed only when it opens: ask its item.
    const VXArray *children = node->item->value(VXChildrenKey).array();
    return children && !children->isEmpty();
}

// ---- Cells

QVariant VXItemListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return QVariant();
    const Node &node = *nodeForIndex(index);
    const bool header = !node.item;
    const int column = index.column();
    // What the row shows is made from its item now, a row that reloads skipped is still right;
    // each role makes only its own part (a cell's drawing asks for several roles).
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
    case Qt::AccessibleTextRole:
        if (column == VXNameColumn)
            return shownName(node);
        return durationText(shownSeconds(node, column));
    case Qt::DecorationRole:
        if (column == VXNameColumn && !header)
            return VXOrganizerIcons::iconForItem(*node.item);
        return QVariant();
    case Qt::FontRole: {
        QFont font;
        font.setBold(header || (shownState(node, false) & kFrontActive));
        return font;
    }
    case Qt::TextAlignmentRole:
        return column == VXNameColumn ? QVariant() : QVariant(int(Qt::AlignRight | Qt::AlignVCenter));
    case ItemRole: return QVariant::fromValue(quintptr(node.item.get()));
    case IsHeaderRole: return header;
    case PieFractionRole:
        if (header || column == VXNameColumn)
            return QVariant();
        return double(shownPie(node, column)) / kPieSteps;
    case DimmedRole: return !header && !(shownState(node, false) & (kActive | kFrontActive));
    case IsPoolRole: return !header && node.item->value(VXPathKey).stringRef() == VXPoolPathMarker;
    case NotesHighlightRole: return bool(shownState(node) & kNotes);
    default: return QVariant();
    }
}

QVariant VXItemListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case VXNameColumn: return tr("Name");
    case VXFrontColumn: return tr("Front Time");
    case VXTotalColumn: return tr("Time");
    default: return QVariant();
    }
}

Qt::ItemFlags VXItemListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return m_list == VXOrganizerList::Pools ? Qt::ItemIsDropEnabled : Qt::NoItemFlags;
    const Node &node = *nodeForIndex(index);
    if (!node.item)
        return Qt::NoItemFlags;   // the header row: never selected nor current (drawn as enabled)
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
    if (index.column() == VXNameColumn && m_operations.shouldEditItem(m_list, *node.item))
        flags |= Qt::ItemIsEditable;
    if (m_list == VXOrganizerList::Pools && node.item->value(VXPathKey).stringRef() == VXPoolPathMarker)
        flags |= Qt::ItemIsDropEnabled;
    return flags;
}

bool VXItemListModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::EditRole || index.column() != VXNameColumn)
        return false;
    const VXDictionaryRef item = itemForIndex(index);
    const VXValue name = value.typeId() == QMetaType::QString ? VXValue(value.toString()) : VXValue();
    return item && m_operations.setObjectValue(m_list, item, name);
}

// ---- Dragging

QStringList VXItemListModel::mimeTypes() const
{
    return {VXListItemPasteboardType, VXDeleteFromListPasteboardType};
}

QMimeData *VXItemListModel::mimeData(const QModelIndexList &indexes) const
{
    const VXDictionaryRef item = indexes.isEmpty() ? VXDictionaryRef() : itemForIndex(indexes.first());
    const VXPasteboardItem written = m_operations.writeItem(m_list, item);
    if (written.type.isEmpty())
        return nullptr;
    auto *mime = new QMimeData;
    mime->setData(written.type, written.data);
    return mime;
}
