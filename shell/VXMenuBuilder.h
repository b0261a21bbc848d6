#pragma once

// Makes Qt menus from the program's menu tables (VXMenuItems): the windowed mode's menu bar and
// the tray's action menu, one QAction per entry, each sent to the controller's
// performMenuAction(). Every time a menu opens, its entries are validated by the controller
// (enabled, checked, title), and the alternates take the place of the entry before them while
// Shift is held:
//
//     Shift up:    Preferences...            Quit            (Ctrl+Q)
//     Shift down:  Enable Debug Logging      Quit (tag 1, never asks)

#include "VXMenuItems.h"

#include <QObject>

#include <functional>

class QAction;
class QMenu;
class QMenuBar;
class VXMainController;

class VXMenuBuilder : public QObject
{
    Q_OBJECT
public:
    // `fillViewMenu` fills a View menu for the live report (which validates its own entries).
    VXMenuBuilder(VXMainController &controller, std::function<void(QMenu *)> fillViewMenu, QObject *parent = nullptr);

    // The menu bar of a window in windowed mode (with the entries' shortcuts).
    void populateMenuBar(QMenuBar *menuBar);
    // The tray's action menu (without shortcuts: no window holds it).
    void populateActionMenu(QMenu *menu);

    // Validates a menu's entries and shows its alternates as a menu about to open does.
    void validateMenu(QMenu *menu, bool alternates);
    // The entry an action stands for, if it is one of the table's.
    static const VXMenuEntryDefinition *definitionOfAction(const QAction *action);

private:
    void addItems(QMenu *menu, const std::vector<VXMenuLayoutItem> &items, bool withShortcuts);
    QAction *addEntry(QMenu *menu, VXMenuEntry entry, bool withShortcuts);
    void watchMenu(QMenu *menu);

    VXMainController &m_controller;
    std::function<void(QMenu *)> m_fillViewMenu;
};
