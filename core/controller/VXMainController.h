#pragma once

// The application's controller: it owns the configuration tree and the state that lives for
// the whole run, and wires the subsystems together. It holds no logic of its own beyond that
// wiring: the tick is VXActivitySampler's, the pattern rules are in VXBlacklists and VXPools,
// pausing and hibernation are VXHibernation's, the file is VXConfigurationStore's, undo is
// VXUndoHistory's, resets, clears, removals and the daily tasks are VXResets', the export is
// VXExporter's and folder access is VXSecurityScopedBookmarkManager's. The user interface
// reaches them through the accessors below and is reached through VXMainControllerDelegate.
//
// The tick runs as a chain of single delayed calls: each tick schedules the next after the
// update interval, and a forced tick (any sender) cancels the pending one and runs at once.
//
//     scheduled:  tick ---0.5s--- tick ---0.5s--- tick
//     forced:                  tick!  ---0.5s--- tick   (the pending one is dropped)
//
// Its dependencies come in through the constructor, so a test runs a day of ticks on a fake
// desktop and a virtual clock. The program's main() only wires:
//
//     controller.applicationWillFinishLaunching();            // settings, the mode
//     controller.applicationDidFinishLaunching(input, other); // presence, tree, first tick
//     ... event loop (completeUISetup runs on its first turn: welcome, tray or windows) ...
//     controller.applicationShouldTerminate();                // on every way out: save
//
// The program lives in windows (the organizer and the report with a menu bar) or in the tray
// (an icon whose menu is the action menu). The mode switches in place:
//
//     "Welcome" unset  -> windowed, the welcome window asks once
//     "Status Item"    -> tray, where the session has one; else windowed (said once in the log)
//
// The menu entries, the preferences' handlers and the quit confirmation live here and in
// VXMenuItems and VXPreferenceHandlers; the windows are the delegate's and only show them.

#include "VXActivitySampler.h"
#include "VXConfigurationStore.h"
#include "VXDesktop.h"
#include "VXExporter.h"
#include "VXFolderAccessUserInterface.h"
#include "VXHibernation.h"
#include "VXHibernationDelegate.h"
#include "VXJournal.h"
#include "VXMenuItems.h"
#include "VXOrganizerOperations.h"
#include "VXPreferenceHandlers.h"
#include "VXReportDataSource.h"
#include "VXResets.h"
#include "VXResetsDelegate.h"
#include "VXSecurityScopedBookmarkManager.h"
#include "VXShellSettings.h"
#include "VXUndoHistory.h"
#include "VXValue.h"

#include <QMetaObject>
#include <QString>

#include <optional>
#include <vector>

class VXClock;
class VXMainControllerDelegate;
class VXPresenceSource;
class VXScheduler;
class VXUserDefaults;

// The live report's View menu and the settings it changes. Titles are translated in the
// context "VXMainController".
inline const QString VXColorSchemeKey = QStringLiteral("Color Scheme");   // 0 "Original", 2 "Light", 3 "Dark"
inline constexpr char VXAsTimeLapseTitle[] = QT_TRANSLATE_NOOP("VXMainController", "as Time Lapse");
inline constexpr char VXAsTimePortionsTitle[] = QT_TRANSLATE_NOOP("VXMainController", "as Time Portions");
inline constexpr char VXForegroundActivityTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Foreground Activity");
inline constexpr char VXTotalActivityTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Total Activity");
inline constexpr char VXDisplayIntervalsAsDaysTitle[]
    = QT_TRANSLATE_NOOP("VXMainController", "Display >24-Hour Intervals as Days");
inline constexpr char VXColorSchemeTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Color Scheme");
inline constexpr char VXOriginalColorSchemeTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Original");
inline constexpr char VXStandardHighlightColorTitle[]
    = QT_TRANSLATE_NOOP("VXMainController", "Standard Highlight Color");
inline constexpr char VXDarkColorSchemeTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Dark");
inline constexpr char VXLightColorSchemeTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Light");

// The quit confirmation. Translation context "VXMainController".
inline constexpr char VXQuitAlertTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Quit Wendle?");
inline constexpr char VXQuitAlertText[] = QT_TRANSLATE_NOOP(
    "VXMainController", "Are you sure you want Wendle to stop tracking your activities and quit now?");
inline constexpr char VXQuitButtonTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Quit");
inline constexpr char VXQuitAndDontAskAgainButtonTitle[]
    = QT_TRANSLATE_NOOP("VXMainController", "Quit and don't ask again");
