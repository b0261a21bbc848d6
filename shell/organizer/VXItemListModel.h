#pragma once

// One organizer list as a Qt model: the controller's applicationArray() or poolArray() with
// each item's "Children" below it. Row 0 of the root is the header row ("Applications" or
// "Pools" with the list's total); rows 1 to n are the array's items.
//
// The model follows the arrays without ever resetting: reload() compares what it shows with
// the arrays item by item (by identity) and emits row removals, moves and insertions for what
// came, went or changed places, then dataChanged for the rows whose shown content changed (a
// time that reached another second, a pie that grew visibly, a name or state) among the rows
// in view. A tick where only times changed therefore touches only the cells that show them,
// and selection, expansion, scroll position and an open editor stay where they are. Rows are
// followed where they can be seen: the top rows and the rows under open ones; a row that opens
// is brought up to date first, so a year's closed windows cost nothing twice a second. While no
// view shows the model (the lists' window closed, or in the tray's panel out of sight) only the
// top rows follow, and the rest catches up when a view shows it again. Cells are drawn from the
// items as they are, so a row that comes into view is right at once.

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

    // Shows the controller's array again (after every tick). `rowsInView`: the rows the view
    // shows now, the only ones whose cells can need drawing again.
    void reload(const QModelIndexList &rowsInView = {});
    // Whether a view shows the model (it does until told otherwise). While none does, reload()
    // follows the top rows alone and the model is behind: the rows under open rows, and what
    // every row shows, are brought up to date by the next reload() while shown, or catchUp().
    void setShown(bool shown);
    bool isBehind() const { return m_behind; }
    void catchUp();
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
    // The item's row, wherever it is (rows under closed ones, and a model behind, are brought
    // up to date first).
    QModelIndex indexForItem(const VXDictionary *item);

    // The views say which rows they show open: the rows under an open row follow every
    // reload; those under a closed one are brought up to date when it opens. Not as the view
    // lays the opening row out (fetchMore()): a row removed in the middle of its layout
    // corrupts the view's list of rows.
    void setRowOpen(const QModelIndex &index, bool open);
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
    // What a row shows, reduced to what decides whether it must be drawn again. A duration is
    // compared by its text: a long one is shown in tenths of days, and its cell is not drawn
    // again every second for the same text. The seconds it was made from spare making it anew
    // while they stay.
    struct Shown {
        QString name;
        std::uint64_t frontSeconds = 0;
        std::uint64_t totalSeconds = 0;
        QString frontText;
        QString totalText;
        int frontPie = -1;
        int totalPie = -1;
        std::uint8_t state = 0;
    };
    struct Node {
        VXDictionaryRef item;
        Node *parent = nullptr;
        int row = 0;
        std::vector<std::unique_ptr<Node>> children;
        // The children's items in row order (null for the header row): what the arrays are
        // compared with on every tick, without visiting each row.
        std::vector<const VXDictionary *> childItems;
        // The children shown open, whose rows follow every reload (the others are not visited).
        std::vector<Node *> openChildren;
        Shown shown;
        bool open = false;   // shown open by the view: its rows follow every reload
    };

    Node *nodeForIndex(const QModelIndex &index) const;
    QModelIndex indexForNode(const Node *node, int column = 0) const;
    std::unique_ptr<Node> makeNode(const VXDictionaryRef &item, Node *parent) const;
    // Brings the node's children in line with `items` (and the header row's cells), then the
    // rows under the open ones.
    void syncChildren(Node &node, const VXArray *items);
    // The rows under closed ones brought in line with the items (for a search).
    void syncClosedRows(Node &node);
    const VXArray *rootArray() const;
    QModelIndex findItem(const VXDictionary *item) const;
    // Whether the rows from `first` on are the items, in order (the usual tick).
    static bool showsExactly(const Node &node, int first, const VXArray *items);
    // Removes, moves and inserts rows until they are.
    void syncRows(Node &node, int first, const VXArray *items);
    // What the row shows now; the texts of durations whose seconds stayed are taken from
    // `before`.
    Shown shownFor(const Node &node, const Shown *before = nullptr) const;
    // Its parts, one at a time. Seconds: kNoTime where none is shown; pie: -1 where none is.
    QString shownName(const Node &node) const;
    std::uint64_t shownSeconds(const Node &node, int column) const;
    int shownPie(const Node &node, int column) const;
    // The state bits; the notes' highlight only `withNotes` (it reads a setting).
    std::uint8_t shownState(const Node &node, bool withNotes = true) const;
    // Tells the view about the cells that show something else now.
    void refreshShown(Node &node);
    static void renumber(Node &node, int from);
    static void noteChildItems(Node &node);

    VXMainController &m_controller;
    VXOrganizerOperations &m_operations;
    VXOrganizerList m_list;
    Node m_root;
    double m_overallTime = 0.0;
    bool m_shown = true;
    bool m_behind = false;
    Changes m_changes;
};
