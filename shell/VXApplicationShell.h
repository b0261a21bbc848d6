#pragma once

// The program's windows and tray, as the controller's user interface: the organizer window with
// the menu bar, the live report, the preferences, the welcome window, the tray icon with the
// action menu, the about dialog and the help window, the alerts and the file choosers. It keeps
// no state of its own beyond the widgets: what a window shows and what a choice does is the
// controller's (VXMainController), which this class implements the delegate of.
//
//     VXMainController --delegate--> VXApplicationShell --> windows, tray, dialogs
//            ^                                                 |
//            +------------ menu actions, preferences ----------+

#include "VXExportUserInterface.h"
#include "VXLoginItems.h"
#include "VXMainControllerDelegate.h"
#include "VXWelcomeWindow.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <memory>

class QMenu;
class QWidget;
class VXAboutDialog;
class VXAutostartFolder;
class VXDesktopReport;
class VXHelpWindow;
class VXMainController;
class VXMenuBuilder;
class VXOrganizerWindow;
class VXListContainer;
class VXPreferencesWindow;
class VXReportController;
class VXStatusItemController;
class VXTaskbarReportIcon;
class VXUserDefaults;

class VXApplicationShell : public QObject,
                           public VXMainControllerDelegate,
                           private VXExportUserInterface,
                           private VXLoginItemDelegate
{
    Q_OBJECT
public:
    explicit VXApplicationShell(VXUserDefaults &defaults, QObject *parent = nullptr);
    ~VXApplicationShell() override;

    // The controller is made with this shell as its delegate, then given to it.
    void setController(VXMainController *controller);

    // What the program does with files to open and with the quit (it answers the requests of
    // a second start and runs the quit path).
    void setOpenFilesHandler(std::function<void(const QStringList &)> handler) { m_openFiles = std::move(handler); }
    void setTerminateHandler(std::function<void()> handler) { m_terminate = std::move(handler); }
    // The tray's tooltip: what Wendle does now (tracking, paused, a step the user must take).
    void setStatusText(std::function<QString()> statusText) { m_statusText = std::move(statusText); }
    // The session's answer whether it shows tray icons, in place of Qt's (tests).
    void setSystemTrayAvailability(std::function<bool()> available) { m_trayAvailable = std::move(available); }

    // The windows, made on first use (null before).
    VXOrganizerWindow *organizerWindow() const { return m_organizerWindow.get(); }
    VXPreferencesWindow *preferencesWindow() const { return m_preferencesWindow.get(); }
    VXWelcomeWindow *welcomeWindow() const { return m_welcomeWindow.data(); }
    VXStatusItemController *statusItemController() const { return m_statusItem.get(); }
    VXHelpWindow *helpWindow() const { return m_helpWindow.get(); }
    VXAboutDialog *aboutDialog() const { return m_aboutDialog.get(); }
    VXReportController *liveReport() const { return m_liveReport.get(); }
    std::shared_ptr<VXReportController> sharedLiveReport() const { return m_liveReport; }
    VXMenuBuilder *menuBuilder() const { return m_menus.get(); }
    // The help window, raised at a page ("pools"; VXHelpPages::names()).
    void showHelpPage(const QString &page);
    // The live report in the taskbar's icon and on the desktop (null until first needed).
    VXTaskbarReportIcon *taskbarReportIcon() const { return m_taskbarIcon.get(); }
    VXDesktopReport *desktopReport() const { return m_desktopReport.get(); }
    // Starting with the session: the XDG autostart folder of the environment and our executable.
    VXLoginItems &loginItems();
    // The organizer window, made now if it was not yet.
    VXOrganizerWindow *loadOrganizerWindow();

    // ---- VXMainControllerDelegate
    int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles) override;
    std::optional<QString> runUnlockPanel(const VXUnlockPanelRequest &request) override;
    void reloadApplicationList() override;
    // The organizer's lists, where the window holds them.
    void reloadPoolList() override;
    void restoreExpansionStates() override;
    bool isEditingListItem() const override;
    VXDictionaryRef selectedItem() const override;
    void selectPoolListItem(const VXDictionaryRef &item) override;
    bool runsAsStatusItem() const override;
    bool isListWindowVisible() const override;
    bool isReportWindowVisible() const override;
    void updateReport() override;
    void showBlacklistText(const QString &blacklistName, const QString &text) override;
    void beep() override;
    void showHibernationState(bool hibernating, bool animated) override;
    void updateIcon() override;
    bool isSystemTrayAvailable() const override;
    void createDefaultReportController() override;
    bool canShowWelcomeWindow() const override { return true; }
    bool isWelcomeWindowVisible() const override { return m_welcomeWindow && m_welcomeWindow->isVisible(); }
    void runWelcomeWindow() override;
    void closeWelcomeWindow() override;
    void checkStatusItemUI(bool buildStatusItemUI) override;
    bool isPreferencesWindowVisible() const override;
    bool isKeyWindow(Window window) const override;
    void showWindow(Window window) override;
    void closeWindow(Window window) override;
    void setWindowFloating(Window window, bool floating) override;
    void toggleReportWindow() override;
    void performClose() override;
    void activateApplication() override;
    bool loadPreferencesWindow() override;
    QString preferencesWindowFrame() const override;
    void showPreferencesWithFrame(const QString &frame) override;
    void preferencesDidChange() override;
    std::optional<QString> runChooseFolderPanel(const QString &title, const QString &directoryPath) override;
    void showAboutWindow() override;
    void showHelp() override;
    QStringList runOpenPanel(const QString &title, const QString &fileType) override;
    void openFiles(const QStringList &paths) override;
    VXExportUserInterface *exportUserInterface() override { return this; }
    bool setLoginItem(bool enable, bool showAlert) override;
    void showHiddenLoginItemWarningAfterDelay() override;
    void terminate() override;
    void tearDownUserInterface() override;