// The open panel of "Open Snapshot".
inline constexpr char VXOpenSnapshotPanelTitle[] = QT_TRANSLATE_NOOP("VXMainController", "Open Snapshot");

// Log lines of the shell.
inline const QString VXNoSystemTrayMessage
    = QStringLiteral("the session shows no tray icons: Wendle runs in windows instead of the tray");
inline const QString VXCannotLoadPreferencesMessage = QStringLiteral("cannot load <Preferences.nib>");

class VXMainController : public VXReportDataSource,
                         private VXHibernationDelegate,
                         private VXResetsDelegate,
                         private VXFolderAccessUserInterface
{
public:
    // The names under which the tick and the end of launch are scheduled (with the controller
    // as target).
    static const QString kUpdateListsOperation;   // "updateLists:"
    static const QString kCompleteUISetupOperation;   // "completeUISetup"

    // Reads "Show Inactive Application Items" and "Show Inactive Pools" now: they are start-up
    // settings. The delegate may be null (no user interface).
    VXMainController(VXDesktop &desktop, VXScheduler &scheduler, VXClock &clock, VXUserDefaults &defaults,
                     VXMainControllerDelegate *delegate = nullptr);
    virtual ~VXMainController();

    VXMainController(const VXMainController &) = delete;
    VXMainController &operator=(const VXMainController &) = delete;

    void setDelegate(VXMainControllerDelegate *delegate) { m_delegate = delegate; }

    // ---- Start-up and quit

    // Before launch completes: imports the older settings domain once, registers the default
    // settings, and installs the bookmark manager as the program's folder access.
    void applicationWillFinishLaunching();
    // When launch completes: reads the hibernation interval and the "Show Inactive" settings,
    // starts the input monitors (the idle countdown starts when one works; otherwise "cannot
    // install event monitor" is logged and the program never hibernates by itself) and the
    // other presence sources (sleep, session, lock), loads the tree, resumes a deep
    // hibernation, runs the first tick (through the sort column) and schedules
    // completeUISetup() for the next turn of the loop.
    void applicationDidFinishLaunching(const std::vector<VXPresenceSource *> &inputMonitors,
                                       const std::vector<VXPresenceSource *> &notificationSources);
    // The end of launch: the live report, the welcome choice, the tray or the windows, the daily
    // tasks, and the first periodic save scheduled 1800 s ahead.
    void completeUISetup();
    // The quit path (quit, logout, SIGTERM): the presence sources stop, the user interface is
    // torn down, the tree is saved with the settings as fallback, and the settings are written.
    // Answers whether the record reached its file; when not, store().saveFailure() says why
    // (the tree is then in the settings, as far as they could be written).
    bool applicationShouldTerminate();

    // ---- Windowed and tray mode

    // True in windowed mode. (The name is the program's of old, kept with this sense: the
    // process starts as a tray program and is "transformed" into a windowed one.)
    bool isStatusItem() const { return m_isStatusItem; }
    bool runsAsStatusItem() const { return !m_isStatusItem; }
    // Whether the tray icon and its menu are built.
    bool hasStatusItemUI() const { return m_hasStatusItemUI; }
    bool isSystemTrayAvailable() const;
    // Settles the mode from "Status Item" and "Welcome" (tray only after the welcome choice, and
    // only where the session has a tray), in place; the preferences window shows again at its
    // frame when the mode changed under it.
    void checkStatusItem();
    // Builds or tears down the tray's interface when it does not match the mode.
    void checkStatusItemUI();
    // The tray switch and the welcome window's two choices: stores the mode and switches to it;
    // closes the welcome window in any case.
    void setStatusItem(bool statusItem);
    void welcomeDock() { setStatusItem(false); }
    void welcomeMenuBar() { setStatusItem(true); }

    // Wendle was started again while it runs (from the launcher): answers whether a window of
    // it was visible (nothing else happens then); otherwise, in windowed mode, the window closed
    // last opens again.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    // Files handed to the program (its command line, a second start): CSV files open as
    // snapshot reports, others are left alone. Answers the files that will open.
    QStringList applicationOpenFiles(const QStringList &paths);

    // ---- Menus and windows

    // Whether a menu entry is enabled, checked and how it is titled now. `item` is the entry's
    // own item (the organizer's context menu), if any.
    VXMenuItemState validateMenuItem(VXMenuAction action, int tag,
                                     const VXDictionaryRef &item = VXDictionaryRef()) const;
    // Runs a menu entry.
    void performMenuAction(VXMenuAction action, int tag);

    void toggleListWindow();
    // The organizer's close button: remembers that the organizer was closed; the close goes ahead.
    bool listWindowShouldClose();
    void toggleStayInFront();
    void toggleDebugLogging();
    void showPreferencesWindow() { showPreferencesWithFrame(QString()); }
    // Shows the preferences (made on first use) at a frame ("x y width height"), or centred.
    void showPreferencesWithFrame(const QString &frame);
    // "Open Snapshot...": the chosen CSV files open as reports.
    void openCSV();
    // "Export Snapshot...": the live report's range to a CSV file.
    void exportCSV();
    // The export's save panel runs: the program is modal (the tray switch is disabled).
    void setModal(bool modal);

    // The three handlers of the preferences' controls and what each control shows.
    VXPreferenceHandlers &preferences() { return m_preferences; }
    const VXPreferenceHandlers &preferences() const { return m_preferences; }

    // ---- Quit

    // The "Quit" entries: asks first (unless "Quit Without Confirmation" is on or the tag is 1,
    // the entry shown with Shift), removes the login item in tray mode when the settings say so,
    // and quits through the delegate (which runs applicationShouldTerminate()). Answers whether
    // the program quits.
    bool quitDeliberately(int tag);
    // True once the quit path ran.
    bool isTerminating() const { return m_terminating; }

    // ---- The configuration

    // The tree; null until loaded or until the first tick makes an empty one.
    const VXDictionaryRef &configuration() const { return m_configuration; }
    // Replaces the tree (loading, undo, clearing with null). Call updateLists() with a sender
    // afterwards, as every change does.
    void setConfiguration(VXDictionaryRef configuration)
    {
        m_configuration = std::move(configuration);
        m_journal.noteTreeReplaced();
    }
    // Replaces the tree with one brought in from elsewhere (`wendle config import`), as an
    // undoable change: the tree as it was is saved and pushed on the undo stack first; then the
    // new one is saved as it came, on the writer thread, and the lists and blacklists show it.
    // `snapshot`: an immutable copy of `configuration` (the decoder's twin), made here when null.
    // `saved` is told later, on this thread, whether that save wrote the file.
    void importConfiguration(VXDictionaryRef configuration, VXDictionaryRef snapshot,
                             std::function<void(bool written)> saved);

    // ---- The sampler

    // One tick. Without a sender it is the scheduled tick, which leaves the tree alone while
    // tracking is paused or a list item is being edited. With a sender it is forced: it cancels
    // the pending tick and runs in full whatever the state. Either way it refreshes the report
    // and schedules the next tick.
    void updateLists(const void *sender);

    // The delay between ticks: "Update Interval", at least 0.5 seconds. A change takes effect
    // when the next tick is scheduled.
    double updateInterval() const;
    void setUpdateInterval(double interval);

    // Stores the organizer's sort column (process-wide and under "Sort") and forces a tick. At
    // launch this is what starts the chain of ticks.
    void setSortColumn(int column);
    int sortColumn() const;

    std::optional<double> lastDate() const { return m_sampler.lastDate(); }
    void forgetLastDate() { m_sampler.forgetLastDate(); }
    // Set by the end of a pause and by resets: the next tick credits nothing.
    bool ignoreLastDate() const { return m_sampler.ignoreLastDate(); }
    void setIgnoreLastDate(bool ignore) { m_sampler.setIgnoreLastDate(ignore); }

    double overallApplicationTime() const { return m_sampler.overallApplicationTime(); }
    double overallPoolTime() const { return m_sampler.overallPoolTime(); }
    // The organizer's two lists, sorted.
    const VXArrayRef &applicationArray() const { return m_sampler.applicationArray(); }
    const VXArrayRef &poolArray() const { return m_sampler.poolArray(); }

    bool showInactiveApplicationItems() const { return m_showInactiveApplicationItems; }
    bool showInactivePools() const { return m_showInactivePools; }
    // The preferences' switches: the member and the setting. The lists show the change from the
    // next tick on.
    void setShowInactiveApplicationItems(bool show);
    void setShowInactivePools(bool show);

    // ---- The pause gate and hibernation

    // Pauses nest: each setPaused(true) needs its setPaused(false). When the last one ends, the
    // next tick is a gap, so the paused time is never credited. Hibernation, sleep, session
    // changes and the transitory pause of a list edit all go through this one counter.
    void setPaused(bool paused) { m_hibernation.setPaused(paused); }
    bool isPaused() const { return m_hibernation.isPaused(); }
    int pauseLevel() const { return m_hibernation.pauseLevel(); }

    // The pause counter, the idle countdown, deep hibernation and the menu command.
    VXHibernation &hibernation() { return m_hibernation; }
    const VXHibernation &hibernation() const { return m_hibernation; }
    // Where presence sources report (input, sleep, session, lock).
    VXPresenceObserver &presenceObserver() { return m_hibernation; }
    // The run loop's timers the controller schedules its work on (shared with its user interface).
    VXScheduler &scheduler() { return m_scheduler; }
    // True while one of the controller's alerts runs.
    bool isModal() const { return m_isModal; }

    // ---- Blacklists, cut-offs and pools

    // The blacklist stored under "Application Blacklist" or "Window Blacklist", created with its
    // default entry when missing (and the configuration with it).
    VXArray &blacklistWithName(const QString &name);
    // Sorts both blacklists and shows them in the preferences.
    void updateBlacklists();
    // The user edited a blacklist's text view: its lines replace the entries (blank lines are
    // none).
    void blacklistTextDidChange(const QString &name, const QString &text);
    // "Cutoffs", or null.
    VXDictionary *cutoffs() const;

    // Flips "Match Any Application" on the pool member of `item` (the member itself, or the
    // member holding a window entry): pushes an undo state first, then forces a tick and selects
    // the member. Beeps and answers false when the item belongs to no member.
    bool toggleMatchAnyApplicationViaMenuItem(const VXDictionary *item);
    // The title of that command for the item's member (empty when it has none).
    QString matchAnyApplicationMenuTitle(const VXDictionary *item) const;

    // ---- The organizer lists

    // What the lists do to the tree (drops, renaming, expansion, the context menu, notes).
    VXOrganizerOperations &organizer() { return m_organizer; }
    // The Edit menu's "New Pool from Selection": what a drop of the selected application or
    // window on empty space does. Answers success; canMakeNewPoolFromSelection() enables it.
    bool newPoolFromSelection() { return m_organizer.newPoolFromItem(selectedItem()); }
    bool canMakeNewPoolFromSelection() const;
    // Where launching, bringing forward and quitting other applications go.
    VXDesktop &desktop() { return m_desktop; }

    // ---- The file

    // Where the tree is kept, its loading and its three save points.
    VXConfigurationStore &store() { return m_store; }
    // Replaces the tree with the stored one (start-up), with what the journal recovered.
    void loadConfiguration()
    {
        setConfiguration(m_store.loadConfiguration());
        m_store.continueLoadedRecord();
    }
    // What the tracker changed since the last full save, kept beside the record.
    VXJournal &journal() { return m_journal; }
    // Where the record that could not be read at start-up was set aside; empty when it read well.
    const QString &damagedConfigurationPath() const { return m_store.damagedConfigurationPath(); }
    bool saveConfiguration(bool save, bool withUserDefaultsFallback, bool scheduleNextSave)
    {
        return m_store.saveConfiguration(save, withUserDefaultsFallback, scheduleNextSave);
    }
    void save(const void *sender) { m_store.save(sender); }

    // ---- Undo

    // Every change the user makes to the tree calls this first, before it changes anything: the
    // tree as it is is encoded, saved and pushed on the undo stack, and the redo stack is
    // cleared on the next turn of the loop.
    void pushUndoStateAndClearRedoStatesAfterDelay() override;
    // The change did not happen after all (a refused drop): the push is withdrawn and the redo
    // stack kept.
    void popUndoStateAndCancelRedoStateClearing() { m_undoHistory.popUndoStateAndCancelRedoStateClearing(); }
    // The menu actions; the lists and blacklists show the restored tree.
    void undo(const void *sender);
    void redo(const void *sender);
    // Whether "Undo" and "Redo" are enabled.
    bool canUndo() const { return m_undoHistory.canUndo(); }
    bool canRedo() const { return m_undoHistory.canRedo(); }
    VXUndoHistory &undoHistory() { return m_undoHistory; }

    // ---- Resets, clears, removals and the daily tasks

    // The menu actions resetApplicationTimers:, resetPoolTimers:, resetAllTimers:,
    // clearApplications:, clearPools:, clearAll:, resetTimerViaMenuItem:, the removals and
    // doAutoTasksIfNecessary: (which the preferences call with a sender after each change of a
    // daily option).
    VXResets &resets() { return m_resets; }

    // ---- Export and folder access

    // The clipped event logs of the live report, the export by hand and the daily export.
    VXExporter &exporter() { return m_exporter; }
    // The program's permission test for user-chosen folders.
    VXSecurityScopedBookmarkManager &bookmarkManager() { return m_bookmarkManager; }

    // ---- The live report's data (VXReportDataSource)

    // The first timestamp and the tree's "Last Timestamp".
    void getFirstTimestamp(double *firstTimestamp, double *lastTimestamp,
                           const VXReportClient &reportController) override;
    // The clipped entries by "Live Report Content", "Live Report: Applications" and "Live Report:
    // Pools", each level in the organizer's order.
    VXArrayRef eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                const VXReportClient &reportController) override;
    // The View menu: the time formats and the shown activities (sent to the report when it is a
    // VXReportMenuTarget), durations as days, and the colour schemes.
    void populateViewMenu(VXReportMenu &menu, const VXReportClient &reportController) override;
    // A report row's context menu: the organizer's menu for the entry's item.
    bool contextMenuForEventLog(const VXDictionary &eventLog, const VXReportClient &displayedByReportController,
                                VXReportMenu &menu) override;

    // The View menu's program-wide entries. Reports redraw when they see "Color Scheme" or
    // "Express Time Intervals As Days" change in the settings.
    void selectColorScheme(int tag);
    void toggleConversionToDaysFromMenuItem();

