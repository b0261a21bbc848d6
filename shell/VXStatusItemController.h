#pragma once

// Wendle in the tray: the icon, its tooltip saying what Wendle does, its menu (the action menu),
// and the panel the icon opens, which holds the organizer's lists or the live report. The icon
// is drawn in the style of "Status Item Icon (1231)" for the panel's state (open, which section)
// and for hibernation. The views themselves belong to their windows: the shell moves them into
// the panel and takes them back out (VXStatusItemPanel::setView, takeView).

#include "VXStatusItemIcon.h"

#include <QObject>
#include <QPoint>
#include <QString>

#include <memory>
#include <optional>

class QMenu;
class QSystemTrayIcon;
class VXMenuBuilder;
class VXStatusItemPanel;
class VXUserDefaults;

class VXStatusItemController : public QObject
{
    Q_OBJECT
public:
    VXStatusItemController(VXMenuBuilder &menus, VXUserDefaults &defaults, QObject *parent = nullptr);
    ~VXStatusItemController() override;

    void setStatus(const QString &status);
    // Tracking hibernates; deeply when it waits to be woken by hand.
    void setHibernating(bool hibernating, bool deepHibernation);
    // Draws the icon for the style in the settings and the panel's state, when that changed.
    void redrawIcon();

    // A click on the icon: opens or closes the panel under it (or at the click), and beeps when
    // nothing changed.
    void handleClick(const std::optional<QPoint> &clickPosition);
    // Opens the panel on a section (the menus' "Organizer" and "Activity Report").
    void showSection(const QString &identifier);

    VXStatusItemPanel *panel() const { return m_panel.get(); }
    QMenu *actionMenu() const { return m_actionMenu.get(); }
    QSystemTrayIcon *trayIcon() const { return m_tray.get(); }
    const VXStatusItemIconState &iconState() const { return m_iconState; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // Where the panel hangs from: the icon, as far as the tray says where it is.
    void anchorPanel(const std::optional<QPoint> &clickPosition);

    VXUserDefaults &m_defaults;
    std::unique_ptr<QMenu> m_actionMenu;
    std::unique_ptr<VXStatusItemPanel> m_panel;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    VXStatusItemIconState m_iconState;
    std::optional<VXStatusItemIconState> m_drawnState;
};
