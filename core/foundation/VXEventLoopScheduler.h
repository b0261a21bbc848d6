#pragma once

// The program's scheduler: delayed single calls on Qt's event loop of the thread that owns it.
//
// All pending calls share one timer, armed for the earliest of them, so the program wakes up only
// when a call is due. Calls fire from any event loop that runs on the thread, nested ones included
// (a menu being tracked, a modal dialog, a QEventLoop inside another call), because the timer is
// armed afresh before each call runs. One call fires per turn of the loop; calls due at the same
// time fire in the order they were scheduled, and a call scheduled with no delay fires on a later
// turn, never synchronously and never before calls that were already due.
//
// Delays count both ways a machine keeps time, and a call fires as soon as either says it is due:
// - awake time (the monotonic clock that Qt's timers use), which is what a delay means while the
//   machine runs, and which ignores a wall clock that is set back;
// - wall-clock time (the VXClock given), which keeps running while the machine is suspended.
// Qt's timers alone would not count a suspension: the periodic save due 1800 s after a point
// 10 minutes before a one-hour suspension would come 20 minutes after the resume, not at once.
// So a long delay is watched in stretches of at most wallClockCheckInterval() seconds (30 by
// default, coarse timers, one cheap wake-up each), and a call whose wall-clock time passed during a
// suspension fires at most that long after the resume. A wall clock set forward fires pending
// calls early, which none of the program's chains minds (a save or a tick a little early).
// The idle countdown is not concerned: the program leaves on suspension and cancels it.
//
// Not thread-safe: use it from the thread that owns it, as the rest of the program's main loop.

#include "VXScheduler.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>

#include <cstdint>
#include <memory>
#include <vector>

class VXClock;

class VXEventLoopScheduler final : public QObject, public VXScheduler
{
    Q_OBJECT
public:
    // `wallClock` must outlive the scheduler; null means the system clock.
    explicit VXEventLoopScheduler(const VXClock *wallClock = nullptr, QObject *parent = nullptr);
    ~VXEventLoopScheduler() override;

    void performAfterDelay(Target target, const QString &operation, double delay, std::function<void()> call) override;
    void cancel(Target target, const QString &operation) override;
    void cancelAll(Target target) override;
    bool isPending(Target target, const QString &operation) const override;

    int pendingCount() const;

    double wallClockCheckInterval() const;
    void setWallClockCheckInterval(double seconds);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Entry {
        Target target;
        QString operation;
        std::function<void()> call;
        std::int64_t dueMonotonic;   // nanoseconds on m_monotonic
        double dueWallClock;   // Unix seconds
        std::uint64_t sequence;
    };

    // When the entry is due in monotonic nanoseconds, taking the wall clock into account.
    std::int64_t effectiveDue(const Entry &entry, std::int64_t monotonicNow, double wallNow) const;
    void rearm();

    std::unique_ptr<VXClock> m_ownClock;
    const VXClock *m_wallClock;
    QElapsedTimer m_monotonic;
    QBasicTimer m_timer;
    std::vector<Entry> m_entries;   // in the order they were scheduled
    std::uint64_t m_nextSequence = 0;
    std::int64_t m_checkIntervalNanoseconds;
};
