#include "VXEventLoopScheduler.h"

#include "VXLog.h"
#include "VXSystemClock.h"

#include <QThread>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
// Longer delays than this (about 31 years) mean "never" in practice; the bound keeps the
// arithmetic in nanoseconds far from overflow.
constexpr double kLongestDelay = 1e9;

std::int64_t nanoseconds(double seconds)
{
    return std::int64_t(std::llround(seconds * double(kNanosecondsPerSecond)));
}

double sanitizedDelay(double delay)
{
    if (!(delay > 0.0))   // also NaN
        return 0.0;
    return std::min(delay, kLongestDelay);
}

}   // namespace

VXEventLoopScheduler::VXEventLoopScheduler(const VXClock *wallClock, QObject *parent) :
    QObject(parent), m_ownClock(wallClock ? nullptr : std::make_unique<VXSystemClock>()),
    m_wallClock(wallClock ? wallClock : m_ownClock.get()), m_checkIntervalNanoseconds(30 * kNanosecondsPerSecond)
{
    m_monotonic.start();
}

VXEventLoopScheduler::~VXEventLoopScheduler() = default;

void VXEventLoopScheduler::performAfterDelay(Target target, const QString &operation, double delay,
                                             std::function<void()> call)
{
    Q_ASSERT(QThread::currentThread() == thread());
    delay = sanitizedDelay(delay);
    const std::int64_t now = m_monotonic.nsecsElapsed();
    m_entries.push_back(Entry {target, operation, std::move(call), now + nanoseconds(delay), m_wallClock->now() + delay,
                               m_nextSequence++});
    rearm();
}

void VXEventLoopScheduler::cancel(Target target, const QString &operation)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const auto removed = std::erase_if(
        m_entries, [&](const Entry &entry) { return entry.target == target && entry.operation == operation; });
    if (removed)
        rearm();
}

void VXEventLoopScheduler::cancelAll(Target target)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const auto removed = std::erase_if(m_entries, [&](const Entry &entry) { return entry.target == target; });
    if (removed)
        rearm();
}

bool VXEventLoopScheduler::isPending(Target target, const QString &operation) const
{
    return std::any_of(m_entries.begin(), m_entries.end(),
                       [&](const Entry &entry) { return entry.target == target && entry.operation == operation; });
}

int VXEventLoopScheduler::pendingCount() const
{
    return int(m_entries.size());
}

double VXEventLoopScheduler::wallClockCheckInterval() const
{
    return double(m_checkIntervalNanoseconds) / double(kNanosecondsPerSecond);
}

void VXEventLoopScheduler::setWallClockCheckInterval(double seconds)
{
    // At least a millisecond, the timers' resolution; at most a day, well inside their range.
    m_checkIntervalNanoseconds = nanoseconds(std::clamp(std::isnan(seconds) ? 30.0 : seconds, 0.001, 86400.0));
    rearm();
}

std::int64_t VXEventLoopScheduler::effectiveDue(const Entry &entry, std::int64_t monotonicNow, double wallNow) const
{
    const double wallRemaining = std::clamp(entry.dueWallClock - wallNow, -kLongestDelay, kLongestDelay);
    return std::min(entry.dueMonotonic, monotonicNow + nanoseconds(wallRemaining));
}

void VXEventLoopScheduler::rearm()
{
    if (m_entries.empty()) {
        m_timer.stop();
        return;
    }
    const std::int64_t monotonicNow = m_monotonic.nsecsElapsed();
    const double wallNow = m_wallClock->now();
    std::int64_t earliest = std::numeric_limits<std::int64_t>::max();
    for (const Entry &entry : m_entries)
        earliest = std::min(earliest, effectiveDue(entry, monotonicNow, wallNow));
    const std::int64_t remaining = std::max<std::int64_t>(earliest - monotonicNow, 0);

    // The timer restarts under a new id, so that it can fire in an event loop nested inside the
    // call that is running now (Qt never re-enters a timer that is still being delivered).
    if (remaining > m_checkIntervalNanoseconds) {
        // Only a look at the wall clock: precision does not matter, so let the system batch it.
        m_timer.start(int(m_checkIntervalNanoseconds / kNanosecondsPerMillisecond), Qt::CoarseTimer, this);
    } else {
        // Rounded up, so that the timer never fires before the call is due.
        const std::int64_t milliseconds = (remaining + kNanosecondsPerMillisecond - 1) / kNanosecondsPerMillisecond;
        m_timer.start(int(milliseconds), Qt::PreciseTimer, this);
    }
}

void VXEventLoopScheduler::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();

    const std::int64_t monotonicNow = m_monotonic.nsecsElapsed();
    const double wallNow = m_wallClock->now();
    auto next = m_entries.end();
    std::int64_t nextDue = 0;
    for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
        const std::int64_t due = effectiveDue(*it, monotonicNow, wallNow);
        // Strictly earlier only: among equal due times the first scheduled stays first.
        if (due <= monotonicNow && (next == m_entries.end() || due < nextDue)) {
            next = it;
            nextDue = due;
        }
    }
    if (next == m_entries.end()) {
        rearm();
        return;
    }

    Entry entry = std::move(*next);
    m_entries.erase(next);
    rearm();

    // Nothing of the scheduler is touched after the call: it may cancel, schedule, run a nested
    // event loop or even destroy the scheduler.
    VXRunDelayedCall(entry.operation, entry.call);
}
