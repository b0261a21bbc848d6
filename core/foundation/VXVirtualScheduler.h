#pragma once

// A scheduler and clock in virtual time, for tests and for running the program's logic faster than
// real time. Time stands still until it is advanced; advancing fires the calls that come due, in
// order of due time, and calls due at the same instant in the order they were scheduled. While a
// call runs, now() is exactly its due time, so a chain that schedules its next call "interval
// seconds from now" runs without drift: a day of 0.5-second ticks is 172,800 calls at exactly
// start + k * 0.5.
//
//     VXVirtualScheduler time(VXVirtualScheduler::unixTime(QDate(2026, 3, 29), QTime(0, 0), berlin), berlin);
//     controller.start();              // schedules its first tick
//     time.advanceBy(24 * 3600);       // a day of ticks, in milliseconds of real time
//
// A call scheduled with no delay (or one already due) while calls are firing fires in the same
// advance, after every call that was already due at that instant. A chain that keeps scheduling
// itself with no delay would never let time move on: after runawayLimit() calls at one instant the
// advance stops, says so in the log, and answers with stoppedByRunaway() set.
//
// Not thread-safe; advance it from one thread, never from inside one of its own calls.

#include "VXClock.h"
#include "VXScheduler.h"

#include <QDate>
#include <QDateTime>
#include <QTime>

#include <cstdint>
#include <map>
#include <optional>

class VXVirtualScheduler final : public VXScheduler, public VXClock
{
public:
    // Starts at `startTime` (Unix seconds) with days counted in `timeZone` (UTC unless given).
    explicit VXVirtualScheduler(double startTime = 0.0, const QTimeZone &timeZone = QTimeZone::utc());
    ~VXVirtualScheduler() override;

    VXVirtualScheduler(const VXVirtualScheduler &) = delete;
    VXVirtualScheduler &operator=(const VXVirtualScheduler &) = delete;

    // VXClock
    double now() const override;
    QTimeZone timeZone() const override;
    void setTimeZone(const QTimeZone &timeZone);

    // VXScheduler
    void performAfterDelay(Target target, const QString &operation, double delay, std::function<void()> call) override;
    void cancel(Target target, const QString &operation) override;
    void cancelAll(Target target) override;
    bool isPending(Target target, const QString &operation) const override;

    // Fires every call due up to `unixTime`, then leaves the clock there. A time in the past does
    // not turn the clock back; it only fires what is due now. Answers the number of calls fired.
    int advanceTo(double unixTime);
    int advanceBy(double seconds);
    // Fires every call due before `unixTime`, then leaves the clock at it: the calls due exactly
    // then stay pending, so that something else (a scripted event) can happen at that instant
    // before them. Answers the number of calls fired.
    int advanceUpTo(double unixTime);
    // Fires what is due now (the calls scheduled with no delay), without moving the clock.
    int runDue();
    // Fires calls, moving the clock from due time to due time, until none is pending or `maxCalls`
    // have fired (a perpetual chain such as the tick never ends by itself).
    int runUntilIdle(int maxCalls = 1'000'000);

    // The wall clock jumps (set by hand, or stepped by time synchronisation) while pending calls
    // keep their remaining delays, as timers of a real run loop do. Negative jumps go back.
    void jumpClockBy(double seconds);

    int pendingCount() const;
    int pendingCount(Target target, const QString &operation) const;
    // The due time of the earliest pending call, of any call or of that target and operation.
    std::optional<double> nextDueTime() const;
    std::optional<double> nextDueTime(Target target, const QString &operation) const;
    // Calls fired since construction.
    std::uint64_t firedCount() const;

    int runawayLimit() const;
    void setRunawayLimit(int callsPerInstant);
    bool stoppedByRunaway() const;

    // Local date and time of the clock's zone.
    QDateTime localDateTime() const;
    // Unix seconds of a local date and time in `timeZone` (the zone's own rules decide a time that
    // a daylight-saving change skips or repeats).
    static double unixTime(QDate date, QTime time, const QTimeZone &timeZone);
    double unixTimeForLocal(QDate date, QTime time) const;

private:
    struct Key {
        double due;   // on the run loop's own time line (the wall clock minus jumps)
        std::uint64_t sequence;
        bool operator<(const Key &other) const
        {
            return due < other.due || (due == other.due && sequence < other.sequence);
        }
    };
    struct Entry {
        Target target;
        QString operation;
        std::function<void()> call;
    };

    // Fires due calls up to `until` on the run loop's time line, at most `maxCalls` of them.
    int fire(double until, int maxCalls);

    std::map<Key, Entry> m_entries;
    double m_loopTime;   // the run loop's time line: the clock without its jumps
    double m_clockOffset = 0.0;   // now() = m_loopTime + m_clockOffset
    QTimeZone m_timeZone;
    std::uint64_t m_nextSequence = 0;
    std::uint64_t m_fired = 0;
    int m_runawayLimit = 100'000;
    bool m_stoppedByRunaway = false;
    bool m_firing = false;
};
