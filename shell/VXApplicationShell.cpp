#include "VXApplicationShell.h"

#include "VXAboutDialog.h"
#include "VXAutostartFolder.h"
#include "VXDesktopReport.h"
#include "VXHelpWindow.h"
#include "VXListContainer.h"
#include "VXLiveReportNotification.h"
#include "VXMainController.h"
#include "VXMenuBuilder.h"
#include "VXOrganizerWindow.h"
#include "VXPreferencesWindow.h"
#include "VXRegisteredDefaults.h"
#include "VXReportBottomBar.h"
#include "VXReportController.h"
#include "VXReportMenuAdapter.h"
#include "VXStatusItemController.h"
#include "VXStatusItemPanel.h"
#include "VXTaskbarReportIcon.h"
#include "VXUserDefaults.h"
#include "VXWelcomeWindow.h"
#include "VXWindowFrameText.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QWindow>

#include <utility>

namespace {

// At login the session's tray may come up after Wendle: how often and how long it is looked for.
constexpr int kTrayWaitIntervalMs = 1000;
constexpr int kTrayWaitTicks = 90;

// The organizer's frame, kept like the report window's ("ReportWindow").
const QString kListWindowFrameKey = QStringLiteral("ListWindow");

inline constexpr char VXFilesOfTypeFilter[] = QT_TRANSLATE_NOOP("VXApplicationShell", "CSV files (*.%1)");

// Shows a window in front of the others and gives it the keyboard.
void bringToFront(QWidget *window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

void centreOnScreen(QWidget *window)
{
    if (const QScreen *screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen()) {
        QRect frame = window->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        window->move(frame.topLeft());
    }
}

void setFloating(QWidget *window, bool floating)
{
    if (!window || window->windowFlags().testFlag(Qt::WindowStaysOnTopHint) == floating)
        return;
    Qt::WindowFlags flags = window->windowFlags();
    flags.setFlag(Qt::WindowStaysOnTopHint, floating);
    // A shown window changes its level in place (setWindowFlags() would hide it and lose the
    // focus); one not shown yet takes the level when it is.
    if (QWindow *handle = window->windowHandle()) {
        window->overrideWindowFlags(flags);
        handle->setFlags(flags);
    } else {
        window->setWindowFlags(flags);
    }
}

}   // namespace

VXApplicationShell::VXApplicationShell(VXUserDefaults &defaults, QObject *parent) :
    QObject(parent), m_defaults(defaults)
{
    // The desktop report takes a new opacity from the preferences' slider at once.
    connect(&m_defaults, &VXUserDefaults::valueChanged, this, [this](const QString &key) {
        if (m_desktopReport && key == VXDefaultsKey::kShowActivityReportOnDesktopAlpha)
            m_desktopReport->updateIcon();
    });
    m_trayWait.setInterval(kTrayWaitIntervalMs);
    connect(&m_trayWait, &QTimer::timeout, this, [this] {
        if (!m_controller || runsAsStatusItem() || ++m_trayWaitTicks >= kTrayWaitTicks) {
            m_trayWait.stop();
            return;
        }
        if (!isSystemTrayAvailable())
            return;
        m_trayWait.stop();
        // The choice stored takes effect now, as a switch in place does.
        m_controller->checkStatusItem();
        m_controller->checkStatusItemUI();
        updateIcon();
    });
}

VXApplicationShell::~VXApplicationShell()
{
    // The windows go before the live report and the menus they show; the views in the tray's
    // panel go back to their windows first.
    dismissStatusItem();
    qDeleteAll(findChildren<VXStatusItemController *>(Qt::FindDirectChildrenOnly));
    m_desktopReport.reset();
    m_taskbarIcon.reset();
    delete m_welcomeWindow.data();
    m_preferencesWindow.reset();
    m_organizerWindow.reset();
    m_helpWindow.reset();
    m_aboutDialog.reset();
    m_liveReport.reset();
    m_menus.reset();
}

void VXApplicationShell::setController(VXMainController *controller)
{
    m_controller = controller;
    m_menus = controller ? std::make_unique<VXMenuBuilder>(*controller, [this](QMenu *menu) { fillViewMenu(menu); })
                         : nullptr;
}

void VXApplicationShell::fillViewMenu(QMenu *menu)
{
    if (!m_liveReport || !m_controller)
        return;
    m_controller->populateViewMenu(VXReportMenuAdapter::attachedTo(menu), *m_liveReport);
}

// ---- Dialogs

QWidget *VXApplicationShell::dialogParent() const
{
    if (QWidget *active = QApplication::activeWindow())
        return active;
    for (QWidget *window : {windowOf(Window::Organizer), windowOf(Window::Report)})
        if (window && window->isVisible())
            return window;
    return nullptr;
}

int VXApplicationShell::runAlert(const QString &messageText, const QString &informativeText,
                                 const QStringList &buttonTitles)
{
    QMessageBox alert(dialogParent());
    alert.setIcon(QMessageBox::Warning);
    alert.setWindowTitle(QCoreApplication::applicationName());
    alert.setText(messageText);
    alert.setInformativeText(informativeText);
    // The message is the alert's heading, in bold above the explanation, as desktop alerts show it.
    if (auto *heading = alert.findChild<QLabel *>(QStringLiteral("qt_msgbox_label"))) {
        QFont font = heading->font();
        font.setBold(true);
        heading->setFont(font);
    }
    // One role for all, so that the buttons keep the order they are given in.
    QList<QAbstractButton *> buttons;
    for (const QString &title : buttonTitles)
        buttons << alert.addButton(title, QMessageBox::ActionRole);
    if (!buttons.isEmpty())
        alert.setDefaultButton(qobject_cast<QPushButton *>(buttons.first()));
    // Escape chooses the last button ("Cancel"), when there is a choice.
    if (buttons.size() > 1)
        alert.setEscapeButton(buttons.last());
    activateApplication();
    alert.exec();
    return int(buttons.indexOf(alert.clickedButton()));
}

std::optional<QString> VXApplicationShell::runUnlockPanel(const VXUnlockPanelRequest &request)
{
    QFileDialog panel(dialogParent(), request.title, request.directoryPath);
    panel.setFileMode(QFileDialog::Directory);
    panel.setOptions(QFileDialog::ShowDirsOnly | QFileDialog::ReadOnly);
    panel.setLabelText(QFileDialog::Accept, request.prompt);
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return panel.selectedFiles().constFirst();
}

std::optional<QString> VXApplicationShell::runChooseFolderPanel(const QString &title, const QString &directoryPath)
{
    QFileDialog panel(m_preferencesWindow && m_preferencesWindow->isVisible() ? m_preferencesWindow.get()
                                                                              : dialogParent(),
                      title, directoryPath);
    panel.setFileMode(QFileDialog::Directory);
    panel.setOption(QFileDialog::ShowDirsOnly);
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return QFileInfo(panel.selectedFiles().constFirst()).canonicalFilePath();
}

QStringList VXApplicationShell::runOpenPanel(const QString &title, const QString &fileType)
{
    return QFileDialog::getOpenFileNames(dialogParent(), title, QDir::homePath(),
                                         tr(VXFilesOfTypeFilter).arg(fileType));
}

void VXApplicationShell::beep()
{
    QApplication::beep();
}

// ---- What the controller shows

void VXApplicationShell::reloadApplicationList()
{
    if (m_lists)
        m_lists->reloadApplicationList();
    showStatus();
}

// What Wendle does now (and a step the user must take before windows can be tracked) stays in
// view: in the tray's tooltip, and at the foot of the organizer.
void VXApplicationShell::showStatus()
{
    if (!m_statusText || (!m_statusItem && !m_organizerWindow))
        return;
    const QString status = m_statusText();
    if (m_statusItem)
        m_statusItem->setStatus(status);
    if (m_organizerWindow && m_organizerWindow->statusBar()->currentMessage() != status)
        m_organizerWindow->statusBar()->showMessage(status);
}

void VXApplicationShell::reloadPoolList()
{
    if (m_lists)
        m_lists->reloadPoolList();
}

void VXApplicationShell::restoreExpansionStates()
{
    if (m_lists)
        m_lists->restoreExpansionStates();
}

bool VXApplicationShell::isEditingListItem() const
{
    return m_lists && m_lists->isEditingListItem();
}

VXDictionaryRef VXApplicationShell::selectedItem() const
{
    return m_lists ? m_lists->selectedItem() : VXDictionaryRef();
}

void VXApplicationShell::selectPoolListItem(const VXDictionaryRef &item)
{
    if (m_lists)
        m_lists->selectPoolListItem(item);
}

bool VXApplicationShell::runsAsStatusItem() const
{
    return m_controller && m_controller->runsAsStatusItem();
}

// The organizer and the report are seen: in their windows, or in the panel's shown section.
bool VXApplicationShell::isListWindowVisible() const
{
    return m_lists ? m_lists->isVisible() : m_organizerWindow && m_organizerWindow->isVisible();
}

bool VXApplicationShell::isReportWindowVisible() const
{
    const QWidget *container = m_liveReport ? m_liveReport->reportContainer() : nullptr;
    return container && container->isVisible();
}

void VXApplicationShell::updateReport()
{
    if (m_liveReport)
        m_liveReport->update(nullptr);
}

void VXApplicationShell::showBlacklistText(const QString &blacklistName, const QString &text)
{
    if (m_preferencesWindow)
        m_preferencesWindow->showBlacklistText(blacklistName, text);
}

void VXApplicationShell::showHibernationState(bool hibernating, bool animated)
{
    m_hibernating = hibernating;
    if (m_lists)
        m_lists->showHibernationState(hibernating, animated);
    updateIcon();
}

void VXApplicationShell::updateIcon()
{
    if (m_controller)
        m_hibernating = m_controller->hibernation().isHibernating();
    if (m_statusItem)
        m_statusItem->setHibernating(m_hibernating, m_controller && m_controller->hibernation().isDeepHibernating());
    // Hibernation stops the ticks that would otherwise bring the status up to date.
    showStatus();
    updateLiveReportIcons();
    waitForSystemTray();
}

void VXApplicationShell::waitForSystemTray()
{
    if (m_trayWait.isActive() || m_trayWaitTicks > 0 || !m_controller || runsAsStatusItem()
        || !m_defaults.boolForKey(VXWelcomeKey) || !m_defaults.boolForKey(VXStatusItemKey))
        return;
    m_trayWait.start();
}

// Neither draws nor schedules anything while its setting is off; the report's window is loaded
// only for a setting that draws it.
void VXApplicationShell::updateLiveReportIcons()
{
    if (!m_controller)
        return;
    const bool windowed = !runsAsStatusItem();
    if (!m_taskbarIcon)
        m_taskbarIcon = std::make_unique<VXTaskbarReportIcon>(m_defaults, m_controller->scheduler());
    if (windowed && m_liveReport && m_defaults.boolForKey(VXTaskbarReportIcon::kShowInDockKey))
        m_taskbarIcon->setReportView(m_liveReport->loadReportView());
    m_taskbarIcon->setWindowedMode(windowed);
    m_taskbarIcon->setHibernating(m_hibernating);
    m_taskbarIcon->updateIcon();

    const bool onDesktop = m_defaults.boolForKey(VXDesktopReport::kShowOnDesktopKey);
    if (!m_desktopReport && !onDesktop)
        return;
    if (!m_desktopReport)
        m_desktopReport = std::make_unique<VXDesktopReport>(m_defaults, m_controller->scheduler());
    if (onDesktop && m_liveReport)
        m_desktopReport->setReportView(m_liveReport->loadReportView());
    m_desktopReport->updateIcon();
}

bool VXApplicationShell::isSystemTrayAvailable() const
{
    return m_trayAvailable ? m_trayAvailable() : QSystemTrayIcon::isSystemTrayAvailable();
}

// ---- Launch and the two modes

void VXApplicationShell::createDefaultReportController()
{
    if (m_liveReport || !m_controller)
        return;
    m_liveReport
        = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, m_controller, &m_defaults);
    connect(VXLiveReportNotification::defaultCenter(), &VXLiveReportNotification::posted, m_liveReport.get(),
            &VXReportController::updateRegardless);
}

