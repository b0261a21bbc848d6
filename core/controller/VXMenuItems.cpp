#include "VXMenuItems.h"

#include <algorithm>

namespace {

using Kind = VXMenuLayoutItem::Kind;

VXMenuLayoutItem entry(VXMenuEntry which)
{
    return {Kind::Entry, which, nullptr, {}};
}

VXMenuLayoutItem separator()
{
    return {Kind::Separator, VXMenuEntry::About, nullptr, {}};
}

VXMenuLayoutItem submenu(const char *title, std::vector<VXMenuLayoutItem> items)
{
    return {Kind::Submenu, VXMenuEntry::About, title, std::move(items)};
}

VXMenuLayoutItem viewMenu()
{
    return {Kind::ViewMenu, VXMenuEntry::About, VXViewMenuTitle, {}};
}

// The File menu's snapshot and reset entries, the same in both menus.
std::vector<VXMenuLayoutItem> fileItems()
{
    return {entry(VXMenuEntry::OpenSnapshot),
            entry(VXMenuEntry::ExportSnapshot),
            separator(),
            entry(VXMenuEntry::ResetApplicationTimers),
            entry(VXMenuEntry::ResetPoolTimers),
            entry(VXMenuEntry::ResetAllTimers)};
}

}   // namespace

const std::vector<VXMenuEntryDefinition> &VXMenuEntryDefinitions()
{
    using E = VXMenuEntry;
    using A = VXMenuAction;
    static const std::vector<VXMenuEntryDefinition> definitions {
        {E::SuspendTimers, A::ToggleHibernation, 0, VXSuspendTimersPlaceholderTitle, nullptr, false, false},
        {E::About, A::ShowAboutWindow, 0, VXAboutWendleTitle, nullptr, false, false},
        {E::Help, A::ShowHelp, 0, VXHelpTitle, "F1", false, false},
        {E::Preferences, A::ShowPreferencesWindow, 0, VXPreferencesMenuTitle, "Ctrl+,", false, false},
        {E::EnableDebugLogging, A::ToggleDebugLogging, 0, VXEnableDebugLoggingTitle, nullptr, true, true},
        {E::OpenSnapshot, A::OpenCSV, 0, VXOpenSnapshotTitle, "Ctrl+O", false, false},
        {E::ExportSnapshot, A::ExportCSV, 0, VXExportSnapshotMenuTitle, "Ctrl+E", false, false},
        {E::CloseWindow, A::PerformClose, 0, VXCloseWindowTitle, "Ctrl+W", false, false},
        {E::ResetApplicationTimers, A::ResetApplicationTimers, 0, VXResetApplicationTimersTitle, nullptr, false, false},
        {E::ResetPoolTimers, A::ResetPoolTimers, 0, VXResetPoolTimersTitle, nullptr, false, false},
        {E::ResetAllTimers, A::ResetAllTimers, 0, VXResetAllTimersTitle, nullptr, false, false},
        {E::Undo, A::Undo, 0, VXUndoTitle, "Ctrl+Z", false, false},
        {E::Redo, A::Redo, 0, VXRedoTitle, "Ctrl+Shift+Z", false, false},
        {E::ClearPools, A::ClearPools, 0, VXClearPoolsTitle, nullptr, false, false},
        {E::Delete, A::Delete, 0, VXDeleteTitle, "Del", false, false},
        {E::NewPoolFromSelection, A::NewPoolFromSelection, 0, VXNewPoolFromSelectionTitle, "Ctrl+N", false, false},
        {E::Quit, A::QuitDeliberately, 0, VXQuitTitle, "Ctrl+Q", false, false},
        {E::QuitWithoutAsking, A::QuitDeliberately, 1, VXQuitTitle, nullptr, true, false},
        {E::Organizer, A::ToggleListWindow, 0, VXOrganizerTitle, "Ctrl+1", false, true},
        {E::ActivityReport, A::ToggleReportWindow, 0, VXActivityReportTitle, "Ctrl+2", false, true},
        {E::StayInFront, A::ToggleStayInFront, 0, VXStayInFrontTitle, nullptr, false, true},
    };
    return definitions;
}

const VXMenuEntryDefinition &VXMenuEntryDefinitionFor(VXMenuEntry which)
{
    const auto &definitions = VXMenuEntryDefinitions();
    return *std::find_if(definitions.begin(), definitions.end(),
                         [which](const VXMenuEntryDefinition &definition) { return definition.entry == which; });
}

const std::vector<VXMenuLayoutItem> &VXMainMenuLayout()
{
    using E = VXMenuEntry;
    static const std::vector<VXMenuLayoutItem> layout {
        submenu(VXApplicationMenuTitle,
                {entry(E::SuspendTimers), separator(), entry(E::Preferences), entry(E::EnableDebugLogging), separator(),
                 entry(E::Quit), entry(E::QuitWithoutAsking)}),
        submenu(VXFileMenuTitle,
                [] {
                    std::vector<VXMenuLayoutItem> items = fileItems();
                    items.push_back(separator());
                    items.push_back(entry(E::CloseWindow));
                    return items;
                }()),
        submenu(VXEditMenuTitle,
                {entry(E::Undo), entry(E::Redo), separator(), entry(E::Delete), entry(E::NewPoolFromSelection),
                 separator(), entry(E::ClearPools)}),
        viewMenu(),
        submenu(VXWindowMenuTitle, {entry(E::Organizer), entry(E::ActivityReport), separator(), entry(E::StayInFront)}),
        submenu(VXHelpMenuTitle, {entry(E::Help), separator(), entry(E::About)}),
    };
    return layout;
}

const std::vector<VXMenuLayoutItem> &VXActionMenuLayout()
{
    using E = VXMenuEntry;
    static const std::vector<VXMenuLayoutItem> layout {
        entry(E::SuspendTimers),
        separator(),
        entry(E::About),
        entry(E::Help),
        separator(),
        entry(E::Preferences),
        entry(E::EnableDebugLogging),
        separator(),
        submenu(VXFileMenuTitle, fileItems()),
        viewMenu(),
        separator(),
        entry(E::Undo),
        entry(E::Redo),
        separator(),
        entry(E::Quit),
        entry(E::QuitWithoutAsking),
    };
    return layout;
}
