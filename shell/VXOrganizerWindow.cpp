#include "VXOrganizerWindow.h"

#include "VXMainController.h"

#include <QCloseEvent>
#include <QMoveEvent>
#include <QResizeEvent>

VXOrganizerWindow::VXOrganizerWindow(VXMainController &controller, QWidget *parent) :
    QMainWindow(parent), m_controller(controller)
{
    setObjectName(QStringLiteral("ListWindow"));
    setWindowTitle(tr(VXOrganizerWindowTitle));
    setListContainer(new QWidget());
    resize(420, 560);
}

void VXOrganizerWindow::setListContainer(QWidget *container)
{
    if (!container || container == m_listContainer)
        return;
    container->setObjectName(QStringLiteral("listContainer"));
    container->setAccessibleName(tr(VXOrganizerListsName));
    if (QWidget *previous = takeCentralWidget(); previous && previous != container)
        previous->deleteLater();
    setCentralWidget(container);
    m_listContainer = container;
}

void VXOrganizerWindow::closeEvent(QCloseEvent *event)
{
    // Quitting closes every window; only a close by the user is remembered.
    if (!m_controller.isTerminating() && !m_controller.listWindowShouldClose()) {
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

void VXOrganizerWindow::moveEvent(QMoveEvent *event)
{
    QMainWindow::moveEvent(event);
    frameChanged();
}

void VXOrganizerWindow::resizeEvent(QResizeEvent *event)
{
    QMainWindow::resizeEvent(event);
    frameChanged();
}

void VXOrganizerWindow::frameChanged()
{
    // A hidden window's geometry is the window system's guess, not a place a person chose.
    if (m_frameChanged && isVisible())
        m_frameChanged(geometry());
}
