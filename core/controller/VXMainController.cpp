#include "VXMainController.h"

#include "VXBlacklists.h"
#include "VXClock.h"
#include "VXConfigurationKeys.h"
#include "VXControllerLogging.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXMainControllerDelegate.h"
#include "VXPools.h"
#include "VXPresence.h"
#include "VXRegisteredDefaults.h"
#include "VXReportMenuTarget.h"
#include "VXScheduler.h"
#include "VXStringExtensions.h"
#include "VXTreeSnapshots.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>

VXMainControllerDelegate &VXNoMainControllerDelegate()
{
    static VXMainControllerDelegate delegate;
    return delegate;
}

const QString VXMainController::kUpdateListsOperation = QStringLiteral("updateLists:");
const QString VXMainController::kCompleteUISetupOperation = QStringLiteral("completeUISetup");

VXMainController::VXMainController(VXDesktop &desktop, VXScheduler &scheduler, VXClock &clock, VXUserDefaults &defaults,
                                   VXMainControllerDelegate *delegate) :
    m_desktop(desktop),
    m_scheduler(scheduler), m_clock(clock), m_defaults(defaults), m_delegate(delegate),
    m_hibernation(scheduler, clock, defaults, *this), m_bookmarkManager(defaults, this),
    m_store(
        defaults, scheduler, [this] { return m_configuration; }, &m_bookmarkManager),
    m_journal(scheduler, m_store, [this] { return m_configuration; }),
    m_undoHistory(
        scheduler, m_store, [this] { return m_configuration; },
        [this](VXDictionaryRef configuration) { setConfiguration(std::move(configuration)); }),
    m_resets(defaults, clock, scheduler, *this),
    m_exporter(VXExportSource {[this] { return m_configuration; }, [this] { return m_sampler.applicationArray(); },
                               [this] { return m_sampler.poolArray(); }, [] { return VXCurrentSortColumn(); }},
               defaults, clock, &m_bookmarkManager),
    m_preferences(*this, defaults)
{
    readStartUpSettings();
    m_store.setJournal(&m_journal);
    m_resets.setAutoExport([this] { m_exporter.autoExportIfNecessary(); });
}

VXMainController::~VXMainController()
{
    QObject::disconnect(m_settingsConnection);
    m_scheduler.cancelAll(this);
    if (VXFolderAccessDelegate::shared() == &m_bookmarkManager)
        VXFolderAccessDelegate::setShared(nullptr);
}

void VXMainController::readStartUpSettings()
{
    m_showInactiveApplicationItems = m_defaults.boolForKey(VXShowInactiveApplicationItemsKey);
    m_showInactivePools = m_defaults.boolForKey(VXDefaultsKey::kShowInactivePools);
    m_settings.showInactiveApplicationItems = m_showInactiveApplicationItems;
    m_settings.showInactivePools = m_showInactivePools;
    m_hibernation.readHibernationInterval();
}

void VXMainController::setShowInactiveApplicationItems(bool show)
{
    m_showInactiveApplicationItems = show;
    m_settings.showInactiveApplicationItems = show;
    m_defaults.setBool(show, VXShowInactiveApplicationItemsKey);
}

void VXMainController::setShowInactivePools(bool show)
{
    m_showInactivePools = show;
    m_settings.showInactivePools = show;
    m_defaults.setBool(show, VXDefaultsKey::kShowInactivePools);
}

// ---- Start-up and quit

void VXMainController::applicationWillFinishLaunching()
{
    importUserDefaultsFromDomain(m_defaults, VXUserDefaults::kOlderDomain);
    VXRegisterDefaults(m_defaults);
    VXSecurityScopedBookmarkManager::setBookmarkManager(&m_bookmarkManager);
    VXFolderAccessDelegate::setShared(&m_bookmarkManager);
    checkStatusItem();
    if (runsAsStatusItem() && m_defaults.boolForKey(VXDefaultsKey::kEnableLoginItemAutomatically) && m_delegate)
        m_delegate->setLoginItem(true, true);
}

