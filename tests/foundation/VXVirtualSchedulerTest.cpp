// The virtual scheduler drives every timing test of the core, so its order, its clock and its
// cancellation must be exact. The chains below are built the way the program builds its own: a
// call that schedules its successor, a forced call that cancels the pending one first.

#include "VXVirtualScheduler.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <ostream>
#include <stdexcept>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString kTick = u"updateLists:"_s;
const QString kSave = u"save:"_s;

// 2026-01-01 00:00:00 UTC: a realistic Unix time, so that rounding at this magnitude is covered.
constexpr double kStart = 1767225600.0;

struct Fired {
    QString name;
    double time;
};

// The sampler's chain: a scheduled tick schedules the next one interval later; a forced tick
// cancels the pending one, runs, and schedules anew.
struct Sampler {
    explicit Sampler(VXVirtualScheduler &s) : scheduler(s) { }
    VXVirtualScheduler &scheduler;
    double interval = 0.5;
    std::vector<double> ticks;

    void updateLists(bool forced)
    {
        if (forced)
            scheduler.cancel(this, kTick);
        ticks.push_back(scheduler.now());
        scheduler.performAfterDelay(this, kTick, interval, [this] { updateLists(false); });
    }
};

}   // namespace

TEST(VXVirtualScheduler, FiresByDueTimeThenInTheOrderScheduled)
{
    VXVirtualScheduler scheduler(kStart);
    std::vector<Fired> fired;
    auto record = [&](const QString &name) {
        return [&fired, &scheduler, name] { fired.push_back({name, scheduler.now()}); };
    };
    int owner = 0;
    scheduler.performAfterDelay(&owner, u"a"_s, 5, record(u"a"_s));
    scheduler.performAfterDelay(&owner, u"b"_s, 1, record(u"b"_s));
    scheduler.performAfterDelay(&owner, u"c"_s, 5, record(u"c"_s));
    scheduler.performAfterDelay(&owner, u"d"_s, 1, record(u"d"_s));
    scheduler.performAfterDelay(&owner, u"e"_s, 0, record(u"e"_s));
    scheduler.performAfterDelay(&owner, u"f"_s, -3, record(u"f"_s));   // as 0

    // Nothing runs synchronously, not even with no delay.
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(scheduler.pendingCount(), 6);
    EXPECT_EQ(scheduler.nextDueTime(), kStart);

    EXPECT_EQ(scheduler.runDue(), 2);
    EXPECT_DOUBLE_EQ(scheduler.now(), kStart);
    EXPECT_EQ(scheduler.advanceTo(kStart + 4.999), 2);
    EXPECT_EQ(scheduler.now(), kStart + 4.999);
    EXPECT_EQ(scheduler.advanceBy(0.001), 2);
    EXPECT_EQ(scheduler.pendingCount(), 0);
    EXPECT_EQ(scheduler.firedCount(), 6u);

    const std::vector<QString> expectedNames = {u"e"_s, u"f"_s, u"b"_s, u"d"_s, u"a"_s, u"c"_s};
    const std::vector<double> expectedTimes = {kStart, kStart, kStart + 1, kStart + 1, kStart + 5, kStart + 5};
    ASSERT_EQ(fired.size(), expectedNames.size());
    for (size_t i = 0; i < fired.size(); ++i) {
        EXPECT_EQ(fired[i].name, expectedNames[i]) << "call " << i;
        EXPECT_EQ(fired[i].time, expectedTimes[i]) << "call " << i;   // now() is the due time itself
    }

    // The clock never runs backwards: an earlier target only fires what is due.
    EXPECT_EQ(scheduler.advanceTo(kStart), 0);
    EXPECT_EQ(scheduler.now(), kStart + 5);
}

