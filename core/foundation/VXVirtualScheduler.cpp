#include "VXVirtualScheduler.h"

#include "VXLog.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

double sanitizedDelay(double delay)
{
    return delay > 0.0 ? delay : 0.0;   // also NaN
}

}   // namespace

VXVirtualScheduler::VXVirtualScheduler(double startTime, const QTimeZone &timeZone) :
    m_loopTime(std::isfinite(startTime) ? startTime : 0.0), m_timeZone(timeZone)
{
}

VXVirtualScheduler::~VXVirtualScheduler() = default;

double VXVirtualScheduler::now() const
{
    return m_loopTime + m_clockOffset;
}

QTimeZone VXVirtualScheduler::timeZone() const
{
    return m_timeZone;
}

void VXVirtualScheduler::setTimeZone(const QTimeZone &timeZone)
{
    m_timeZone = timeZone;
}

void VXVirtualScheduler::performAfterDelay(Target target, const QString &operation, double delay,
                                           std::function<void()> call)
{
    m_entries.emplace(Key {m_loopTime + sanitizedDelay(delay), m_nextSequence++},
                      Entry {target, operation, std::move(call)});
}

void VXVirtualScheduler::cancel(Target target, const QString &operation)
{
    std::erase_if(m_entries,
                  [&](const auto &item) { return item.second.target == target && item.second.operation == operation; });
}

void VXVirtualScheduler::cancelAll(Target target)
{
    std::erase_if(m_entries, [&](const auto &item) { return item.second.target == target; });
}

bool VXVirtualScheduler::isPending(Target target, const QString &operation) const
{
    return pendingCount(target, operation) > 0;
}

int VXVirtualScheduler::advanceTo(double unixTime)
{
    if (std::isnan(unixTime))
        return 0;
    const double until = std::max(unixTime - m_clockOffset, m_loopTime);
    const int fired = fire(until, std::numeric_limits<int>::max());
    if (!m_stoppedByRunaway && fired >= 0)
        m_loopTime = std::max(m_loopTime, until);
    return std::max(fired, 0);
}

int VXVirtualScheduler::advanceBy(double seconds)
{
    return advanceTo(now() + seconds);
}

int VXVirtualScheduler::advanceUpTo(double unixTime)
{
    if (std::isnan(unixTime))
        return 0;
    const double until = unixTime - m_clockOffset;
    if (until <= m_loopTime)
        return 0;
    const int fired
        = fire(std::nextafter(until, -std::numeric_limits<double>::infinity()), std::numeric_limits<int>::max());
    if (!m_stoppedByRunaway && fired >= 0)
        m_loopTime = std::max(m_loopTime, until);
    return std::max(fired, 0);
}

int VXVirtualScheduler::runDue()
{
    return std::max(fire(m_loopTime, std::numeric_limits<int>::max()), 0);
}

int VXVirtualScheduler::runUntilIdle(int maxCalls)
{
    return std::max(fire(std::numeric_limits<double>::infinity(), maxCalls), 0);
}

int VXVirtualScheduler::fire(double until, int maxCalls)
{
    if (m_firing) {
        // Time moving on in the middle of a call would fire later calls before it returns.
        qCWarning(lcFoundation, "the virtual clock cannot be advanced from inside one of its calls");
        return -1;
    }
    m_firing = true;
    m_stoppedByRunaway = false;
    int fired = 0;
    int atThisInstant = 0;
    while (fired < maxCalls && !m_entries.empty()) {
        auto first = m_entries.begin();
        if (first->first.due > until)
            break;
        if (first->first.due == m_loopTime) {
            if (++atThisInstant > m_runawayLimit) {
                qCWarning(lcFoundation).noquote()
                    << QStringLiteral("the virtual clock stopped at %1 after %2 calls at the same instant: "
                                      "\"%3\" keeps scheduling calls with no delay")
                           .arg(QString::number(now(), 'f', 3), QString::number(m_runawayLimit),
                                first->second.operation);
                m_stoppedByRunaway = true;
                break;
            }
        } else {
            atThisInstant = 1;
            m_loopTime = first->first.due;
        }
        Entry entry = std::move(first->second);
        m_entries.erase(first);
        ++fired;
        ++m_fired;
        VXRunDelayedCall(entry.operation, entry.call);
    }
    m_firing = false;
    return fired;
}

void VXVirtualScheduler::jumpClockBy(double seconds)
{
    if (std::isfinite(seconds))
        m_clockOffset += seconds;
}

int VXVirtualScheduler::pendingCount() const
{
    return int(m_entries.size());
}

int VXVirtualScheduler::pendingCount(Target target, const QString &operation) const
{
    return int(std::count_if(m_entries.begin(), m_entries.end(), [&](const auto &item) {
        return item.second.target == target && item.second.operation == operation;
    }));
}

std::optional<double> VXVirtualScheduler::nextDueTime() const
{
    if (m_entries.empty())
        return std::nullopt;
    return m_entries.begin()->first.due + m_clockOffset;
}

std::optional<double> VXVirtualScheduler::nextDueTime(Target target, const QString &operation) const
{
    for (const auto &[key, entry] : m_entries) {
        if (entry.target == target && entry.operation == operation)
            return key.due + m_clockOffset;
    }
    return std::nullopt;
}

std::uint64_t VXVirtualScheduler::firedCount() const
{
    return m_fired;
}

int VXVirtualScheduler::runawayLimit() const
{
    return m_runawayLimit;
}

void VXVirtualScheduler::setRunawayLimit(int callsPerInstant)
{
    m_runawayLimit = std::max(callsPerInstant, 1);
}

bool VXVirtualScheduler::stoppedByRunaway() const
{
    return m_stoppedByRunaway;
}

QDateTime VXVirtualScheduler::localDateTime() const
{
    return QDateTime::fromMSecsSinceEpoch(std::llround(now() * 1000.0), m_timeZone);
}

double VXVirtualScheduler::unixTime(QDate date, QTime time, const QTimeZone &timeZone)
{
    return double(QDateTime(date, time, timeZone).toMSecsSinceEpoch()) / 1000.0;
}

double VXVirtualScheduler::unixTimeForLocal(QDate date, QTime time) const
{
    return unixTime(date, time, m_timeZone);
}
