#include "VXMainController.h"

#include "VXBlacklists.h"
#include "VXClock.h"
#include "VXConfigurationKeys.h"
#include "VXItemSorting.h"
#include "VXMainControllerDelegate.h"
#include "VXPools.h"
#include "VXRegisteredDefaults.h"
#include "VXScheduler.h"
#include "VXUserDefaults.h"

namespace {

// Used where the controller runs without a user interface.
VXMainControllerDelegate &noDelegate()
{
    static VXMainControllerDelegate delegate;
    return delegate;
}

} // namespace

const QString VXMainController::kUpdateListsOperation = QStringLiteral("updateLists:");

VXMainController::VXMainController(VXDesktop &desktop, VXScheduler &scheduler, VXClock &clock,
                                   VXUserDefaults &defaults, VXMainControllerDelegate *delegate)
    : m_desktop(desktop), m_scheduler(scheduler), m_clock(clock), m_defaults(defaults), m_delegate(delegate)
{
    m_showInactiveApplicationItems = m_defaults.boolForKey(VXShowInactiveApplicationItemsKey);
    m_showInactivePools = m_defaults.boolForKey(VXDefaultsKey::kShowInactivePools);
    m_settings.showInactiveApplicationItems = m_showInactiveApplicationItems;
    m_settings.showInactivePools = m_showInactivePools;
}

VXMainController::~VXMainController()
{
    m_scheduler.cancelAll(this);
}

// ---- The sampler

void VXMainController::updateLists(const void *sender)
{
    VXMainControllerDelegate &delegate = m_delegate ? *m_delegate : noDelegate();
    if (sender)
        m_scheduler.cancel(this, kUpdateListsOperation);

    if (sender || !(isPaused() || delegate.isEditingListItem())) {
        m_settings.readTickSettings(m_defaults);
        m_settings.sortColumn = VXCurrentSortColumn();
        m_desktop.takeSnapshot(m_snapshot);
        // A forced tick follows a change to the tree: walk all of it.
        m_sampler.sample(m_configuration, m_snapshot, m_clock.now(), m_settings, sender != nullptr);

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
    m_scheduler.performAfterDelay(this, kUpdateListsOperation, updateInterval(), [this] { updateLists(nullptr); });
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

// ---- The pause gate

void VXMainController::setPaused(bool paused)
{
    if (paused) {
        ++m_pauseLevel;
        return;
    }
    if (m_pauseLevel == 1)
        m_sampler.setIgnoreLastDate(true);
    --m_pauseLevel;
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
        m_configuration = VXMakeDictionary();
    VXSetBlacklistText(*m_configuration, name, text);
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
}