void VXMainController::applicationDidFinishLaunching(const std::vector<VXPresenceSource *> &inputMonitors,
                                                     const std::vector<VXPresenceSource *> &notificationSources)
{
    readStartUpSettings();

    bool monitoring = false;
    for (VXPresenceSource *source : inputMonitors) {
        if (source && source->start(m_hibernation)) {
            qCInfo(lcController).noquote() << QStringLiteral("watching input through %1").arg(source->name());
            m_presenceSources.push_back(source);
            monitoring = true;
        }
    }
    m_hibernation.setEventMonitorInstalled(monitoring);
    if (monitoring)
        m_hibernation.deferHibernation();
    else
        qCWarning(lcController).noquote() << VXCannotInstallEventMonitorMessage;
    for (VXPresenceSource *source : notificationSources) {
        if (source && source->start(m_hibernation))
            m_presenceSources.push_back(source);
    }

    loadConfiguration();
    m_hibernation.restoreDeepHibernation();
    // The first tick.
    setSortColumn(int(m_defaults.integerForKey(VXDefaultsKey::kSort)));
    // From here on a changed setting acts at once, wherever the change came from.
    QObject::disconnect(m_settingsConnection);
    m_settingsConnection = QObject::connect(&m_defaults, &VXUserDefaults::valueChanged,
                                            [this](const QString &key) { settingDidChange(key); });
    m_scheduler.performAfterDelay(this, kCompleteUISetupOperation, 0.0, [this] { completeUISetup(); });
}

bool VXMainController::applicationShouldTerminate()
{
    m_terminating = true;
    QObject::disconnect(m_settingsConnection);
    for (VXPresenceSource *source : m_presenceSources)
        source->stop();
    m_presenceSources.clear();
    m_hibernation.setEventMonitorInstalled(false);
    if (m_delegate)
        m_delegate->tearDownUserInterface();
    const bool saved = m_store.saveConfiguration(true, true, false);
    m_defaults.synchronize();
    return saved;
}

// ---- Settings changed while running

void VXMainController::settingDidChange(const QString &key)
{
    static const QStringList dailyTaskKeys {VXAutoResetApplicationsKey, VXAutoResetPoolsKey,
                                            VXAutoExportKey::kAutoExportReports, VXAutoExportHourKey};
    static const QStringList liveReportKeys {VXLiveReportContentKey, VXDefaultsKey::kLiveReportApplications,
                                             VXDefaultsKey::kLiveReportPools, VXShowActivityReportInDockKey,
                                             VXShowActivityReportOnDesktopKey};
    // What the program keeps beside a setting is compared first: its own setters store the
    // setting after they acted, and must not act twice.
    if (key == VXStatusItemKey || key == VXWelcomeKey) {
        // The tray switch stored it and switched already; a change from outside switches here.
        checkStatusItem();
        checkStatusItemUI();
    } else if (key == VXDefaultsKey::kHibernationInterval) {
        m_hibernation.hibernationIntervalDidChange();
    } else if (key == VXShowInactiveApplicationItemsKey || key == VXDefaultsKey::kShowInactivePools) {
        m_showInactiveApplicationItems = m_settings.showInactiveApplicationItems
            = m_defaults.boolForKey(VXShowInactiveApplicationItemsKey);
        m_showInactivePools = m_settings.showInactivePools = m_defaults.boolForKey(VXDefaultsKey::kShowInactivePools);
    } else if (key == VXDefaultsKey::kSort) {
        const int column = int(m_defaults.integerForKey(VXDefaultsKey::kSort));
        if (column != VXCurrentSortColumn())
            setSortColumn(column);
    } else if (key == VXUpdateIntervalKey) {
        // A shorter interval need not wait for a tick scheduled with the longer one.
        const double interval = updateInterval();
        if (m_scheduler.isPending(this, kUpdateListsOperation) && m_nextTickDue > m_clock.now() + interval) {
            m_scheduler.cancel(this, kUpdateListsOperation);
            scheduleNextTick(interval);
        }
    } else if (dailyTaskKeys.contains(key)) {
        m_resets.doAutoTasksIfNecessary(this);
    } else if (liveReportKeys.contains(key)) {
        if (m_delegate) {
            m_delegate->updateIcon();
            m_delegate->updateReport();
        }
    } else if (key == VXColorSchemeKey || key == kExpressTimeIntervalsAsDaysKey) {
        // Reports redraw by themselves; the lists are told.
        if (m_delegate) {
            m_delegate->reloadApplicationList();
            m_delegate->reloadPoolList();
            m_delegate->updateReport();
        }
    }
}

