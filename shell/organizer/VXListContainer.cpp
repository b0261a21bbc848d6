#include "VXListContainer.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXItemList.h"
#include "VXItemListModel.h"
#include "VXMainController.h"
#include "VXNotesDialog.h"

#include <QApplication>
#include <QHeaderView>
#include <QMessageBox>
#include <QSplitter>
#include <QVBoxLayout>

VXListContainer::VXListContainer(VXMainController &controller, QWidget *parent) :
    QWidget(parent), m_controller(controller), m_splitter(new QSplitter(Qt::Vertical, this)),
    m_applicationList(new VXItemList(controller, VXOrganizerList::Applications, m_splitter)),
    m_poolList(new VXItemList(controller, VXOrganizerList::Pools, m_splitter))
{
    setAccessibleName(tr("Organizer lists"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_splitter);
    m_splitter->addWidget(m_applicationList);
    m_splitter->addWidget(m_poolList);
    m_splitter->setChildrenCollapsible(false);
    m_splitter->setStretchFactor(0, 3);
    m_splitter->setStretchFactor(1, 2);

    // One selection across both lists.
    connect(m_applicationList, &VXItemList::rowSelected, m_poolList, &QAbstractItemView::clearSelection);
    connect(m_poolList, &VXItemList::rowSelected, m_applicationList, &QAbstractItemView::clearSelection);
    for (VXItemList *list : {m_applicationList, m_poolList}) {
        connect(list, &VXItemList::deleteRequested, this, &VXListContainer::deleteSelectedItem);
        // A click on either header sorts both lists.
        connect(list->header(), &QHeaderView::sectionClicked, this,
                [this] { showSortColumn(m_controller.sortColumn()); });
    }
    m_controller.organizer().setView(this);
    showHibernationState(m_controller.hibernation().isHibernating(), false);
}

VXListContainer::~VXListContainer()
{
    if (m_controller.organizer().view() == this)
        m_controller.organizer().setView(nullptr);
}

VXItemList *VXListContainer::listFor(VXOrganizerList list) const
{
    return list == VXOrganizerList::Applications ? m_applicationList : m_poolList;
}

void VXListContainer::reloadApplicationList()
{
    m_applicationList->reload();
    // The sort column may have been changed from outside (`wendle defaults write Sort`).
    showSortColumn(m_controller.sortColumn());
}

void VXListContainer::reloadPoolList()
{
    m_poolList->reload();
}

void VXListContainer::restoreExpansionStates(bool regardless)
{
    m_applicationList->restoreExpansionStates(regardless);
    m_poolList->restoreExpansionStates(regardless);
}

void VXListContainer::showHibernationState(bool hibernating, bool animated)
{
    Q_UNUSED(animated);
    m_applicationList->setHibernating(hibernating);
    m_poolList->setHibernating(hibernating);
}

bool VXListContainer::isEditingListItem() const
{
    return m_applicationList->isEditing() || m_poolList->isEditing();
}

VXDictionaryRef VXListContainer::selectedItem() const
{
    const VXDictionaryRef pool = m_poolList->selectedItem();
    return pool ? pool : m_applicationList->selectedItem();
}

void VXListContainer::selectPoolListItem(const VXDictionaryRef &item)
{
    m_poolList->selectItem(item.get());
}

void VXListContainer::showSortColumn(int column)
{
    m_applicationList->showSortColumn(column);
    m_poolList->showSortColumn(column);
}

bool VXListContainer::deleteSelectedItem()
{
    const VXDictionaryRef item = selectedItem();
    if (!item || !m_controller.resets().deleteItem(item, false)) {
        QApplication::beep();
        return false;
    }
    return true;
}

// ---- VXOrganizerView

VXItemList *VXListContainer::listShowing(const VXDictionary &item) const
{
    return isPoolOrPoolItem(item) ? m_poolList : m_applicationList;
}

bool VXListContainer::isItemExpanded(const VXDictionary &item) const
{
    VXItemList *list = listShowing(item);
    const QModelIndex index = list->itemModel()->indexForItem(&item);
    return index.isValid() && list->isExpanded(index);
}

void VXListContainer::setItemExpanded(const VXDictionaryRef &item, bool expanded)
{
    if (!item)
        return;
    VXItemList *list = listShowing(*item);
    const QModelIndex index = list->itemModel()->indexForItem(item.get());
    if (index.isValid())
        list->setExpanded(index, expanded);
}

bool VXListContainer::isNotesEditorOpen() const
{
    return !m_notesDialog.isNull();
}

VXNotesDialog *VXListContainer::notesDialog() const
{
    return m_notesDialog.data();
}

void VXListContainer::editNotesForPool(const VXDictionaryRef &pool)
{
    if (!pool || m_notesDialog || pool->value(VXPathKey).stringRef() != VXPoolPathMarker)
        return;
    // The window that shows the lists comes forward first.
    QWidget *host = window();
    if (host->isHidden())
        host->show();
    host->raise();
    host->activateWindow();
    m_notesDialog = new VXNotesDialog(m_controller.organizer(), pool, host);
    // Closed is closed, though the dialog itself goes only on the next turn of the loop.
    connect(m_notesDialog, &QDialog::finished, this, [this] { m_notesDialog = nullptr; });
    m_notesDialog->open();
}

void VXListContainer::reportFailure(const QString &message, const QString &why)
{
    auto *box = new QMessageBox(QMessageBox::Warning, message, message, QMessageBox::Ok, window());
    box->setInformativeText(why);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}
