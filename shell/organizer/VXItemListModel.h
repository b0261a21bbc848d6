#pragma once

// One organizer list as a Qt model: the controller's applicationArray() or poolArray() with
// each item's "Children" below it. Row 0 of the root is the header row ("Applications" or
// "Pools" with the list's total); rows 1 to n are the array's items.
//
// The model follows the arrays without ever resetting: reload() compares what it shows with
// the arrays item by item (by identity) and emits row removals, moves and insertions for what
// came, went or changed places, then dataChanged for the rows whose shown content changed (a
// time that reached another second, a pie that grew visibly, a name or state). A tick where
// only times changed therefore touches only the cells that show them, and selection,
// expansion, scroll position and an open editor stay where they are.

#include "VXOrganizerOperations.h"
#include "VXValue.h"

#include <QAbstractItemModel>

#include <cstdint>
#include <memory>
#include <vector>

class VXMainController;

class VXItemListModel final : public QAbstractItemModel
{
    Q_OBJECT
public:
    enum Role {
        ItemRole = Qt::UserRole + 1,   // the item (VXDictionary *) as quintptr; 0 for the header row
        IsHeaderRole,   // bool
        PieFractionRole,   // double 0..1 in the time columns; absent where no pie is drawn
        DimmedRole,   // bool: neither active nor frontmost
        IsPoolRole,   // bool
        NotesHighlightRole,   // bool: the info icon is highlighted
    };

    VXItemListModel(VXMainController &controller, VXOrganizerList list, QObject *parent = nullptr);
    ~VXItemListModel() override;

    VXOrganizerList list() const { return m_list; }
    VXMainController &controller() const { return m_controller; }

    // Shows the controller's array again (after every tick).
    void reload();
    // Counts of what reload() emitted since the model was made, for tests and benchmarks.
    struct Changes {
        int resets = 0;
        int insertedRows = 0;
        int removedRows = 0;
        int movedRows = 0;
        int changedRows = 0;
    };
    const Changes &changes() const { return m_changes; }

    VXDictionaryRef itemForIndex(const QModelIndex &index) const;
    QModelIndex indexForItem(const VXDictionary *item) const;
    static bool isHeader(const QModelIndex &index) { return index.isValid() && index.data(IsHeaderRole).toBool(); }

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction | Qt::MoveAction; }
    Qt::DropActions supportedDropActions() const override { return Qt::CopyAction; }

private:
    // What a row shows, reduced to what decides whether it must be drawn again.
    struct Shown {
        QString name;
        std::uint64_t frontSeconds = 0;
        std::uint64_t totalSeconds = 0;
        int frontPie = -1;
        int totalPie = -1;
        std::uint8_t state = 0;
        bool operator==(const Shown &) const = default;
    };
    struct Node {
        VXDictionaryRef item;
        Node *parent = nullptr;
        int row = 0;
        std::vector<std::unique_ptr<Node>> children;
        Shown shown;
    };

    Node *nodeForIndex(const QModelIndex &index) const;
    QModelIndex indexForNode(const Node *node, int column = 0) const;
    std::unique_ptr<Node> makeNode(const VXDictionaryRef &item, Node *parent) const;
    // Brings the node's children in line with `items`, then each child's own.
    void syncChildren(Node &node, const VXArray *items);
    Shown shownFor(const Node &node) const;
    void refreshShown(Node &node, bool emitChanges);
    static void renumber(Node &node, int from);

    VXMainController &m_controller;
    VXOrganizerOperations &m_operations;
    VXOrganizerList m_list;
    Node m_root;
    double m_overallTime = 0.0;
    Changes m_changes;
};