// ---- The sampler

void VXMainController::updateLists(const void *sender)
{
    VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : VXNoMainControllerDelegate();
    if (sender)
        m_scheduler.cancel(this, kUpdateListsOperation);

    if (sender || !(isPaused() || delegate.isEditingListItem())) {
        m_settings.readTickSettings(m_defaults);
        m_settings.sortColumn = VXCurrentSortColumn();
        m_desktop.takeSnapshot(m_snapshot);
        // A forced tick follows a change to the tree: walk all of it.
        const VXDictionaryRef sampled = m_configuration;
        m_sampler.sample(m_configuration, m_snapshot, m_clock.now(), m_settings, sender != nullptr);
        // The first tick makes the tree when there is none.
        if (m_configuration != sampled)
            m_journal.noteTreeReplaced();
        m_journal.noteTick(&m_sampler.windowsOfLastTick());
        // Every list of windows in another order, dormant applications' too.
        if (m_hasCompletedFullTick
            && (m_settings.sortColumn != m_listedSortColumn
                || m_settings.showInactiveApplicationItems != m_listedInactiveItems))
            m_journal.noteListsSorted();
        m_listedSortColumn = m_settings.sortColumn;
        m_listedInactiveItems = m_settings.showInactiveApplicationItems;

        delegate.reloadApplicationList();
        delegate.reloadPoolList();
        VXExpansionRefreshFacts facts;
        facts.firstFullTick = !m_hasCompletedFullTick;
        facts.runsAsStatusItem = delegate.runsAsStatusItem();
        facts.listWindowVisible = delegate.isListWindowVisible();
        facts.reportWindowVisible = delegate.isReportWindowVisible();
        facts.liveReportContent = m_defaults.integerForKey(VXLiveReportContentKey);
        facts.showActivityReportInDock = m_defaults.boolForKey(VXShowActivityReportInDockKey);
        facts.showActivityReportOnDesktop = m_defaults.boolForKey(VXShowActivityReportOnDesktopKey);
        if (VXShouldRestoreExpansionStates(facts))
            delegate.restoreExpansionStates();
        m_hasCompletedFullTick = true;
    }

    delegate.updateReport();
    scheduleNextTick(updateInterval());
}

// No tick is pending here: it has just fired, or was cancelled.
void VXMainController::scheduleNextTick(double delay)
{
    m_nextTickDue = m_clock.now() + delay;
    m_scheduler.performAfterDelay(this, kUpdateListsOperation, delay, [this] { updateLists(nullptr); });
}

double VXMainController::updateInterval() const
{
    return VXUpdateIntervalFromValue(m_defaults.doubleForKey(VXUpdateIntervalKey));
}

void VXMainController::setUpdateInterval(double interval)
{
    m_defaults.setDouble(interval, VXUpdateIntervalKey);
}

void VXMainController::setSortColumn(int column)
{
    VXSetCurrentSortColumn(column);
    m_defaults.setInteger(column, VXDefaultsKey::kSort);
    updateLists(this);
}

int VXMainController::sortColumn() const
{
    return VXCurrentSortColumn();
}

// ---- The pause gate and hibernation

void VXMainController::lastPauseDidEnd()
{
    m_sampler.setIgnoreLastDate(true);
}

void VXMainController::showHibernationState(bool hibernating, bool animated)
{
    if (m_delegate)
        m_delegate->showHibernationState(hibernating, animated);
}

void VXMainController::hibernationDidChange()
{
    if (m_delegate)
        m_delegate->updateIcon();
}

// ---- Dialogs and the user interface's state

int VXMainController::runAlert(const QString &messageText, const QString &informativeText,
                               const QStringList &buttonTitles)
{
    if (!m_delegate)
        return -1;
    m_isModal = true;
    const int answer = m_delegate->runAlert(messageText, informativeText, buttonTitles);
    m_isModal = false;
    return answer;
}

