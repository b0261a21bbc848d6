#pragma once

// A QMenu filled through VXReportMenu (by the application controller or a snapshot's data
// source). Entries with a validator are checked and enabled by it each time the menu (or one
// of its submenus) is about to show.

#include "VXReportMenuTarget.h"

#include <QPointer>

#include <memory>
#include <vector>

class QAction;
class QMenu;

class VXReportMenuAdapter final : public VXValidatedReportMenu
{
public:
    // Fills `menu` (not owned; the adapter must not outlive it).
    explicit VXReportMenuAdapter(QMenu *menu);
    ~VXReportMenuAdapter() override;

    QMenu *menu() const { return m_menu; }

    // An adapter that lives as long as `menu` (for menus handed to others).
    static VXReportMenuAdapter &attachedTo(QMenu *menu);

    void addItem(const QString &title, int tag, std::function<void()> action) override;
    void addItem(const QString &title, int tag, std::function<void()> action,
                 std::function<VXReportMenuItemState()> validate) override;
    void addSeparator() override;
    void addHeading(const QString &title) override;
    VXReportMenu &addSubmenu(const QString &title) override;

    // Asks every validator of this menu and its submenus now.
    void validate();

    // The tag an entry was added with (the action's data).
    static int tagOfAction(const QAction *action);

private:
    QAction *makeItem(const QString &title, int tag, std::function<void()> action);

    QPointer<QMenu> m_menu;
    std::vector<std::pair<QPointer<QAction>, std::function<VXReportMenuItemState()>>> m_validators;
    std::vector<std::unique_ptr<VXReportMenuAdapter>> m_submenus;
};
