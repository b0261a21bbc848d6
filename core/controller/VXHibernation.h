#pragma once

// Whether time counts: one pause counter that every reason to stop counting raises and lowers,
// and hibernation on top of it.
//
//   transitory pause   0.5 s while the user starts editing a name
//   hibernation        no input for "Hibernation Interval" seconds; the next input wakes it
//   deep hibernation   the user's "Wake Up Manually"; only the menu command wakes it, and it
//                      survives quitting ("Deep Hibernation")
//   user away          sleep, another session, a locked screen (while "Screen Lock Counts As
//                      Away"): hibernates at once; input cannot wake it until as many returns
//                      as there were leaves have come
//
// Every input pushes the idle countdown (one pending "hibernate:" at most) a whole interval
// into the future:
//
//     input:        x     x                          x
//     countdown:    [-----[---------- 600 s ---------]
//     state:        running                  | hibernating | running ...
//
// When the last pause ends the next tick is a gap: the paused time is never credited, open
// periods close at the last sample before the pause and reopen at the first one after it.

#include "VXFolderAccessUserInterface.h"
#include "VXPresence.h"

#include <QString>
#include <QtGlobal>

#include <limits>

class VXClock;
class VXHibernationDelegate;
class VXScheduler;
class VXUserDefaults;

// The user suspended the timers until a manual wake-up; read at launch.
inline const QString VXDeepHibernationKey = QStringLiteral("Deep Hibernation");

// The menu command's titles and its alert. Translation context "VXHibernation".
inline constexpr char VXWakeUpMenuTitle[] = QT_TRANSLATE_NOOP("VXHibernation", "Wake Up");
inline constexpr char VXSuspendTimersTitle[] = QT_TRANSLATE_NOOP("VXHibernation", "Suspend Timers...");
inline constexpr char VXSuspendTimersInformativeText[] = QT_TRANSLATE_NOOP(
    "VXHibernation",
    "Wendle can wake up automatically next time you do something, or it can remain in deep suspension until you wake it up manually.");
inline constexpr char VXWakeUpAutomaticallyButtonTitle[] = QT_TRANSLATE_NOOP("VXHibernation", "Wake Up Automatically");
inline constexpr char VXWakeUpManuallyButtonTitle[] = QT_TRANSLATE_NOOP("VXHibernation", "Wake Up Manually");

// Logged when no source of input reports: the program then never hibernates by itself.
inline const QString VXCannotInstallEventMonitorMessage = QStringLiteral("cannot install event monitor");

class VXHibernation final : public VXPresenceObserver
{
public:
    // Scheduled operations (with this object as target).
    static const QString kHibernateOperation;   // "hibernate:"
    static const QString kEndTransitoryPauseOperation;   // "endTransitoryPause"
    // How long a transitory pause lasts, and how long after "Wake Up Automatically" the program
    // hibernates (so that the events of the click closing the alert do not wake it again; a
    // source that reports that click later still is not believed either, see
    // inputHappenedSecondsAgo()).
    static constexpr double kTransitoryPauseDuration = 0.5;
    static constexpr double kAutomaticHibernationDelay = 0.5;

    VXHibernation(VXScheduler &scheduler, const VXClock &clock, VXUserDefaults &defaults,
                  VXHibernationDelegate &delegate);
    ~VXHibernation() override;

    VXHibernation(const VXHibernation &) = delete;
    VXHibernation &operator=(const VXHibernation &) = delete;

    // ---- The pause counter

    // true raises the counter; false lowers it, and when the last pause ends the next tick is a
    // gap. Unbalanced lowering is a caller's bug; the counter never goes below 0.
    void setPaused(bool paused);
    bool isPaused() const { return m_pauseLevel > 0; }
    int pauseLevel() const { return m_pauseLevel; }

    // A pause that ends by itself after kTransitoryPauseDuration.
    void pauseTransitorily();
    void endTransitoryPause();

    // ---- Hibernation

    bool isHibernating() const { return m_isHibernating; }
    // "Deep Hibernation" as stored.
    bool isDeepHibernating() const;
    int userAwayLevel() const { return m_userAwayLevel; }

    // Idle seconds before hibernation; 0 or less: never by itself. The setter stores "Hibernation
    // Interval" too (the preferences' selector); readHibernationInterval() takes it from the
    // store (start-up).
    int hibernationInterval() const { return m_hibernationInterval; }
    void setHibernationInterval(int seconds);
    void readHibernationInterval();
    // "Hibernation Interval" changed in the settings while running: a new value is taken, and
    // the idle countdown of a program that is awake starts again with it (as the input of the
    // person who changed it would have started it).
    void hibernationIntervalDidChange();

    // Whether some source reports input. Without one, no idle countdown is ever started.
    bool isEventMonitorInstalled() const { return m_eventMonitorInstalled; }
    void setEventMonitorInstalled(bool installed) { m_eventMonitorInstalled = installed; }

    // Enters hibernation unless already hibernating.
    void hibernate(const void *sender);
    // Notes user activity: wakes from hibernation when allowed (not deep, nobody away) and
    // restarts the idle countdown.
    void deferHibernation();
    // The menu command: wakes from deep hibernation, or asks how to suspend.
    void toggleHibernation();
    // Its title: "Wake Up" while in deep hibernation, else "Suspend Timers...".
    QString toggleHibernationTitle() const;

    void userLeaves();
    void userReturns();

    // At launch, before the first tick: a deep hibernation stored by the previous run is
    // resumed (the lists show it without animation).
    void restoreDeepHibernation();

    // ---- VXPresenceObserver

    void inputHappened() override;
    // Input from before "Wake Up Automatically" closed the alert is not a return, however late
    // a source reports it.
    void inputHappenedSecondsAgo(double seconds) override;
    void systemWillSleep() override;
    void systemDidWake() override;
    void sessionDidResignActive() override;
    void sessionDidBecomeActive() override;
    // Count as leaving and returning while "Screen Lock Counts As Away" is on when the screen
    // locks. A lock that was not counted is not balanced by its unlock, and a repeated lock
    // report counts once.
    void screenDidLock() override;
    void screenDidUnlock() override;

private:
    void enterHibernation(bool animated);
    void scheduleHibernation(double delay);
    // Drops the pending countdown and, unless the interval is off, somebody is away or no input
    // is watched, starts a new one of the whole interval.
    void restartIdleCountdown();

    VXScheduler &m_scheduler;
    const VXClock &m_clock;
    VXUserDefaults &m_defaults;
    VXHibernationDelegate &m_delegate;
    int m_pauseLevel = 0;
    int m_userAwayLevel = 0;
    int m_hibernationInterval = 0;
    bool m_isHibernating = false;
    bool m_eventMonitorInstalled = false;
    bool m_screenLockCounted = false;
    // When the user last chose "Wake Up Automatically": input before it was the choosing.
    double m_automaticWakeUpChosenAt = -std::numeric_limits<double>::infinity();
};