std::optional<QString> VXMainController::runUnlockPanel(const VXUnlockPanelRequest &request)
{
    return m_delegate ? m_delegate->runUnlockPanel(request) : std::nullopt;
}

void VXMainController::beep()
{
    if (m_delegate)
        m_delegate->beep();
}

VXDictionaryRef VXMainController::selectedItem()
{
    return m_delegate ? m_delegate->selectedItem() : VXDictionaryRef();
}

bool VXMainController::canMakeNewPoolFromSelection() const
{
    return m_delegate && m_organizer.canMakePoolFromItem(m_delegate->selectedItem().get());
}

void VXMainController::showBlacklistText(const QString &blacklistName, const QString &text)
{
    if (m_delegate)
        m_delegate->showBlacklistText(blacklistName, text);
}

// ---- Blacklists, cut-offs and pools

VXArray &VXMainController::blacklistWithName(const QString &name)
{
    if (!m_configuration)
        m_configuration = VXMakeDictionary();
    return ::blacklistWithName(*m_configuration, name);
}

void VXMainController::updateBlacklists()
{
    for (const QString *name : {&VXApplicationBlacklistKey, &VXWindowBlacklistKey}) {
        VXArray &blacklist = blacklistWithName(*name);
        VXSortBlacklist(blacklist);
        if (m_delegate)
            m_delegate->showBlacklistText(*name, VXBlacklistText(blacklist));
    }
}

void VXMainController::blacklistTextDidChange(const QString &name, const QString &text)
{
    if (!m_configuration)
        setConfiguration(VXMakeDictionary());
    // A line of nothing but spaces the person typed in the preferences names nothing: no entry.
    QStringList lines = text.split(u'\n');
    lines.removeIf([](const QString &line) { return line.trimmed().isEmpty(); });
    VXSetBlacklistText(*m_configuration, name, lines.join(u'\n'));
    m_journal.noteTreeReplaced();
}

VXDictionary *VXMainController::cutoffs() const
{
    return m_configuration ? ::cutoffs(*m_configuration) : nullptr;
}

bool VXMainController::toggleMatchAnyApplicationViaMenuItem(const VXDictionary *item)
{
    const VXArray *pools = m_configuration ? m_configuration->value(VXPoolsKey).array() : nullptr;
    VXDictionary *member = VXPoolMemberForItem(pools, item);
    if (!member) {
        if (m_delegate)
            m_delegate->beep();
        return false;
    }
    const VXDictionaryRef keep(member);
    pushUndoStateAndClearRedoStatesAfterDelay();
    VXToggleMatchAnyApplication(*member);
    updateLists(this);
    if (m_delegate)
        m_delegate->selectPoolListItem(keep);
    return true;
}

QString VXMainController::matchAnyApplicationMenuTitle(const VXDictionary *item) const
{
    const VXArray *pools = m_configuration ? m_configuration->value(VXPoolsKey).array() : nullptr;
    const VXDictionary *member = VXPoolMemberForItem(pools, item);
    return member ? VXMatchAnyApplicationMenuTitle(*member, member != item) : QString();
}

// ---- Undo

void VXMainController::pushUndoStateAndClearRedoStatesAfterDelay()
{
    m_undoHistory.pushUndoStateAndClearRedoStatesAfterDelay();
}

void VXMainController::importConfiguration(VXDictionaryRef configuration, VXDictionaryRef snapshot,
                                           std::function<void(bool)> saved)
{
    pushUndoStateAndClearRedoStatesAfterDelay();
    setConfiguration(std::move(configuration));
    // Saved as imported, before the first tick on it, which the journal then keeps (the save
    // before the change restarted the periodic one).
    if (!snapshot)
        snapshot = VXTreeSnapshot(m_configuration, VXDictionaryRef());
    m_store.saveReplacedTree(snapshot, std::move(saved));
    updateLists(this);
    updateBlacklists();
}

void VXMainController::undo(const void *sender)
{
    Q_UNUSED(sender);
    if (!m_undoHistory.undo())
        return;
    updateLists(this);
    updateBlacklists();
}