private:
    // ---- VXExportUserInterface
    bool prepareExportPanelParentWindow() override;
    void getReportBeginTimestamp(double *beginTimestamp, double *endTimestamp) override;
    void setExportPanelModal(bool modal) override;
    void runSavePanel(const QString &title, const QString &fileType, const QString &suggestedName,
                      std::function<void(const std::optional<QString> &path)> completion) override;
    bool revealFolderInFileManager(const QString &path) override;

    // ---- VXLoginItemDelegate
    bool isApplicationHidden() const override;
    bool showHiddenLoginItemAlert(const QString &title, const QString &text, const QString &button) override;

    // The window that shows a view now: its own, or the tray's panel.
    QWidget *windowOf(Window window) const;
    // The live report's window and view, made now if they were not yet.
    QWidget *loadReportContainer();
    // Tray mode: the tray with its panel, the organizer's lists and the live report moved into it.
    void buildStatusItem();
    // The views back into their windows, then the tray goes.
    void dismissStatusItem();
    // The taskbar's icon and the desktop report for the settings and the mode.
    void updateLiveReportIcons();
    // What Wendle does now, at the foot of the organizer and in the tray's tooltip.
    void showStatus();
    // Tray mode was chosen but the session shows no tray yet: looks again for a while.
    void waitForSystemTray();
    QWidget *dialogParent() const;
    void fillViewMenu(QMenu *menu);

    VXUserDefaults &m_defaults;
    VXMainController *m_controller = nullptr;
    std::unique_ptr<VXMenuBuilder> m_menus;
    std::unique_ptr<VXOrganizerWindow> m_organizerWindow;
    QPointer<VXListContainer> m_lists;   // owned by the organizer window
    std::unique_ptr<VXPreferencesWindow> m_preferencesWindow;
    QPointer<VXWelcomeWindow> m_welcomeWindow;
    std::unique_ptr<VXStatusItemController> m_statusItem;
    // The windows that were open when the tray took their views: open again when it gives them back.
    bool m_reopenOrganizer = false;
    bool m_reopenReport = false;
    std::unique_ptr<VXHelpWindow> m_helpWindow;
    std::unique_ptr<VXAboutDialog> m_aboutDialog;
    std::shared_ptr<VXReportController> m_liveReport;
    std::unique_ptr<VXTaskbarReportIcon> m_taskbarIcon;
    std::unique_ptr<VXDesktopReport> m_desktopReport;
    std::unique_ptr<VXAutostartFolder> m_autostartFolder;
    std::unique_ptr<VXLoginItems> m_loginItems;
    std::function<void(const QStringList &)> m_openFiles;
    std::function<void()> m_terminate;
    std::function<QString()> m_statusText;
    std::function<bool()> m_trayAvailable;
    QTimer m_trayWait;
    int m_trayWaitTicks = 0;
    bool m_hibernating = false;
    // Where the last export went: the next one starts there (the home folder until then).
    QString m_exportFolder;
};