void VXApplicationShell::runWelcomeWindow()
{
    if (!m_controller)
        return;
    auto *welcome = new VXWelcomeWindow(*m_controller);
    welcome->setAttribute(Qt::WA_DeleteOnClose);
    m_welcomeWindow = welcome;
    welcome->adjustSize();
    centreOnScreen(welcome);
    welcome->activateWindow();
    welcome->exec();
}

void VXApplicationShell::closeWelcomeWindow()
{
    if (m_welcomeWindow)
        m_welcomeWindow->done(QDialog::Accepted);
}

void VXApplicationShell::checkStatusItemUI(bool buildStatusItemUI)
{
    if (buildStatusItemUI) {
        buildStatusItem();
        return;
    }
    const bool leavingTray = m_statusItem != nullptr;
    dismissStatusItem();
    if (!m_controller)
        return;
    if (leavingTray) {
        if (std::exchange(m_reopenReport, false))
            showWindow(Window::Report);
        if (std::exchange(m_reopenOrganizer, false))
            showWindow(Window::Organizer);
    }
    // Without the tray, a window is the way in.
    if (!isListWindowVisible() && !isReportWindowVisible())
        showWindow(Window::Organizer);
}

void VXApplicationShell::buildStatusItem()
{
    if (m_statusItem || !m_controller || !m_menus)
        return;
    m_statusItem = std::make_unique<VXStatusItemController>(*m_menus, m_defaults);
    VXStatusItemPanel *panel = m_statusItem->panel();
    // The views move into the panel; their windows, empty now, go out of sight.
    VXOrganizerWindow *organizer = loadOrganizerWindow();
    m_reopenOrganizer = organizer->isVisible();
    QWidget *report = loadReportContainer();
    QSize size(organizer->width(), organizer->height());
    if (report) {
        QWidget *reportWindow = m_liveReport->reportWindow();
        m_reopenReport = reportWindow->isVisible();
        size.setWidth(reportWindow->width());
        reportWindow->hide();
        panel->setView(report, VXStatusItemPanel::kActivityReportIdentifier);
        if (VXReportBottomBar *bar = m_liveReport->bottomBar())
            bar->setInsidePanel(true);
    }
    organizer->hide();
    panel->setView(m_lists, VXStatusItemPanel::kOrganizerIdentifier);
    panel->setInitialSize(size.expandedTo(VXPanelMinimumSize));
    panel->updateSelection();
    updateIcon();
}