void VXMainController::redo(const void *sender)
{
    Q_UNUSED(sender);
    if (!m_undoHistory.redo())
        return;
    updateLists(this);
    updateBlacklists();
}

// ---- The live report's data

void VXMainController::getFirstTimestamp(double *firstTimestamp, double *lastTimestamp,
                                         const VXReportClient &reportController)
{
    Q_UNUSED(reportController);
    m_exporter.getFirstTimestamp(firstTimestamp, lastTimestamp);
}

VXArrayRef VXMainController::eventLogsClippedBetweenTimestamp(double timestamp, double otherTimestamp,
                                                              const VXReportClient &reportController)
{
    Q_UNUSED(reportController);
    return m_exporter.eventLogsClippedBetweenTimestamp(timestamp, otherTimestamp);
}

void VXMainController::populateViewMenu(VXReportMenu &menu, const VXReportClient &reportController)
{
    const auto title = [](const char *text) { return QCoreApplication::translate("VXMainController", text); };
    // The report reaches this menu as its data source's client; its entries act on it.
    auto *target = const_cast<VXReportMenuTarget *>(dynamic_cast<const VXReportMenuTarget *>(&reportController));
    const auto addReportItem = [&](const char *text, int tag, VXReportMenuAction action) {
        if (!target) {
            menu.addHeading(title(text));
            return;
        }
        VXAddValidatedReportMenuItem(
            menu, title(text), tag,
            [target, action, tag] {
                if (action == VXReportMenuAction::SetTimeFormatFromMenuItem)
                    target->setTimeFormatFromMenuItem(tag);
                else
                    target->toggleShownActivityFromMenuItem(tag);
            },
            [target, action, tag] { return target->validateMenuItem(action, tag); });
    };
    addReportItem(VXAsTimeLapseTitle, 0, VXReportMenuAction::SetTimeFormatFromMenuItem);
    addReportItem(VXAsTimePortionsTitle, 1, VXReportMenuAction::SetTimeFormatFromMenuItem);
    menu.addSeparator();
    addReportItem(VXForegroundActivityTitle, 0, VXReportMenuAction::ToggleShownActivityFromMenuItem);
    addReportItem(VXTotalActivityTitle, 1, VXReportMenuAction::ToggleShownActivityFromMenuItem);
    menu.addSeparator();
    VXAddValidatedReportMenuItem(
        menu, title(VXDisplayIntervalsAsDaysTitle), 0, [this] { toggleConversionToDaysFromMenuItem(); },
        [this] {
            return VXReportMenuItemState {true, m_defaults.boolForKey(kExpressTimeIntervalsAsDaysKey)};
        });
    menu.addSeparator();

    VXReportMenu &schemes = menu.addSubmenu(title(VXColorSchemeTitle));
    const auto addScheme = [&](const char *text, int tag) {
        VXAddValidatedReportMenuItem(
            schemes, title(text), tag, [this, tag] { selectColorScheme(tag); },
            [this, tag] {
                return VXReportMenuItemState {true, m_defaults.integerForKey(VXColorSchemeKey) == tag};
            });
    };
    addScheme(VXOriginalColorSchemeTitle, 0);
    schemes.addSeparator();
    schemes.addHeading(title(VXStandardHighlightColorTitle));
    // Out of display order on purpose: the stored value is the tag.
    addScheme(VXDarkColorSchemeTitle, 3);
    addScheme(VXLightColorSchemeTitle, 2);
}

bool VXMainController::contextMenuForEventLog(const VXDictionary &eventLog,
                                              const VXReportClient &displayedByReportController, VXReportMenu &menu)
{
    Q_UNUSED(displayedByReportController);
    return m_organizer.contextMenuForItem(eventLog.value(VXSourceKey).dictionaryRef(), true, menu);
}

// The lists and reports follow through settingDidChange(), as they do for a change made from
// outside.
void VXMainController::selectColorScheme(int tag)
{
    m_defaults.setInteger(tag, VXColorSchemeKey);
}

void VXMainController::toggleConversionToDaysFromMenuItem()
{
    m_defaults.setBool(!m_defaults.boolForKey(kExpressTimeIntervalsAsDaysKey), kExpressTimeIntervalsAsDaysKey);
}