private:
    friend class VXPreferenceHandlers;

    // VXHibernationDelegate
    void lastPauseDidEnd() override;
    void showHibernationState(bool hibernating, bool animated) override;
    void hibernationDidChange() override;
    // VXHibernationDelegate, VXResetsDelegate and VXFolderAccessUserInterface: the dialogs go to
    // the user interface, with isModal() set while they run.
    int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles) override;
    std::optional<QString> runUnlockPanel(const VXUnlockPanelRequest &request) override;
    // VXResetsDelegate
    VXDictionaryRef currentConfiguration() override { return m_configuration; }
    void replaceConfiguration(VXDictionaryRef configuration) override { setConfiguration(std::move(configuration)); }
    void ignoreTimeSinceLastUpdate() override { m_sampler.setIgnoreLastDate(true); }
    void forgetLastUpdate() override { m_sampler.forgetLastDate(); }
    void updateListsAfterChange() override { updateLists(this); }
    void noteChangeConfinedTo(const VXTickWindows &windows) override { m_journal.noteChangeConfinedTo(windows); }
    void beep() override;
    VXDictionaryRef selectedItem() override;
    void showBlacklistText(const QString &blacklistName, const QString &text) override;

    void readStartUpSettings();
    // The mode the settings and the session ask for: the tray only after the welcome choice and
    // only where the session shows tray icons.
    bool wantsStatusItem();
    // A setting changed while the program runs, from the preferences or from outside (`wendle
    // defaults write`, an edited settings file): it takes effect at once, as its control would
    // make it.
    void settingDidChange(const QString &key);
    void scheduleNextTick(double delay);

    VXDesktop &m_desktop;
    VXScheduler &m_scheduler;
    VXClock &m_clock;
    VXUserDefaults &m_defaults;
    VXMainControllerDelegate *m_delegate;

    VXDictionaryRef m_configuration;
    VXActivitySampler m_sampler;
    VXSamplerSettings m_settings;
    VXDesktopSnapshot m_snapshot;
    bool m_showInactiveApplicationItems = false;
    bool m_showInactivePools = true;
    bool m_hasCompletedFullTick = false;
    // How the last tick listed the windows.
    int m_listedSortColumn = 0;
    bool m_listedInactiveItems = false;
    bool m_isModal = false;
    // The mode: windowed (see isStatusItem()), and whether the tray's interface is built.
    bool m_isStatusItem = false;
    bool m_hasStatusItemUI = false;
    bool m_saidNoSystemTray = false;
    bool m_terminating = false;
    std::vector<VXPresenceSource *> m_presenceSources;
    // When the pending scheduled tick is due (clock time).
    double m_nextTickDue = 0.0;
    QMetaObject::Connection m_settingsConnection;

    VXHibernation m_hibernation;
    VXSecurityScopedBookmarkManager m_bookmarkManager;
    VXConfigurationStore m_store;
    VXJournal m_journal;
    VXUndoHistory m_undoHistory;
    VXResets m_resets;
    VXExporter m_exporter;
    VXOrganizerOperations m_organizer {*this};
    VXPreferenceHandlers m_preferences;
};
