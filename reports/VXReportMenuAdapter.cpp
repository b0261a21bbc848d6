#include "VXReportMenuAdapter.h"

#include <QAction>
#include <QMenu>

VXReportMenuAdapter::VXReportMenuAdapter(QMenu *menu) : m_menu(menu)
{
    if (m_menu)
        QObject::connect(m_menu, &QMenu::aboutToShow, m_menu, [this] { validate(); });
}

VXReportMenuAdapter::~VXReportMenuAdapter()
{
    if (m_menu)
        QObject::disconnect(m_menu, &QMenu::aboutToShow, m_menu, nullptr);
}

VXReportMenuAdapter &VXReportMenuAdapter::attachedTo(QMenu *menu)
{
    auto *adapter = new VXReportMenuAdapter(menu);
    if (menu) {
        // The menu is half destroyed when it says so: let go of it without touching it.
        QObject::connect(menu, &QObject::destroyed, [adapter] {
            adapter->m_menu.clear();
            delete adapter;
        });
    }
    return *adapter;
}

QAction *VXReportMenuAdapter::makeItem(const QString &title, int tag, std::function<void()> action)
{
    if (!m_menu)
        return nullptr;
    QAction *item = m_menu->addAction(title);
    item->setData(tag);
    if (action)
        QObject::connect(item, &QAction::triggered, item, [action = std::move(action)] { action(); });
    return item;
}

void VXReportMenuAdapter::addItem(const QString &title, int tag, std::function<void()> action)
{
    makeItem(title, tag, std::move(action));
}

void VXReportMenuAdapter::addItem(const QString &title, int tag, std::function<void()> action,
                                  std::function<VXReportMenuItemState()> validate)
{
    QAction *item = makeItem(title, tag, std::move(action));
    if (!item || !validate)
        return;
    item->setCheckable(true);
    m_validators.emplace_back(item, std::move(validate));
}

void VXReportMenuAdapter::addSeparator()
{
    if (m_menu)
        m_menu->addSeparator();
}

void VXReportMenuAdapter::addHeading(const QString &title)
{
    if (!m_menu)
        return;
    QAction *heading = m_menu->addAction(title);
    heading->setEnabled(false);
}

VXReportMenu &VXReportMenuAdapter::addSubmenu(const QString &title)
{
    QMenu *submenu = m_menu ? m_menu->addMenu(title) : nullptr;
    m_submenus.push_back(std::make_unique<VXReportMenuAdapter>(submenu));
    return *m_submenus.back();
}

void VXReportMenuAdapter::validate()
{
    for (const auto &[action, validator] : m_validators) {
        if (!action)
            continue;
        const VXReportMenuItemState state = validator();
        action->setEnabled(state.enabled);
        action->setChecked(state.checked);
    }
    for (const auto &submenu : m_submenus)
        submenu->validate();
}

int VXReportMenuAdapter::tagOfAction(const QAction *action)
{
    return action ? action->data().toInt() : 0;
}