// ---- Windows

QWidget *VXApplicationShell::loadReportContainer()
{
    if (!m_liveReport || !m_liveReport->loadReportView())
        return nullptr;
    return m_liveReport->reportContainer();
}

VXOrganizerWindow *VXApplicationShell::loadOrganizerWindow()
{
    if (!m_organizerWindow && m_controller) {
        m_organizerWindow = std::make_unique<VXOrganizerWindow>(*m_controller);
        m_lists = new VXListContainer(*m_controller);
        m_organizerWindow->setListContainer(m_lists);
        m_lists->reloadApplicationList();
        m_lists->reloadPoolList();
        m_lists->restoreExpansionStates();
        if (m_menus)
            m_menus->populateMenuBar(m_organizerWindow->menuBar());
        setFloating(m_organizerWindow.get(), m_defaults.boolForKey(VXListWindowStayInFrontKey));
        // Where the person left it at the last launch; centred the first time only.
        if (const std::optional<QRect> frame = VXWindowFrameFromText(m_defaults.stringForKey(kListWindowFrameKey)))
            m_organizerWindow->setGeometry(VXClampedToScreen(*frame, m_organizerWindow->minimumSizeHint()));
        else
            centreOnScreen(m_organizerWindow.get());
        m_organizerWindow->setFrameChangedHandler(
            [this](const QRect &frame) { m_defaults.setString(VXWindowFrameText(frame), kListWindowFrameKey); });
    }
    return m_organizerWindow.get();
}

