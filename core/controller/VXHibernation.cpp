#include "VXHibernation.h"

#include "VXClock.h"
#include "VXHibernationDelegate.h"
#include "VXRegisteredDefaults.h"
#include "VXScheduler.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <limits>

const QString VXHibernation::kHibernateOperation = QStringLiteral("hibernate:");
const QString VXHibernation::kEndTransitoryPauseOperation = QStringLiteral("endTransitoryPause");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXHibernation", text);
}

}   // namespace

VXHibernation::VXHibernation(VXScheduler &scheduler, const VXClock &clock, VXUserDefaults &defaults,
                             VXHibernationDelegate &delegate) :
    m_scheduler(scheduler),
    m_clock(clock), m_defaults(defaults), m_delegate(delegate)
{
}

VXHibernation::~VXHibernation()
{
    m_scheduler.cancelAll(this);
}

// ---- The pause counter

void VXHibernation::setPaused(bool paused)
{
    if (paused) {
        ++m_pauseLevel;
        return;
    }
    if (m_pauseLevel <= 0)
        return;
    if (--m_pauseLevel == 0)
        m_delegate.lastPauseDidEnd();
}

void VXHibernation::pauseTransitorily()
{
    setPaused(true);
    m_scheduler.performAfterDelay(this, kEndTransitoryPauseOperation, kTransitoryPauseDuration,
                                  [this] { endTransitoryPause(); });
}

void VXHibernation::endTransitoryPause()
{
    setPaused(false);
}

// ---- Hibernation

bool VXHibernation::isDeepHibernating() const
{
    return m_defaults.boolForKey(VXDeepHibernationKey);
}

void VXHibernation::setHibernationInterval(int seconds)
{
    m_hibernationInterval = seconds;
    m_defaults.setInteger(seconds, VXDefaultsKey::kHibernationInterval);
}

void VXHibernation::readHibernationInterval()
{
    const std::int64_t seconds = m_defaults.integerForKey(VXDefaultsKey::kHibernationInterval);
    m_hibernationInterval
        = int(std::clamp<std::int64_t>(seconds, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

void VXHibernation::hibernate(const void *sender)
{
    Q_UNUSED(sender);
    if (m_isHibernating)
        return;
    enterHibernation(true);
}

void VXHibernation::enterHibernation(bool animated)
{
    m_delegate.showHibernationState(true, animated);
    setPaused(true);
    m_isHibernating = true;
    m_delegate.hibernationDidChange();
}

void VXHibernation::deferHibernation()
{
    if (m_isHibernating && !isDeepHibernating() && m_userAwayLevel == 0) {
        m_isHibernating = false;
        m_delegate.showHibernationState(false, true);
        setPaused(false);
        m_delegate.hibernationDidChange();
    }
    restartIdleCountdown();
}

void VXHibernation::restartIdleCountdown()
{
    m_scheduler.cancel(this, kHibernateOperation);
    if (m_hibernationInterval > 0 && m_userAwayLevel == 0 && m_eventMonitorInstalled)
        scheduleHibernation(m_hibernationInterval);
}

void VXHibernation::hibernationIntervalDidChange()
{
    const int before = m_hibernationInterval;
    readHibernationInterval();
    if (m_hibernationInterval != before && !m_isHibernating)
        restartIdleCountdown();
}

void VXHibernation::scheduleHibernation(double delay)
{
    m_scheduler.cancel(this, kHibernateOperation);
    m_scheduler.performAfterDelay(this, kHibernateOperation, delay, [this] { hibernate(nullptr); });
}

void VXHibernation::toggleHibernation()
{
    if (isDeepHibernating()) {
        m_defaults.setBool(false, VXDeepHibernationKey);
        deferHibernation();
        return;
    }
    const int answer = m_delegate.runAlert(tr(VXSuspendTimersTitle), tr(VXSuspendTimersInformativeText),
                                           {tr(VXWakeUpAutomaticallyButtonTitle), tr(VXWakeUpManuallyButtonTitle),
                                            QCoreApplication::translate("VXDialogs", VXCancelButtonTitle)});
    if (answer == 1) {
        m_defaults.setBool(true, VXDeepHibernationKey);
        hibernate(this);
    } else if (answer == 0) {
        m_automaticWakeUpChosenAt = m_clock.now();
        scheduleHibernation(kAutomaticHibernationDelay);
    }
}

QString VXHibernation::toggleHibernationTitle() const
{
    return tr(isDeepHibernating() ? VXWakeUpMenuTitle : VXSuspendTimersTitle);
}

void VXHibernation::userLeaves()
{
    ++m_userAwayLevel;
    m_scheduler.cancel(this, kHibernateOperation);
    hibernate(nullptr);
}

void VXHibernation::userReturns()
{
    if (m_userAwayLevel > 0)
        --m_userAwayLevel;
    deferHibernation();
}

void VXHibernation::restoreDeepHibernation()
{
    if (isDeepHibernating() && !m_isHibernating)
        enterHibernation(false);
}

// ---- VXPresenceObserver

void VXHibernation::inputHappened()
{
    deferHibernation();
}

void VXHibernation::inputHappenedSecondsAgo(double seconds)
{
    if (m_clock.now() - seconds <= m_automaticWakeUpChosenAt)
        return;
    deferHibernation();
}

void VXHibernation::systemWillSleep()
{
    userLeaves();
}

void VXHibernation::systemDidWake()
{
    userReturns();
}

void VXHibernation::sessionDidResignActive()
{
    userLeaves();
}

void VXHibernation::sessionDidBecomeActive()
{
    userReturns();
}

void VXHibernation::screenDidLock()
{
    if (m_screenLockCounted || !m_defaults.boolForKey(VXDefaultsKey::kScreenLockCountsAsAway))
        return;
    m_screenLockCounted = true;
    userLeaves();
}

void VXHibernation::screenDidUnlock()
{
    if (!m_screenLockCounted)
        return;
    m_screenLockCounted = false;
    userReturns();
}
