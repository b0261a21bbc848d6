// The controller's shell operations: start-up's user-interface half, the two modes, the menu
// entries and their validation, the windows' toggles and the quit path. The widgets that show
// them are the delegate's; what each operation means is decided here.

#include "VXMainController.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXControllerLogging.h"
#include "VXExporter.h"
#include "VXLog.h"
#include "VXMainControllerDelegate.h"
#include "VXRegisteredDefaults.h"
#include "VXScheduler.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

using Window = VXMainControllerDelegate::Window;

const QString kShowPreferencesOperation = QStringLiteral("showPreferencesWithFrame:");

QString tr(const char *text)
{
    return QCoreApplication::translate("VXMainController", text);
}

bool hasPools(const VXDictionaryRef &configuration)
{
    const VXArray *pools = configuration ? configuration->value(VXPoolsKey).array() : nullptr;
    return pools && !pools->isEmpty();
}

}   // namespace

// ---- The two modes

bool VXMainController::isSystemTrayAvailable() const
{
    return m_delegate && m_delegate->isSystemTrayAvailable();
}

bool VXMainController::wantsStatusItem()
{
    if (!m_defaults.boolForKey(VXWelcomeKey)) {
        // Until the welcome choice was offered, the program lives in windows.
        if (m_defaults.boolForKey(VXStatusItemKey))
            m_defaults.setBool(false, VXStatusItemKey);
        return false;
    }
    if (!m_defaults.boolForKey(VXStatusItemKey))
        return false;
    if (isSystemTrayAvailable())
        return true;
    // The choice stays stored for a session that has a tray; this one gets the windows.
    if (!m_saidNoSystemTray)
        qCWarning(lcController).noquote() << VXNoSystemTrayMessage;
    m_saidNoSystemTray = true;
    return false;
}

void VXMainController::checkStatusItem()
{
    const bool tray = wantsStatusItem();
    if (tray != runsAsStatusItem()) {
        // The preferences window is made again for the other mode: it comes back where it was.
        if (m_delegate && m_delegate->isPreferencesWindowVisible()) {
            const QString frame = m_delegate->preferencesWindowFrame();
            if (!frame.isEmpty())
                m_defaults.setString(frame, VXPreferencesFrameKey);
            m_delegate->closeWindow(Window::Preferences);
        }
        m_isStatusItem = !tray;
    }
    const QString frame = m_defaults.stringForKey(VXPreferencesFrameKey);
    if (!frame.isEmpty()) {
        m_defaults.removeObjectForKey(VXPreferencesFrameKey);
        m_scheduler.performAfterDelay(this, kShowPreferencesOperation, 0.0,
                                      [this, frame] { showPreferencesWithFrame(frame); });
    }
}

void VXMainController::checkStatusItemUI()
{
    const bool build = runsAsStatusItem();
    if (m_hasStatusItemUI == build)
        return;
    if (m_delegate)
        m_delegate->checkStatusItemUI(build);
    m_hasStatusItemUI = build;
}

void VXMainController::setStatusItem(bool statusItem)
{
    if (statusItem != m_defaults.boolForKey(VXStatusItemKey)) {
        m_hibernation.deferHibernation();
        m_defaults.setBool(statusItem, VXStatusItemKey);
        checkStatusItem();
        checkStatusItemUI();
        if (m_delegate)
            m_delegate->updateIcon();
    }
    if (m_delegate) {
        m_delegate->closeWelcomeWindow();
        // The title, the icon selector's row and the taskbar report's switch follow the mode.
        m_delegate->preferencesDidChange();
    }
}

// ---- Launch, reopening and files

void VXMainController::completeUISetup()
{
    VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : VXNoMainControllerDelegate();
    delegate.createDefaultReportController();
    if (!m_defaults.boolForKey(VXWelcomeKey) && delegate.canShowWelcomeWindow()) {
        m_defaults.setBool(true, VXWelcomeKey);
        // Runs until one of its two choices calls setStatusItem(), which switches in place.
        delegate.runWelcomeWindow();
        // The session may have ended meanwhile: the quit path ran, the launch stops here.
        if (m_terminating)
            return;
    }
    checkStatusItemUI();
    delegate.updateIcon();
    m_resets.doAutoTasksIfNecessary(this);
    if (isStatusItem()) {
        if (m_defaults.boolForKey(VXReportDefaultVisibleKey))
            delegate.showWindow(Window::Report);
        if (!(delegate.isReportWindowVisible() && m_defaults.boolForKey(VXListWindowClosedKey)))
            toggleListWindow();
    }
    m_store.saveConfiguration(false, false, true);
    delegate.showHiddenLoginItemWarningAfterDelay();
}