TEST(VXVirtualScheduler, CallsScheduledWhileFiringJoinTheSameAdvanceInOrder)
{
    VXVirtualScheduler scheduler(kStart);
    QStringList order;
    std::vector<double> times;
    int owner = 0;
    auto note = [&](const QString &name) {
        order.append(name);
        times.push_back(scheduler.now());
    };
    scheduler.performAfterDelay(&owner, u"first"_s, 10, [&] {
        note(u"first"_s);
        scheduler.performAfterDelay(&owner, u"now"_s, 0, [&] { note(u"now"_s); });
        scheduler.performAfterDelay(&owner, u"past"_s, -5, [&] { note(u"past"_s); });
        scheduler.performAfterDelay(&owner, u"later"_s, 3, [&] {
            note(u"later"_s);
            scheduler.performAfterDelay(&owner, u"beyond"_s, 20, [&] { note(u"beyond"_s); });
        });
    });
    scheduler.performAfterDelay(&owner, u"second"_s, 10, [&] { note(u"second"_s); });
    scheduler.performAfterDelay(&owner, u"eleven"_s, 11, [&] { note(u"eleven"_s); });

    EXPECT_EQ(scheduler.advanceTo(kStart + 20), 6);
    // Those scheduled for "now" come after "second", which was already due, and before anything later.
    EXPECT_EQ(order.join(u' '), u"first second now past eleven later"_s);
    EXPECT_EQ(times,
              (std::vector<double> {kStart + 10, kStart + 10, kStart + 10, kStart + 10, kStart + 11, kStart + 13}));
    EXPECT_EQ(scheduler.now(), kStart + 20);
    EXPECT_TRUE(scheduler.isPending(&owner, u"beyond"_s));
    EXPECT_EQ(scheduler.nextDueTime(&owner, u"beyond"_s), kStart + 33);
}

TEST(VXVirtualScheduler, CancelDropsOnlyThatTargetAndOperation)
{
    VXVirtualScheduler scheduler(kStart);
    int controller = 0;
    int reportView = 0;
    QStringList fired;
    auto schedule = [&](const void *target, const QString &operation, double delay, const QString &name) {
        scheduler.performAfterDelay(target, operation, delay, [&fired, name] { fired.append(name); });
    };
    schedule(&controller, kTick, 1, u"tick 1"_s);
    schedule(&controller, kTick, 2, u"tick 2"_s);   // pending calls of one operation are kept
    schedule(&controller, kSave, 1, u"save"_s);
    schedule(&reportView, kTick, 1, u"other tick"_s);
    schedule(&reportView, u"updateTrackingAreas"_s, 1, u"areas"_s);
    EXPECT_EQ(scheduler.pendingCount(&controller, kTick), 2);

    scheduler.cancel(&controller, kTick);
    EXPECT_FALSE(scheduler.isPending(&controller, kTick));
    EXPECT_TRUE(scheduler.isPending(&controller, kSave));
    EXPECT_TRUE(scheduler.isPending(&reportView, kTick));
    scheduler.cancel(&controller, u"nothing of the kind"_s);
    EXPECT_EQ(scheduler.pendingCount(), 3);

    scheduler.cancelAll(&reportView);
    EXPECT_FALSE(scheduler.isPending(&reportView, kTick));
    EXPECT_EQ(scheduler.pendingCount(), 1);

    scheduler.advanceBy(5);
    EXPECT_EQ(fired, QStringList {u"save"_s});

    // A call may cancel another one that is due at the very same instant: it must not fire.
    fired.clear();
    scheduler.performAfterDelay(&controller, u"canceller"_s, 1, [&] {
        fired.append(u"canceller"_s);
        scheduler.cancel(&reportView, kTick);
    });
    schedule(&reportView, kTick, 1, u"cancelled"_s);
    schedule(&controller, kSave, 1, u"kept"_s);
    scheduler.advanceBy(1);
    EXPECT_EQ(fired, (QStringList {u"canceller"_s, u"kept"_s}));
}

TEST(VXVirtualScheduler, ADayOfTicksRunsWithoutDrift)
{
    VXVirtualScheduler scheduler(kStart);
    Sampler sampler(scheduler);
    sampler.updateLists(true);   // the first tick is forced, as at start-up

    const int fired = scheduler.advanceBy(24 * 3600);

    EXPECT_EQ(fired, 172800);
    ASSERT_EQ(sampler.ticks.size(), 172801u);   // with the forced first one
    int drifted = 0;
    for (size_t k = 0; k < sampler.ticks.size(); ++k)
        drifted += sampler.ticks[k] != kStart + 0.5 * double(k);
    EXPECT_EQ(drifted, 0);
    EXPECT_EQ(scheduler.pendingCount(), 1);
    EXPECT_EQ(scheduler.nextDueTime(&sampler, kTick), kStart + 24 * 3600 + 0.5);

    // A forced tick between two scheduled ones replaces the pending one: the chain moves, and
    // never doubles.
    sampler.ticks.clear();
    scheduler.advanceBy(0.25);
    sampler.updateLists(true);
    EXPECT_EQ(scheduler.pendingCount(&sampler, kTick), 1);
    scheduler.advanceBy(1.0);
    EXPECT_EQ(sampler.ticks, (std::vector<double> {kStart + 86400.25, kStart + 86400.75, kStart + 86401.25}));

    // A longer interval takes effect when the next tick is scheduled.
    sampler.interval = 2.0;
    sampler.ticks.clear();
    scheduler.advanceBy(5.0);
    EXPECT_EQ(sampler.ticks, (std::vector<double> {kStart + 86401.75, kStart + 86403.75, kStart + 86405.75}));
}

