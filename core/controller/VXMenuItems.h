#pragma once

// The program's menus as data: every entry once (its title, action, tag and shortcut), and the
// two menus made of them, the windowed mode's menu bar and the tray's action menu. The shell
// builds both from these tables with one action per entry, so they cannot drift apart; the
// controller answers for every entry in validateMenuItem() and runs it in performMenuAction().
//
//     menu bar:     Wendle  File  Edit  View  Window  Help
//     action menu:  Suspend Timers... | About, Help | Preferences... | File >, View > | Undo, Redo | Quit
//
// An alternate entry stands in for the entry before it while Shift is held as its menu opens
// (the silent "Quit" with tag 1, "Enable Debug Logging" in place of "Preferences..."). The View
// menu is filled by VXMainController::populateViewMenu() for the live report.

#include <QString>
#include <QtGlobal>

#include <vector>

// The operations menu entries send (the controller's actions, named as they are there).
enum class VXMenuAction {
    ToggleHibernation,   // toggleHibernation:
    ShowAboutWindow,   // showAboutWindow:
    ShowHelp,   // the help book
    ShowPreferencesWindow,   // showPreferencesWindow:
    ToggleDebugLogging,   // toggleDebugLogging:
    OpenCSV,   // openCSV:
    ExportCSV,   // exportCSV:
    ResetApplicationTimers,   // resetApplicationTimers:
    ResetPoolTimers,   // resetPoolTimers:
    ResetAllTimers,   // resetAllTimers:
    ClearPools,   // clearPools:
    Undo,   // undo:
    Redo,   // redo:
    QuitDeliberately,   // quitDeliberately: (tag 1: without asking)
    ToggleListWindow,   // toggleListWindow:
    ToggleReportWindow,   // toggleReportWindow:
    ToggleStayInFront,   // toggleStayInFront:
    PerformClose,   // closes the active window, as its close button does
    Delete,   // delete: (the organizer's selected item)
    NewPoolFromSelection,   // a pool made of the organizer's selection
    // Sent by the organizer's and the reports' menus; validated here too.
    EditNotesViaMenuItem,   // editNotesViaMenuItem:
    ResetTimerViaMenuItem,   // resetTimerViaMenuItem:
    SetTimeFormatFromMenuItem,   // setTimeFormatFromMenuItem: (the controller's own)
    ToggleShownActivityFromMenuItem,   // toggleShownActivityFromMenuItem: (the controller's own)
    ToggleConversionToDaysFromMenuItem,   // toggleConversionToDaysFromMenuItem:
    SelectColorScheme,   // selectColorScheme:
};

// How an entry shows when its menu opens. An empty title leaves the entry's own.
struct VXMenuItemState {
    bool enabled = true;
    bool checked = false;
    QString title;
};

// The entries of the two menus, each defined once.
enum class VXMenuEntry {
    SuspendTimers,
    About,
    Help,
    Preferences,
    EnableDebugLogging,
    OpenSnapshot,
    ExportSnapshot,
    CloseWindow,
    ResetApplicationTimers,
    ResetPoolTimers,
    ResetAllTimers,
    Undo,
    Redo,
    ClearPools,
    Delete,
    NewPoolFromSelection,
    Quit,
    QuitWithoutAsking,
    Organizer,
    ActivityReport,
    StayInFront,
};

struct VXMenuEntryDefinition {
    VXMenuEntry entry;
    VXMenuAction action;
    int tag;
    const char *title;   // translation context "VXMenuItems"
    const char *shortcut;   // portable key text ("Ctrl+Q"), or null
    bool alternate;   // shown in place of the entry before it while Shift is held
    bool checkable;
};

// What a menu holds, in order.
struct VXMenuLayoutItem {
    enum class Kind { Entry, Separator, Submenu, ViewMenu };
    Kind kind = Kind::Entry;
    VXMenuEntry entry = VXMenuEntry::About;   // Kind::Entry
    const char *title = nullptr;   // Kind::Submenu and Kind::ViewMenu (translation context "VXMenuItems")
    std::vector<VXMenuLayoutItem> items;   // Kind::Submenu
};

// Every entry, in the order of VXMenuEntry.
const std::vector<VXMenuEntryDefinition> &VXMenuEntryDefinitions();
const VXMenuEntryDefinition &VXMenuEntryDefinitionFor(VXMenuEntry entry);

// The windowed mode's menu bar: one submenu per menu title.
const std::vector<VXMenuLayoutItem> &VXMainMenuLayout();
// The tray's action menu (the panel's pop-up menu), in the order the program has always had.
const std::vector<VXMenuLayoutItem> &VXActionMenuLayout();

// Titles of the menus and of entries whose title validation replaces.
inline constexpr char VXApplicationMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Wendle");
inline constexpr char VXFileMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "File");
inline constexpr char VXEditMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Edit");
inline constexpr char VXViewMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "View");
inline constexpr char VXWindowMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Window");
inline constexpr char VXHelpMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Help");
inline constexpr char VXSuspendTimersPlaceholderTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "<< Suspend Timers >>");
inline constexpr char VXAboutWendleTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "About Wendle");
inline constexpr char VXHelpTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Help");
inline constexpr char VXPreferencesMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Preferences...");
inline constexpr char VXEnableDebugLoggingTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Enable Debug Logging");
inline constexpr char VXOpenSnapshotTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Open Snapshot...");
inline constexpr char VXExportSnapshotMenuTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Export Snapshot...");
inline constexpr char VXCloseWindowTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Close Window");
inline constexpr char VXResetApplicationTimersTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Reset Application Timers");
inline constexpr char VXResetPoolTimersTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Reset Pool Timers");
inline constexpr char VXResetAllTimersTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Reset All Timers");
inline constexpr char VXUndoTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Undo");
inline constexpr char VXRedoTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Redo");
inline constexpr char VXClearPoolsTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Clear Pools");
inline constexpr char VXDeleteTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Delete");
inline constexpr char VXNewPoolFromSelectionTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "New Pool from Selection");
inline constexpr char VXQuitTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Quit");
inline constexpr char VXOrganizerTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Organizer");
inline constexpr char VXActivityReportTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Activity Report");
inline constexpr char VXStayInFrontTitle[] = QT_TRANSLATE_NOOP("VXMenuItems", "Stay in Front");