bool VXMainController::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    Q_UNUSED(hasVisibleWindows);
    VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : VXNoMainControllerDelegate();
    // The welcome window still asks: it is the way in, and nothing opens beside it.
    if (delegate.isWelcomeWindowVisible())
        return true;
    if (delegate.isListWindowVisible() || delegate.isReportWindowVisible() || delegate.isPreferencesWindowVisible()) {
        delegate.activateApplication();
        return true;
    }
    if (isStatusItem()) {
        if (m_defaults.boolForKey(VXReportDefaultClosedLastKey))
            delegate.showWindow(Window::Report);
        else
            toggleListWindow();
    } else {
        // In the tray: the way in while the tray shows no icon (its host is restarting).
        toggleListWindow();
    }
    return false;
}

QStringList VXMainController::applicationOpenFiles(const QStringList &paths)
{
    QStringList csvFiles;
    for (const QString &path : paths)
        if (QFileInfo(path).suffix().toLower() == VXExportFileType)
            csvFiles << path;
    if (m_delegate && !csvFiles.isEmpty())
        m_delegate->openFiles(csvFiles);
    return csvFiles;
}

// ---- Menus

VXMenuItemState VXMainController::validateMenuItem(VXMenuAction action, int tag, const VXDictionaryRef &item) const
{
    using A = VXMenuAction;
    const VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : VXNoMainControllerDelegate();
    const bool organizerKey = delegate.isKeyWindow(Window::Organizer);
    const bool reportKey = delegate.isKeyWindow(Window::Report);
    // The entry's own item, else the organizer's selection while the organizer is in front.
    const auto itemOfEntry = [&] { return item ? item : organizerKey ? delegate.selectedItem() : VXDictionaryRef(); };
    VXMenuItemState state;
    switch (action) {
    case A::ClearPools:
    case A::ResetPoolTimers: state.enabled = !m_isModal && hasPools(m_configuration); break;
    case A::ExportCSV:
        state.enabled = !m_isModal
            && (m_defaults.boolForKey(VXDefaultsKey::kExportColumnPool)
                || m_defaults.boolForKey(VXDefaultsKey::kExportColumnApplication))
            && (m_defaults.boolForKey(VXDefaultsKey::kExportColumnFront)
                || m_defaults.boolForKey(VXExportKey::kExportColumnTotal));
        break;
    case A::EditNotesViaMenuItem:
        if (delegate.isNotesEditorOpen()) {
            state.checked = true;
        } else {
            const VXDictionaryRef entryItem = itemOfEntry();
            state.enabled = entryItem && entryItem->value(VXPathKey).toString() == VXPoolPathMarker;
        }
        break;
    case A::ResetTimerViaMenuItem: state.enabled = !m_isModal && itemOfEntry(); break;
    case A::ToggleStayInFront:
        state.enabled = organizerKey || reportKey;
        state.checked = reportKey ? m_defaults.boolForKey(VXReportDefaultStayInFrontKey)
            : organizerKey        ? m_defaults.boolForKey(VXListWindowStayInFrontKey)
                                  : false;
        break;
    case A::SetTimeFormatFromMenuItem: state.enabled = false; break;
    case A::ToggleShownActivityFromMenuItem:
        state.enabled = false;
        state.checked = true;
        break;
    case A::ToggleConversionToDaysFromMenuItem:
        state.checked = m_defaults.boolForKey(kExpressTimeIntervalsAsDaysKey);
        break;
    case A::ToggleDebugLogging: state.checked = m_defaults.boolForKey(VXDebugLogKey); break;
    case A::ToggleHibernation: state.title = m_hibernation.toggleHibernationTitle(); break;
    case A::SelectColorScheme: state.checked = m_defaults.integerForKey(VXColorSchemeKey) == tag; break;
    case A::ToggleListWindow: state.checked = organizerKey; break;
    case A::ToggleReportWindow: state.checked = reportKey; break;
    case A::Undo: state.enabled = canUndo(); break;
    case A::Redo: state.enabled = canRedo(); break;
    case A::Delete: state.enabled = !m_isModal && const_cast<VXResets &>(m_resets).canDeleteSelectedItem(); break;
    case A::NewPoolFromSelection: state.enabled = !m_isModal && canMakeNewPoolFromSelection(); break;
    default: break;
    }
    return state;
}