QWidget *VXApplicationShell::windowOf(Window window) const
{
    switch (window) {
    case Window::Organizer: return m_lists ? m_lists->window() : m_organizerWindow.get();
    case Window::Report: {
        QWidget *container = m_liveReport ? m_liveReport->reportContainer() : nullptr;
        return container ? container->window() : nullptr;
    }
    case Window::Preferences: return m_preferencesWindow.get();
    }
    return nullptr;
}

bool VXApplicationShell::isPreferencesWindowVisible() const
{
    return m_preferencesWindow && m_preferencesWindow->isVisible();
}

bool VXApplicationShell::isKeyWindow(Window window) const
{
    const QWidget *widget = windowOf(window);
    if (!widget || !widget->isVisible() || !widget->isActiveWindow())
        return false;
    // The panel is the key window of the section it shows.
    switch (window) {
    case Window::Organizer: return isListWindowVisible();
    case Window::Report: return isReportWindowVisible();
    case Window::Preferences: return true;
    }
    return true;
}

void VXApplicationShell::showWindow(Window window)
{
    // In the tray the panel shows the organizer and the report.
    if (m_statusItem && window != Window::Preferences) {
        m_statusItem->showSection(window == Window::Organizer ? VXStatusItemPanel::kOrganizerIdentifier
                                                              : VXStatusItemPanel::kActivityReportIdentifier);
        return;
    }
    switch (window) {
    case Window::Organizer:
        if (VXOrganizerWindow *organizer = loadOrganizerWindow())
            bringToFront(organizer);
        return;
    case Window::Report:
        if (!m_liveReport)
            return;
        if (!isKeyWindow(Window::Report))
            m_liveReport->toggleReportWindow(nullptr);
        if (QWidget *report = m_liveReport->reportWindow();
            report && report->layout() && !report->layout()->menuBar() && m_menus && !runsAsStatusItem()) {
            // In windows, the report has the menu bar too.
            auto *menuBar = new QMenuBar(report);
            m_menus->populateMenuBar(menuBar);
            report->layout()->setMenuBar(menuBar);
        }
        return;
    case Window::Preferences:
        if (m_controller)
            m_controller->showPreferencesWindow();
        return;
    }
}

