#include "VXMenuBuilder.h"

#include "VXMainController.h"

#include <QAction>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

namespace {

const char *const kEntryProperty = "vxMenuEntry";

QString menuText(const char *text)
{
    return QCoreApplication::translate("VXMenuItems", text);
}

// A menu title with a mnemonic of its own: the first letter that no menu before it took
// ("Wendle", "Window" -> "&Wendle", "Wi&ndow"), whatever the translation.
QString withMnemonic(const QString &title, QString &taken)
{
    for (qsizetype i = 0; i < title.size(); ++i) {
        const QChar letter = title.at(i).toLower();
        if (letter.isLetter() && !taken.contains(letter)) {
            taken += letter;
            return title.left(i) + u'&' + title.mid(i);
        }
    }
    return title;
}

}   // namespace

VXMenuBuilder::VXMenuBuilder(VXMainController &controller, std::function<void(QMenu *)> fillViewMenu, QObject *parent) :
    QObject(parent), m_controller(controller), m_fillViewMenu(std::move(fillViewMenu))
{
}

void VXMenuBuilder::populateMenuBar(QMenuBar *menuBar)
{
    QString taken;
    for (const VXMenuLayoutItem &item : VXMainMenuLayout()) {
        QMenu *menu = menuBar->addMenu(withMnemonic(menuText(item.title), taken));
        if (item.kind == VXMenuLayoutItem::Kind::ViewMenu) {
            if (m_fillViewMenu)
                m_fillViewMenu(menu);
            continue;
        }
        addItems(menu, item.items, true);
        watchMenu(menu);
    }
}

void VXMenuBuilder::populateActionMenu(QMenu *menu)
{
    addItems(menu, VXActionMenuLayout(), false);
    watchMenu(menu);
}

void VXMenuBuilder::addItems(QMenu *menu, const std::vector<VXMenuLayoutItem> &items, bool withShortcuts)
{
    for (const VXMenuLayoutItem &item : items) {
        switch (item.kind) {
        case VXMenuLayoutItem::Kind::Entry: addEntry(menu, item.entry, withShortcuts); break;
        case VXMenuLayoutItem::Kind::Separator: menu->addSeparator(); break;
        case VXMenuLayoutItem::Kind::Submenu: {
            QMenu *submenu = menu->addMenu(menuText(item.title));
            addItems(submenu, item.items, withShortcuts);
            watchMenu(submenu);
            break;
        }
        case VXMenuLayoutItem::Kind::ViewMenu: {
            QMenu *submenu = menu->addMenu(menuText(item.title));
            if (m_fillViewMenu)
                m_fillViewMenu(submenu);
            break;
        }
        }
    }
}

QAction *VXMenuBuilder::addEntry(QMenu *menu, VXMenuEntry entry, bool withShortcuts)
{
    const VXMenuEntryDefinition &definition = VXMenuEntryDefinitionFor(entry);
    QAction *action = menu->addAction(menuText(definition.title));
    action->setProperty(kEntryProperty, int(entry));
    action->setCheckable(definition.checkable);
    if (withShortcuts && definition.shortcut)
        action->setShortcut(QKeySequence(QString::fromLatin1(definition.shortcut), QKeySequence::PortableText));
    if (definition.entry == VXMenuEntry::Preferences)
        action->setMenuRole(QAction::PreferencesRole);
    // Alternates show only while Shift is held as their menu opens.
    action->setVisible(!definition.alternate);
    // The controller decides, not Qt's own toggling: the check mark comes back from validation.
    // A shortcut reaches the entry without its menu opening: it runs only what the menu would
    // offer.
    connect(action, &QAction::triggered, this, [this, &definition] {
        if (m_controller.validateMenuItem(definition.action, definition.tag).enabled)
            m_controller.performMenuAction(definition.action, definition.tag);
    });
    return action;
}

void VXMenuBuilder::watchMenu(QMenu *menu)
{
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        validateMenu(menu, QGuiApplication::queryKeyboardModifiers().testFlag(Qt::ShiftModifier));
    });
    // What the menu showed is stale once it closes: an entry greyed then (Undo with nothing to
    // undo) must still take its shortcut later, when the trigger asks the controller again.
    connect(menu, &QMenu::aboutToHide, this, [menu] {
        for (QAction *action : menu->actions())
            if (!action->shortcut().isEmpty())
                action->setEnabled(true);
    });
}

const VXMenuEntryDefinition *VXMenuBuilder::definitionOfAction(const QAction *action)
{
    const QVariant entry = action ? action->property(kEntryProperty) : QVariant();
    return entry.isValid() ? &VXMenuEntryDefinitionFor(VXMenuEntry(entry.toInt())) : nullptr;
}

void VXMenuBuilder::validateMenu(QMenu *menu, bool alternates)
{
    const QList<QAction *> actions = menu->actions();
    for (qsizetype i = 0; i < actions.size(); ++i) {
        QAction *action = actions.at(i);
        const VXMenuEntryDefinition *definition = definitionOfAction(action);
        if (!definition)
            continue;
        const VXMenuEntryDefinition *next = definitionOfAction(i + 1 < actions.size() ? actions.at(i + 1) : nullptr);
        const bool replaced = next && next->alternate && alternates;
        action->setVisible(definition->alternate ? alternates : !replaced);
        const VXMenuItemState state = m_controller.validateMenuItem(definition->action, definition->tag);
        action->setEnabled(state.enabled);
        if (action->isCheckable())
            action->setChecked(state.checked);
        action->setText(state.title.isEmpty() ? menuText(definition->title) : state.title);
    }
}