TEST(VXVirtualScheduler, LocalDaysFollowTheZoneAcrossDaylightSavingChanges)
{
    const QTimeZone berlin("Europe/Berlin");
    ASSERT_TRUE(berlin.isValid()) << "the system has no time-zone data for Europe/Berlin";
    const QTimeZone utc = QTimeZone::utc();

    // A daily task at local 06:00 that schedules its next run from the clock's own zone, as the
    // daily-tasks check does: 23 hours apart over the spring change, 25 over the autumn one.
    for (const QDate firstDay : {QDate(2026, 3, 27), QDate(2026, 10, 23)}) {
        VXVirtualScheduler scheduler(VXVirtualScheduler::unixTime(firstDay, QTime(0, 0), berlin), berlin);
        std::vector<double> runs;
        std::vector<QDateTime> localRuns;
        std::function<void()> daily = [&] {
            runs.push_back(scheduler.now());
            localRuns.push_back(scheduler.localDateTime());
            const QDate tomorrow = scheduler.localDateTime().date().addDays(1);
            scheduler.performAfterDelay(&runs, u"daily"_s,
                                        scheduler.unixTimeForLocal(tomorrow, QTime(6, 0)) - scheduler.now(), daily);
        };
        scheduler.performAfterDelay(&runs, u"daily"_s,
                                    scheduler.unixTimeForLocal(firstDay, QTime(6, 0)) - scheduler.now(), daily);
        scheduler.advanceBy(4 * 86400);
        ASSERT_EQ(runs.size(), 4u);
        for (size_t i = 0; i < runs.size(); ++i) {
            EXPECT_EQ(localRuns[i].date(), firstDay.addDays(qint64(i)));
            EXPECT_EQ(localRuns[i].time(), QTime(6, 0));
        }
        const double change = firstDay.month() == 3 ? -3600 : 3600;
        EXPECT_EQ(runs[1] - runs[0], 86400);
        EXPECT_EQ(runs[2] - runs[1], 86400 + change);
        EXPECT_EQ(runs[3] - runs[2], 86400);
    }

    VXVirtualScheduler night(VXVirtualScheduler::unixTime(QDate(2026, 10, 25), QTime(4, 0), berlin), berlin);
    // Changing the zone moves local time, not Unix time.
    const double before = night.now();
    night.setTimeZone(utc);
    EXPECT_EQ(night.now(), before);
    EXPECT_EQ(night.timeZone(), utc);
    EXPECT_EQ(night.localDateTime().time(), QTime(3, 0));   // 04:00 CET
}

TEST(VXVirtualScheduler, StopsARunawayZeroDelayChain)
{
    VXLogCapture log;
    VXVirtualScheduler scheduler(kStart);
    scheduler.setRunawayLimit(1000);
    int runs = 0;
    std::function<void()> spin = [&] {
        ++runs;
        scheduler.performAfterDelay(&runs, u"spin"_s, 0, spin);
    };
    scheduler.performAfterDelay(&runs, u"spin"_s, 1, spin);

    EXPECT_EQ(scheduler.advanceBy(10), 1000);
    EXPECT_TRUE(scheduler.stoppedByRunaway());
    EXPECT_EQ(runs, 1000);
    EXPECT_EQ(scheduler.now(), kStart + 1);   // time stays where the runaway happened
    ASSERT_EQ(log.peek().size(), 1);
    EXPECT_TRUE(log.peek().first().contains(u"\"spin\" keeps scheduling calls with no delay"_s))
        << log.peek().first().toStdString();

    // Once the chain is broken, time moves on again; a long but finite burst at one instant is fine.
    scheduler.cancel(&runs, u"spin"_s);
    int burst = 0;
    std::function<void()> step = [&] {
        if (++burst < 999)
            scheduler.performAfterDelay(&burst, u"step"_s, 0, step);
    };
    scheduler.performAfterDelay(&burst, u"step"_s, 0, step);
    EXPECT_EQ(scheduler.advanceBy(10), 999);
    EXPECT_FALSE(scheduler.stoppedByRunaway());
    EXPECT_EQ(scheduler.now(), kStart + 11);

    // runUntilIdle also stops at its own bound with a perpetual chain.
    VXVirtualScheduler endless(kStart);
    Sampler sampler(endless);
    sampler.updateLists(true);
    EXPECT_EQ(endless.runUntilIdle(100), 100);
    EXPECT_EQ(endless.now(), kStart + 50);
}