void VXApplicationShell::closeWindow(Window window)
{
    if (QWidget *widget = windowOf(window))
        widget->close();
}

void VXApplicationShell::setWindowFloating(Window window, bool floating)
{
    setFloating(windowOf(window), floating);
}

void VXApplicationShell::toggleReportWindow()
{
    if (isKeyWindow(Window::Report) && !m_statusItem) {
        m_liveReport->toggleReportWindow(nullptr);
        return;
    }
    showWindow(Window::Report);
}

void VXApplicationShell::performClose()
{
    if (QWidget *window = QApplication::activeWindow())
        window->close();
}

void VXApplicationShell::activateApplication()
{
    QWidget *front = nullptr;
    for (Window window : {Window::Preferences, Window::Report, Window::Organizer}) {
        if (QWidget *widget = windowOf(window); widget && widget->isVisible()) {
            widget->raise();
            if (!front)
                front = widget;
        }
    }
    if (front)
        front->activateWindow();
}

// ---- Preferences

bool VXApplicationShell::loadPreferencesWindow()
{
    if (!m_preferencesWindow && m_controller) {
        m_preferencesWindow = std::make_unique<VXPreferencesWindow>(*m_controller, m_defaults);
        m_preferencesWindow->setObjectName(QStringLiteral("PreferencesWindow"));
    }
    return m_preferencesWindow != nullptr;
}

QString VXApplicationShell::preferencesWindowFrame() const
{
    return m_preferencesWindow ? m_preferencesWindow->frameText() : QString();
}

void VXApplicationShell::showPreferencesWithFrame(const QString &frame)
{
    if (!m_preferencesWindow)
        return;
    const bool wasVisible = m_preferencesWindow->isVisible();
    m_preferencesWindow->refresh();
    m_preferencesWindow->changePreferencesSection(QStringLiteral("General"));
    if (frame.isEmpty() || !m_preferencesWindow->setFrameText(frame)) {
        if (!wasVisible)
            centreOnScreen(m_preferencesWindow.get());
    }
    bringToFront(m_preferencesWindow.get());
}

void VXApplicationShell::preferencesDidChange()
{
    if (m_preferencesWindow)
        m_preferencesWindow->refresh();
}

// ---- About, help, files, quit

void VXApplicationShell::showAboutWindow()
{
    if (!m_aboutDialog && m_controller)
        m_aboutDialog
            = std::make_unique<VXAboutDialog>(m_controller->store().configurationPath(), m_defaults.filePath());
    if (m_aboutDialog)
        bringToFront(m_aboutDialog.get());
}

void VXApplicationShell::showHelp()
{
    if (!m_helpWindow)
        m_helpWindow = std::make_unique<VXHelpWindow>();
    bringToFront(m_helpWindow.get());
}

void VXApplicationShell::showHelpPage(const QString &page)
{
    showHelp();
    m_helpWindow->showPage(page);
}

void VXApplicationShell::openFiles(const QStringList &paths)
{
    if (m_openFiles)
        m_openFiles(paths);
}

void VXApplicationShell::terminate()
{
    if (m_terminate)
        m_terminate();
}