void VXMainController::performMenuAction(VXMenuAction action, int tag)
{
    using A = VXMenuAction;
    VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : VXNoMainControllerDelegate();
    switch (action) {
    case A::ToggleHibernation: m_hibernation.toggleHibernation(); return;
    case A::ShowAboutWindow: delegate.showAboutWindow(); return;
    case A::ShowHelp: delegate.showHelp(); return;
    case A::ShowPreferencesWindow: showPreferencesWindow(); return;
    case A::ToggleDebugLogging: toggleDebugLogging(); return;
    case A::OpenCSV: openCSV(); return;
    case A::ExportCSV: exportCSV(); return;
    case A::ResetApplicationTimers: m_resets.resetApplicationTimers(); return;
    case A::ResetPoolTimers: m_resets.resetPoolTimers(); return;
    case A::ResetAllTimers: m_resets.resetAllTimers(); return;
    case A::ClearPools: m_resets.clearPools(); return;
    case A::Undo: undo(this); return;
    case A::Redo: redo(this); return;
    case A::Delete:
        if (!m_resets.deleteSelectedItem())
            delegate.beep();
        return;
    case A::NewPoolFromSelection:
        if (!newPoolFromSelection())
            delegate.beep();
        return;
    case A::QuitDeliberately: quitDeliberately(tag); return;
    case A::ToggleListWindow: toggleListWindow(); return;
    case A::ToggleReportWindow: delegate.toggleReportWindow(); return;
    case A::ToggleStayInFront: toggleStayInFront(); return;
    case A::PerformClose: delegate.performClose(); return;
    case A::ToggleConversionToDaysFromMenuItem: toggleConversionToDaysFromMenuItem(); return;
    case A::SelectColorScheme: selectColorScheme(tag); return;
    case A::ResetTimerViaMenuItem: m_resets.resetTimerViaMenuItem(delegate.selectedItem()); return;
    // The reports' and the organizer's own menus send these to their own targets.
    case A::EditNotesViaMenuItem:
    case A::SetTimeFormatFromMenuItem:
    case A::ToggleShownActivityFromMenuItem: return;
    }
}

// ---- Windows

void VXMainController::toggleListWindow()
{
    if (!m_delegate)
        return;
    if (runsAsStatusItem()) {
        // The tray's panel shows the organizer; until it exists, the window does.
        m_delegate->showWindow(Window::Organizer);
        return;
    }
    if (m_delegate->isKeyWindow(Window::Organizer)) {
        m_delegate->closeWindow(Window::Organizer);
        m_defaults.setBool(false, VXReportDefaultClosedLastKey);
        m_defaults.setBool(true, VXListWindowClosedKey);
    } else {
        m_delegate->showWindow(Window::Organizer);
        m_defaults.setBool(false, VXListWindowClosedKey);
    }
}

bool VXMainController::listWindowShouldClose()
{
    m_defaults.setBool(true, VXListWindowClosedKey);
    m_defaults.setBool(false, VXReportDefaultClosedLastKey);
    return true;
}

void VXMainController::toggleStayInFront()
{
    if (!m_delegate)
        return;
    const bool report = m_delegate->isKeyWindow(Window::Report);
    if (!report && !m_delegate->isKeyWindow(Window::Organizer))
        return;
    const QString &key = report ? VXReportDefaultStayInFrontKey : VXListWindowStayInFrontKey;
    const bool floating = !m_defaults.boolForKey(key);
    m_defaults.setBool(floating, key);
    m_delegate->setWindowFloating(report ? Window::Report : Window::Organizer, floating);
}

void VXMainController::toggleDebugLogging()
{
    m_defaults.setBool(!m_defaults.boolForKey(VXDebugLogKey), VXDebugLogKey);
}

void VXMainController::showPreferencesWithFrame(const QString &frame)
{
    if (!m_delegate)
        return;
    if (!m_delegate->loadPreferencesWindow()) {
        qCWarning(lcController).noquote() << VXCannotLoadPreferencesMessage;
        return;
    }
    m_preferences.preferencesWindowWillShow();
    updateBlacklists();
    m_delegate->showPreferencesWithFrame(frame);
}

void VXMainController::openCSV()
{
    if (!m_delegate)
        return;
    m_isModal = true;
    const QStringList files = m_delegate->runOpenPanel(tr(VXOpenSnapshotPanelTitle), VXExportFileType);
    m_isModal = false;
    applicationOpenFiles(files);
}

void VXMainController::exportCSV()
{
    if (VXExportUserInterface *userInterface = m_delegate ? m_delegate->exportUserInterface() : nullptr)
        m_exporter.exportCSV(*userInterface);
}

void VXMainController::setModal(bool modal)
{
    m_isModal = modal;
    if (m_delegate)
        m_delegate->preferencesDidChange();
}

// ---- Quit

bool VXMainController::quitDeliberately(int tag)
{
    if (!m_defaults.boolForKey(VXQuitWithoutConfirmationKey) && tag != 1) {
        if (m_delegate)
            m_delegate->activateApplication();
        const int answer = runAlert(tr(VXQuitAlertTitle), tr(VXQuitAlertText),
                                    {tr(VXQuitButtonTitle), tr(VXQuitAndDontAskAgainButtonTitle),
                                     QCoreApplication::translate("VXDialogs", VXCancelButtonTitle)});
        if (answer == 1)
            m_defaults.setBool(true, VXQuitWithoutConfirmationKey);
        else if (answer != 0)
            return false;
    }
    if (runsAsStatusItem() && m_defaults.boolForKey(VXDefaultsKey::kDisableLoginItemAutomatically) && m_delegate)
        m_delegate->setLoginItem(false, true);
    if (m_delegate)
        m_delegate->terminate();
    return true;
}
