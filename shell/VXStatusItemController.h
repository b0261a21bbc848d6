#pragma once

// Wendle in the tray: the icon (in grey while tracking hibernates), its tooltip saying what
// Wendle does, and its menu, the action menu. A click on the icon opens the organizer (the
// tray's own panel takes its place once it is there).

#include <QObject>
#include <QString>

#include <memory>

class QMenu;
class QSystemTrayIcon;
class VXMainController;
class VXMenuBuilder;

class VXStatusItemController : public QObject
{
    Q_OBJECT
public:
    VXStatusItemController(VXMainController &controller, VXMenuBuilder &menus, QObject *parent = nullptr);
    ~VXStatusItemController() override;

    void setStatus(const QString &status);
    void setHibernating(bool hibernating);
    QMenu *actionMenu() const { return m_actionMenu.get(); }
    QSystemTrayIcon *trayIcon() const { return m_tray.get(); }

private:
    VXMainController &m_controller;
    std::unique_ptr<QMenu> m_actionMenu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    bool m_hibernating = false;
};