void VXApplicationShell::tearDownUserInterface()
{
    // Windows closed from now on keep their open state for the next launch.
    VXReportController::setApplicationTerminating(true);
    dismissStatusItem();
}

// The tray's menu may be the one whose entry runs this (its Quit): the icon goes at once, the
// menu once the entry has returned.
void VXApplicationShell::dismissStatusItem()
{
    if (!m_statusItem)
        return;
    VXStatusItemPanel *panel = m_statusItem->panel();
    panel->hide();
    // (The window keeps the lists as its container; only its layout lost them.)
    if (QWidget *lists = panel->takeView(VXStatusItemPanel::kOrganizerIdentifier); lists && m_organizerWindow)
        m_organizerWindow->setCentralWidget(lists);
    if (QWidget *report = panel->takeView(VXStatusItemPanel::kActivityReportIdentifier)) {
        QWidget *reportWindow = m_liveReport ? m_liveReport->reportWindow() : nullptr;
        if (reportWindow && reportWindow->layout())
            reportWindow->layout()->addWidget(report);
        else
            delete report;
        if (VXReportBottomBar *bar = m_liveReport ? m_liveReport->bottomBar() : nullptr)
            bar->setInsidePanel(false);
    }
    m_statusItem->trayIcon()->hide();
    // (Owned by the shell meanwhile, should the loop not turn again.)
    VXStatusItemController *statusItem = m_statusItem.release();
    statusItem->setParent(this);
    statusItem->deleteLater();
}

// ---- Starting with the session

VXLoginItems &VXApplicationShell::loginItems()
{
    if (!m_loginItems) {
        m_autostartFolder = std::make_unique<VXAutostartFolder>(VXAutostartFolder::standard());
        m_loginItems = std::make_unique<VXLoginItems>(*m_autostartFolder, QCoreApplication::applicationFilePath(),
                                                      QCoreApplication::applicationName());
    }
    return *m_loginItems;
}

bool VXApplicationShell::setLoginItem(bool enable, bool showAlert)
{
    return loginItems().setLoginItem(enable, showAlert);
}

void VXApplicationShell::showHiddenLoginItemWarningAfterDelay()
{
    if (m_controller)
        loginItems().showHiddenLoginItemWarningAfterDelay(m_controller->scheduler(), *this);
}

bool VXApplicationShell::isApplicationHidden() const
{
    if (m_statusItem && m_statusItem->panel()->isPanelVisible())
        return false;
    return !isListWindowVisible() && !isReportWindowVisible() && !isPreferencesWindowVisible()
        && !isWelcomeWindowVisible();
}

bool VXApplicationShell::showHiddenLoginItemAlert(const QString &title, const QString &text, const QString &button)
{
    return runAlert(title, text, {button}) == 0;
}

// ---- The export's panel

bool VXApplicationShell::prepareExportPanelParentWindow()
{
    showWindow(Window::Report);
    return isReportWindowVisible();
}

void VXApplicationShell::getReportBeginTimestamp(double *beginTimestamp, double *endTimestamp)
{
    double first = 0.0;
    double last = 0.0;
    if (m_liveReport)
        m_liveReport->getBeginTimestamp(beginTimestamp, endTimestamp, &first, &last, m_liveReport->reportView());
}

void VXApplicationShell::setExportPanelModal(bool modal)
{
    if (m_controller)
        m_controller->setModal(modal);
}

void VXApplicationShell::runSavePanel(const QString &title, const QString &fileType, const QString &suggestedName,
                                      std::function<void(const std::optional<QString> &path)> completion)
{
    const QString folder
        = !m_exportFolder.isEmpty() && QFileInfo(m_exportFolder).isDir() ? m_exportFolder : QDir::homePath();
    QFileDialog panel(windowOf(Window::Report), title, folder, tr(VXFilesOfTypeFilter).arg(fileType));
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.selectFile(QDir(folder).filePath(suggestedName));
    if (panel.exec() != QDialog::Accepted || panel.selectedFiles().isEmpty()) {
        completion(std::nullopt);
        return;
    }
    QString path = panel.selectedFiles().constFirst();
    if (QFileInfo(path).suffix().compare(fileType, Qt::CaseInsensitive) != 0)
        path += u'.' + fileType;
    m_exportFolder = QFileInfo(path).absolutePath();
    completion(path);
}

bool VXApplicationShell::revealFolderInFileManager(const QString &path)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}
