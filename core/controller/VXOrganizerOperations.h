#pragma once

// What the organizer's two lists do to the tree: renaming, dragging items out and dropping
// them onto pools (or onto empty space, which makes a pool), expansion states, the context
// menu and its commands, and the pool notes. The lists (shell/organizer) are views: they ask
// here what a row may do and call here when the user acts; every rule lives in this class, so
// that it runs without a display.
//
// The two lists show the controller's applicationArray() and poolArray(). Dragging and
// dropping, in the pasteboard's terms:
//
//     application list row  --"List Item" (the item as a property list)-->  pool, or empty space
//     pool list row (pool)  --"Delete from List" (no data)-->  outside the pool list: deleted
//
// Every change pushes an undo state first; a drop that fails pops it again, so a refused drop
// leaves no trace. Failures answer false and write a log line.

#include "VXReportDataSource.h"
#include "VXValue.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

class VXMainController;

// The pasteboard types (MIME formats of exactly these names).
inline const QString VXListItemPasteboardType = QStringLiteral("com.brasswing.Wendle.Pasteboard Type: List Item");
inline const QString VXDeleteFromListPasteboardType
    = QStringLiteral("com.brasswing.Wendle.Pasteboard Type: Delete from List");

// Settings read by the lists.
inline const QString VXPoolsEditableApplicationNamesKey = QStringLiteral("Pools: Editable Application Names");
inline const QString VXInfoIconsReflectNotesStatusKey = QStringLiteral("Info Icons Reflect Notes Status");

// The texts of the lists and their menu. Translation context "VXOrganizer".
inline constexpr char VXApplicationsHeaderTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Applications");
inline constexpr char VXPoolsHeaderTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Pools");
inline constexpr char VXDragItemsHereText[] = QT_TRANSLATE_NOOP("VXOrganizer", "Drag items here to create pools");
inline constexpr char VXCreatePoolText[] = QT_TRANSLATE_NOOP("VXOrganizer", "Create Pool");
inline constexpr char VXHibernationMessageItemList[] = QT_TRANSLATE_NOOP("VXOrganizer", "Suspended");
inline constexpr char VXContextMenuTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Context");
inline constexpr char VXCollapseTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Collapse");
inline constexpr char VXExpandTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Expand");
inline constexpr char VXEditNotesTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Edit Notes");
inline constexpr char VXResetTimerTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Reset Timer");
inline constexpr char VXRemoveFromListTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Remove from List");
inline constexpr char VXRemoveAndBlacklistTitle[]
    = QT_TRANSLATE_NOOP("VXOrganizer", "Remove from List and Add to Blacklist");
inline constexpr char VXBringToForegroundTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Bring to Foreground");
inline constexpr char VXQuitApplicationTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Quit");
inline constexpr char VXLaunchApplicationTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "Launch");
inline constexpr char VXNotesWindowTitle[] = QT_TRANSLATE_NOOP("VXOrganizer", "\"%1\" - Notes");
inline constexpr char VXCannotLaunchMessage[] = QT_TRANSLATE_NOOP("VXOrganizer", "\"%1\" cannot be launched.");
inline constexpr char VXCannotActivateMessage[]
    = QT_TRANSLATE_NOOP("VXOrganizer", "\"%1\" cannot be brought to the foreground.");
inline constexpr char VXCannotQuitMessage[] = QT_TRANSLATE_NOOP("VXOrganizer", "\"%1\" cannot be quit.");

// The hooked right arrow shown beside "Create Pool" while a history-carrying drag hovers.
inline constexpr char16_t VXHookedRightArrow = u'\u21AA';

enum class VXOrganizerList { Applications, Pools };

// The sort columns, which are also the lists' column order.
enum VXOrganizerColumn { VXNameColumn = 0, VXFrontColumn = 1, VXTotalColumn = 2, VXColumnCount = 3 };

// The lists as the operations need them: their expansion state, the notes editor, and where a
// command's failure is told.
class VXOrganizerView
{
public:
    virtual ~VXOrganizerView() = default;
    virtual bool isItemExpanded(const VXDictionary &item) const = 0;
    virtual void setItemExpanded(const VXDictionaryRef &item, bool expanded) = 0;
    virtual bool isNotesEditorOpen() const = 0;
    // Opens the notes editor on the pool (editNotesForPool()).
    virtual void editNotesForPool(const VXDictionaryRef &pool) = 0;
    // A command could not be done: `message` names it, `why` is the desktop's reason.
    virtual void reportFailure(const QString &message, const QString &why) = 0;
};

// The item the pasteboard carries, written by writeItem().
struct VXPasteboardItem {
    QString type;   // empty: nothing may be dragged
    QByteArray data;
};

class VXOrganizerOperations
{
public:
    explicit VXOrganizerOperations(VXMainController &controller);

    void setView(VXOrganizerView *view) { m_view = view; }
    VXOrganizerView *view() const { return m_view; }

    // ---- Cell values

