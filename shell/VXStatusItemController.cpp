#include "VXStatusItemController.h"

#include "VXApplicationIcon.h"
#include "VXMainController.h"
#include "VXMenuBuilder.h"

#include <QMenu>
#include <QSystemTrayIcon>

VXStatusItemController::VXStatusItemController(VXMainController &controller, VXMenuBuilder &menus, QObject *parent) :
    QObject(parent), m_controller(controller), m_actionMenu(std::make_unique<QMenu>())
{
    m_actionMenu->setObjectName(QStringLiteral("actionMenu"));
    menus.populateActionMenu(m_actionMenu.get());
    m_tray = std::make_unique<QSystemTrayIcon>(applicationIcon());
    m_tray->setContextMenu(m_actionMenu.get());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            m_controller.toggleListWindow();
    });
    m_tray->show();
}

VXStatusItemController::~VXStatusItemController()
{
    // The icon goes before the menu it shows.
    m_tray.reset();
}

void VXStatusItemController::setStatus(const QString &status)
{
    if (m_tray->toolTip() != status)
        m_tray->setToolTip(status);
}

void VXStatusItemController::setHibernating(bool hibernating)
{
    if (hibernating == m_hibernating)
        return;
    m_hibernating = hibernating;
    m_tray->setIcon(applicationIcon(hibernating));
}
