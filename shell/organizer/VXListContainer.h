#pragma once

// The organizer's two lists in one widget: the application list above the pool list in a
// vertical splitter whose panes never collapse (each keeps its header and four rows). Selection
// is single across both lists. The window that holds it (the organizer window, or the tray's
// panel) only places it.
//
// The program's VXMainControllerDelegate forwards the list half of its interface here:
//
//     reloadApplicationList(), reloadPoolList()    after every tick
//     restoreExpansionStates()                     after a full tick that asks for it
//     showHibernationState()                       the "Suspended" veil
//     isEditingListItem(), selectedItem(), selectPoolListItem()

#include "VXOrganizerOperations.h"
#include "VXValue.h"

#include <QPointer>
#include <QWidget>

class QSplitter;
class VXItemList;
class VXMainController;
class VXNotesDialog;

class VXListContainer final : public QWidget, public VXOrganizerView
{
    Q_OBJECT
public:
    VXListContainer(VXMainController &controller, QWidget *parent = nullptr);
    ~VXListContainer() override;

    VXItemList *applicationList() const { return m_applicationList; }
    VXItemList *poolList() const { return m_poolList; }
    QSplitter *splitter() const { return m_splitter; }
    VXItemList *listFor(VXOrganizerList list) const;

    // ---- What the delegate forwards

    void reloadApplicationList();
    void reloadPoolList();
    void restoreExpansionStates(bool regardless = false);
    void showHibernationState(bool hibernating, bool animated);
    bool isEditingListItem() const;
    // The item selected in the pool list, else in the application list.
    VXDictionaryRef selectedItem() const;
    void selectPoolListItem(const VXDictionaryRef &item);
    // Shows the controller's sort column in both lists.
    void showSortColumn(int column);

    // `delete:`: removes the selected item (undoable); beeps when nothing can be removed.
    bool deleteSelectedItem();

    // ---- VXOrganizerView

    bool isItemExpanded(const VXDictionary &item) const override;
    void setItemExpanded(const VXDictionaryRef &item, bool expanded) override;
    bool isNotesEditorOpen() const override;
    void editNotesForPool(const VXDictionaryRef &pool) override;
    void reportFailure(const QString &message, const QString &why) override;

    VXNotesDialog *notesDialog() const;

private:
    // The list an item of the tree belongs in.
    VXItemList *listShowing(const VXDictionary &item) const;

    VXMainController &m_controller;
    QSplitter *m_splitter;
    VXItemList *m_applicationList;
    VXItemList *m_poolList;
    QPointer<VXNotesDialog> m_notesDialog;
};