    // "Applications" or "Pools".
    static QString headerName(VXOrganizerList list);
    // The overall time a list's pies are shares of.
    double overallTime(VXOrganizerList list) const;
    // The header row's total: the overall application time, and in the pool list the overall
    // pool time only when it differs from that by more than 0.99 seconds (else nothing).
    std::optional<double> headerTotal(VXOrganizerList list) const;

    // ---- Renaming (the pool list only)

    bool shouldEditItem(VXOrganizerList list, const VXDictionary &item) const;
    // An edit begins: tracking pauses transitorily so that no tick disturbs the editor.
    void editingDidBegin();
    // Takes the new name when it is text and differs from the shown one; anything but a pool
    // needs a name that is not blank. Pushes an undo state first. Answers whether it changed.
    bool setObjectValue(VXOrganizerList list, const VXDictionaryRef &item, const VXValue &value);

    // ---- Dragging out

    // Exactly one row, not the header. A pool is written as "Delete from List" and remembered as
    // the item to delete; anything else as "List Item" with its dictionary.
    VXPasteboardItem writeItem(VXOrganizerList list, const VXDictionaryRef &item);
    const VXDictionaryRef &itemToDelete() const { return m_itemToDelete; }
    // The pool drag ended outside the pool list: removes the remembered pool. Answers success.
    bool deleteDraggedItem();
    // Any drag from the lists ended: the remembered pool is forgotten.
    void dragDidEnd() { m_itemToDelete.reset(); }

    // ---- Dropping

    // The dragged dictionary read from "List Item" data; null for anything that is not one.
    static VXDictionaryRef draggedItemFromData(const QByteArray &data);
    // Whether a drop may happen: onto a pool (`proposedChildIndex` -1), or onto empty space
    // (no item). `dragged` is the dictionary the pasteboard carries (null when it carries none).
    bool validateDrop(VXOrganizerList list, const VXDictionary *proposedItem, int proposedChildIndex,
                      const VXDictionary *dragged) const;
    // The drop. With `carryHistory` (the drop made with Shift) the entries it creates or changes
    // take the dragged item's event logs and times. Answers success; a failure leaves the tree
    // and the undo history as they were.
    bool acceptDrop(VXOrganizerList list, const VXDictionaryRef &item, int childIndex, const VXDictionary *dragged,
                    bool carryHistory);
    // A drop of the item on empty space: the keyboard's way to make a pool. Only items of the
    // application list qualify; answers success.
    bool newPoolFromItem(const VXDictionaryRef &item);
    bool canMakePoolFromItem(const VXDictionary *item) const;

    // ---- Expansion

    // A row was expanded or collapsed: "Expanded" is stored on its item.
    static void storeExpandedState(VXDictionary &item, bool expanded);
    // Only pools and pool members with children spring open while a drag hovers.
    static bool shouldAutoExpandItem(const VXDictionary &item);

    // ---- The context menu and its commands

    // Fills the menu for the item (none for the header row, a null item, or while the notes
    // editor is open). `fromEventLog`: opened from a report's row. Answers whether it did.
    bool contextMenuForItem(const VXDictionaryRef &item, bool fromEventLog, VXReportMenu &menu);

    void toggleExpansionViaMenuItem(const VXDictionaryRef &item);
    void editNotesViaMenuItem(const VXDictionaryRef &item);
    void resetTimerViaMenuItem(const VXDictionaryRef &item);
    bool toggleMatchAnyApplicationViaMenuItem(const VXDictionaryRef &item);
    // Tag -1 removes and blacklists.
    bool deleteItemViaMenuItem(const VXDictionaryRef &item, int tag);
    bool launchApplicationViaMenuItem(const VXDictionaryRef &item);
    bool activateApplicationViaMenuItem(const VXDictionaryRef &item);
    bool quitApplicationViaMenuItem(const VXDictionaryRef &item);

    // ---- Pool notes

    // The editor's title, "\"<display name>\" - Notes".
    static QString notesTitle(const VXDictionary &pool);
    static QString poolNotes(const VXDictionary &pool);
    // Stores the text when it differs (an empty text removes the key), after an undo state.
    // Answers whether it changed.
    bool noteEditorDone(const VXDictionaryRef &pool, const QString &text);

private:
    VXDictionary *configurationDictionary() const;
    void collect(std::vector<VXDictionaryRef> *collected, VXDictionary *entry) const;
    void carryHistory(const std::vector<VXDictionaryRef> &entries, const VXDictionary &dragged) const;
    bool dropItem(VXDictionary *pool, const VXDictionary &dragged, std::vector<VXDictionaryRef> *collected);

    VXMainController &m_controller;
    VXOrganizerView *m_view = nullptr;
    VXDictionaryRef m_itemToDelete;
};

// Merges two event logs into one covering the periods of both (overlapping periods join; an
// open period stays open), keeping only what lies from `from` on:
//
//     a:       [+1  -4]        [+9 ...
//     b:            [+3   -6]       [+10 -12]
//     merged:  [+1        -6]  [+9 ...
VXArrayRef VXMergedEventLog(const VXArray *a, const VXArray *b, double from);
