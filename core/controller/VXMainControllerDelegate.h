#pragma once

// How the core reaches the user interface: the organizer lists, the report and the alerts
// implement this, and the controller calls it. Every operation has a do-nothing default, so a
// program without a window (or a test) implements only what it needs. The dialogs (alerts and
// the "Unlock" folder chooser) come from VXFolderAccessUserInterface: without a user interface
// nobody answers them, which every confirmation reads as "Cancel".

#include "VXFolderAccessUserInterface.h"
#include "VXValue.h"

#include <QString>
#include <QStringList>

#include <optional>

class VXExportUserInterface;

class VXMainControllerDelegate : public VXFolderAccessUserInterface
{
public:
    virtual ~VXMainControllerDelegate() = default;

    // The user is editing a name in the application list or the pool list (a field editor is
    // open): scheduled ticks leave the tree alone until the edit ends.
    virtual bool isEditingListItem() const { return false; }

    // After every full tick: the two lists show the controller's applicationArray() and
    // poolArray() again.
    virtual void reloadApplicationList() { }
    virtual void reloadPoolList() { }

    // Facts about the windows that decide whether a tick restores the expansion states: the
    // lists are in the tray's panel, the organizer window or the live report is visible.
    virtual bool runsAsStatusItem() const { return false; }
    virtual bool isListWindowVisible() const { return true; }
    virtual bool isReportWindowVisible() const { return false; }
    // Expand the rows whose items have "Expanded" set.
    virtual void restoreExpansionStates() { }

    // After every tick, full or skipped: the live report refreshes itself.
    virtual void updateReport() { }

    // A blacklist changed its order or content: show its entries (joined with "\n") in its text
    // view of the preferences.
    virtual void showBlacklistText(const QString &blacklistName, const QString &text)
    {
        Q_UNUSED(blacklistName);
        Q_UNUSED(text);
    }

    // Select this item of the pool list (after a command changed it).
    virtual void selectPoolListItem(const VXDictionaryRef &item) { Q_UNUSED(item); }

    // A command had nothing to act on.
    virtual void beep() { }

    // The item selected in the pool list, else in the application list; null when none.
    virtual VXDictionaryRef selectedItem() const { return VXDictionaryRef(); }

    // ---- Hibernation

    // The status item's view and both lists enter or leave the hibernation state (the lists
    // under their "Suspended" cloak), animated or not.
    virtual void showHibernationState(bool hibernating, bool animated)
    {
        Q_UNUSED(hibernating);
        Q_UNUSED(animated);
    }
    // The status icon (and the window icon's report) is to be redrawn.
    virtual void updateIcon() { }

    // ---- The application shell

    // Whether the session shows tray icons (a StatusNotifierItem host or an XEmbed tray).
    virtual bool isSystemTrayAvailable() const { return false; }

    // The end of launch: the live report ("Default") is made, observing the live report's
    // update notification.
    virtual void createDefaultReportController() { }
    // The welcome window: whether it can be shown at all, then shown modally until one of its
    // choices calls setStatusItem() (which closes it through closeWelcomeWindow()).
    virtual bool canShowWelcomeWindow() const { return false; }
    virtual bool isWelcomeWindowVisible() const { return false; }
    virtual void runWelcomeWindow() { }
    virtual void closeWelcomeWindow() { }

    // Builds the tray icon and its action menu (true), or tears them down and brings the windows
    // back (false). The controller calls it only when the mode changed.
    virtual void checkStatusItemUI(bool buildStatusItemUI) { Q_UNUSED(buildStatusItemUI); }

    // The program's own windows, by what they show. (Whether the organizer and the report are
    // visible is told above.)
    enum class Window { Organizer, Report, Preferences };
    virtual bool isPreferencesWindowVisible() const { return false; }
    // The window is the active one.
    virtual bool isKeyWindow(Window window) const
    {
        Q_UNUSED(window);
        return false;
    }
    // Shows the window, brings it to the front and makes it active.
    virtual void showWindow(Window window) { Q_UNUSED(window); }
    // Closes the window without its close button's bookkeeping.
    virtual void closeWindow(Window window) { Q_UNUSED(window); }
    // Keeps the window above all others, or not.
    virtual void setWindowFloating(Window window, bool floating)
    {
        Q_UNUSED(window);
        Q_UNUSED(floating);
    }
    // The live report's own toggle (which keeps its "Visible" and "Closed Last" settings).
    virtual void toggleReportWindow() { }
    // Closes the active window as its close button would.
    virtual void performClose() { }
    // Brings the program's visible windows to the front.
    virtual void activateApplication() { }

    // The preferences window: made (false when it cannot be), its frame as text, and shown at a
    // frame (or centred for an empty one).
    virtual bool loadPreferencesWindow() { return false; }
    virtual QString preferencesWindowFrame() const { return QString(); }
    virtual void showPreferencesWithFrame(const QString &frame) { Q_UNUSED(frame); }
    // The mode, the dialogs or the export folder changed: the preferences show them (title,
    // rows, enabled controls, the folder selector). Settings changes they follow by themselves.
    virtual void preferencesDidChange() { }
    // The folder chooser of the export folder's "Other...": the folder chosen, or nothing.
    virtual std::optional<QString> runChooseFolderPanel(const QString &title, const QString &directoryPath)
    {
        Q_UNUSED(title);
        Q_UNUSED(directoryPath);
        return std::nullopt;
    }

    virtual void showAboutWindow() { }
    virtual void showHelp() { }

    // "Open Snapshot": the chosen files (none when cancelled), which then open as reports.
    virtual QStringList runOpenPanel(const QString &title, const QString &fileType)
    {
        Q_UNUSED(title);
        Q_UNUSED(fileType);
        return QStringList();
    }
    virtual void openFiles(const QStringList &paths) { Q_UNUSED(paths); }
    // The save panel and the report's range for "Export Snapshot"; null without a user interface.
    virtual VXExportUserInterface *exportUserInterface() { return nullptr; }

    // Start at login (the XDG autostart entry): registered or removed, and the warning about a
    // hidden entry.
    virtual bool setLoginItem(bool enable, bool showAlert)
    {
        Q_UNUSED(enable);
        Q_UNUSED(showAlert);
        return false;
    }
    virtual void showHiddenLoginItemWarningAfterDelay() { }

    // The organizer's notes editor is open.
    virtual bool isNotesEditorOpen() const { return false; }

    // ---- Quit

    // The program quits now: the quit path runs (VXMainController::applicationShouldTerminate).
    virtual void terminate() { }
    // The program quits: the status item goes.
    virtual void tearDownUserInterface() { }
};

// The delegate that does nothing, where the controller runs without a user interface.
VXMainControllerDelegate &VXNoMainControllerDelegate();