TEST(VXVirtualScheduler, RefusesToAdvanceFromInsideACallAndSurvivesAThrowingCall)
{
    VXLogCapture log;
    VXVirtualScheduler scheduler(kStart);
    QStringList fired;
    int owner = 0;
    scheduler.performAfterDelay(&owner, u"outer"_s, 1, [&] {
        EXPECT_EQ(scheduler.advanceBy(10), 0);
        EXPECT_EQ(scheduler.now(), kStart + 1);
        fired.append(u"outer"_s);
    });
    scheduler.performAfterDelay(&owner, u"thrower"_s, 2, [] { throw std::runtime_error("disk on fire"); });
    scheduler.performAfterDelay(&owner, u"later"_s, 3, [&] { fired.append(u"later"_s); });

    EXPECT_EQ(scheduler.advanceBy(5), 3);
    EXPECT_EQ(fired, (QStringList {u"outer"_s, u"later"_s}));
    EXPECT_TRUE(log.peek().join(u'\n').contains(u"\"thrower\" failed: disk on fire"_s));
    EXPECT_TRUE(log.peek().join(u'\n').contains(u"cannot be advanced from inside"_s));
}

TEST(VXVirtualScheduler, ClockJumpsLeavePendingDelaysAlone)
{
    VXVirtualScheduler scheduler(kStart);
    Sampler sampler(scheduler);
    sampler.updateLists(true);
    scheduler.advanceBy(1.0);

    // The clock is set back an hour between two ticks: the next tick still comes 0.5 s after the
    // last, and reads the clock as it now stands.
    scheduler.jumpClockBy(-3600);
    EXPECT_EQ(scheduler.now(), kStart + 1.0 - 3600);
    EXPECT_EQ(scheduler.nextDueTime(&sampler, kTick), kStart + 1.5 - 3600);
    scheduler.advanceBy(1.0);
    EXPECT_EQ(sampler.ticks,
              (std::vector<double> {kStart, kStart + 0.5, kStart + 1.0, kStart + 1.5 - 3600, kStart + 2.0 - 3600}));
}

TEST(VXVirtualScheduler, AdvanceUpToLeavesTheCallsOfThatInstantForLater)
{
    VXVirtualScheduler scheduler(kStart);
    Sampler sampler(scheduler);
    sampler.updateLists(true);
    QStringList order;
    int owner = 0;
    scheduler.performAfterDelay(&owner, u"hibernate:"_s, 1.0, [&] { order.append(u"hibernate"_s); });

    // Ticks at +0.5 fire; the tick and the hibernation due at +1 wait, with the clock already there.
    EXPECT_EQ(scheduler.advanceUpTo(kStart + 1.0), 1);
    EXPECT_EQ(scheduler.now(), kStart + 1.0);
    EXPECT_EQ(sampler.ticks, (std::vector<double> {kStart, kStart + 0.5}));
    EXPECT_TRUE(order.isEmpty());

    // Something else happens at that instant first; a call it schedules with no delay comes after
    // the calls that were already due.
    scheduler.performAfterDelay(&owner, u"event"_s, 0, [&] { order.append(u"event"_s); });
    EXPECT_EQ(scheduler.advanceUpTo(kStart + 1.0), 0);   // nothing before the instant is left
    EXPECT_EQ(scheduler.advanceTo(kStart + 1.0), 3);
    EXPECT_EQ(order.join(u' '), u"hibernate event"_s);
    EXPECT_EQ(sampler.ticks.back(), kStart + 1.0);
    // A time in the past neither fires nor turns the clock back.
    EXPECT_EQ(scheduler.advanceUpTo(kStart), 0);
    EXPECT_EQ(scheduler.now(), kStart + 1.0);
}
