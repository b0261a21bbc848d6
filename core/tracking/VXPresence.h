#pragma once

// How the user's presence reaches the core: input happened, the machine goes to sleep or wakes,
// the session is switched away or back, the screen is locked or unlocked. The desktop adapters
// are sources of two kinds: input monitors (an X11 idle counter, a Wayland idle protocol) feed the
// idle countdown; session notification sources (logind over D-Bus) tell of sleep, sessions and
// locks. The controller's hibernation logic is the observer of both.

#include <QString>

#include <functional>
#include <utility>

class VXPresenceObserver
{
public:
    virtual ~VXPresenceObserver() = default;

    // Some input happened since the last report. Sources report within a second of input and
    // never more than about once a second, whatever the rate of input.
    virtual void inputHappened() = 0;
    // The same, for input that happened `seconds` before this report: a source that looks at the
    // idle time only every so often learns of input late, and says so, so that input from before
    // a moment that matters (the click that closed an alert) is told from input after it. Taken
    // as input now unless the observer cares.
    virtual void inputHappenedSecondsAgo(double seconds)
    {
        Q_UNUSED(seconds);
        inputHappened();
    }
    virtual void systemWillSleep() = 0;
    virtual void systemDidWake() = 0;
    // The session stopped or started being the active one (another user took the seat).
    virtual void sessionDidResignActive() = 0;
    virtual void sessionDidBecomeActive() = 0;
    virtual void screenDidLock() = 0;
    virtual void screenDidUnlock() = 0;
};

class VXPresenceSource
{
public:
    virtual ~VXPresenceSource() = default;

    // Starts reporting to the observer; answers whether the source works in this session. A
    // source that cannot start reports nothing and costs nothing.
    virtual bool start(VXPresenceObserver &observer) = 0;
    virtual void stop() = 0;
    // A short name for the log ("X11 SYNC idle counter", "logind").
    virtual QString name() const = 0;
};

// Reports input (inputHappened) and nothing else. The program hibernates by itself only when one
// of these works.
class VXInputMonitor : public VXPresenceSource
{
};

// Reports sleep and wake, session switches and screen locks, and the machine shutting down. The
// system may also be asked to wait for the program: work given here runs while the source holds
// the sleep or the shutdown back (where the system allows it), so that the record reaches the
// disk first.
class VXSessionNotificationSource : public VXPresenceSource
{
public:
    // Runs when the machine is about to sleep, after the observer heard of it: saving the record.
    void setBeforeSleep(std::function<void()> work) { m_beforeSleep = std::move(work); }
    // Runs when the machine is about to shut down or reboot: the program's quit path.
    void setBeforeShutdown(std::function<void()> work) { m_beforeShutdown = std::move(work); }

protected:
    std::function<void()> m_beforeSleep;
    std::function<void()> m_beforeShutdown;
};
