// The scheduler on Qt's real event loop: real delays (kept short), nested loops as a modal dialog
// runs them, and a wall clock that jumps as it does across a suspension.

#include "VXEventLoopScheduler.h"
#include "VXClock.h"
#include "VXTestSupport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include <stdexcept>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// A wall clock that a test sets by hand.
class SettableClock final : public VXClock
{
public:
    double value = 1767225600.0;
    double now() const override { return value; }
    QTimeZone timeZone() const override { return QTimeZone::utc(); }
};

// Runs the event loop until `done` answers true or `timeoutMs` passed; answers `done`.
bool spinUntil(const std::function<bool()> &done, int timeoutMs = 5000)
{
    QElapsedTimer elapsed;
    elapsed.start();
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done() || elapsed.elapsed() > timeoutMs)
            loop.quit();
    });
    poll.start(1);
    if (!done())
        loop.exec();
    return done();
}

// Runs the event loop for `ms` milliseconds.
void spinFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

class VXEventLoopSchedulerTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    int owner = 0;
    int other = 0;
};

}   // namespace

TEST_F(VXEventLoopSchedulerTest, ZeroDelayRunsOnTheNextTurnInOrder)
{
    VXEventLoopScheduler scheduler;
    QStringList order;
    scheduler.performAfterDelay(&owner, u"a"_s, 0, [&] {
        order.append(u"a"_s);
        scheduler.performAfterDelay(&owner, u"c"_s, 0, [&] { order.append(u"c"_s); });
        EXPECT_EQ(order, QStringList {u"a"_s});   // "c" does not run inside "a"
    });
    scheduler.performAfterDelay(&owner, u"b"_s, 0, [&] { order.append(u"b"_s); });
    EXPECT_TRUE(order.isEmpty());
    EXPECT_EQ(scheduler.pendingCount(), 2);

    // One turn of the loop runs one call.
    QCoreApplication::processEvents();
    EXPECT_EQ(order, QStringList {u"a"_s});

    ASSERT_TRUE(spinUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order.join(u' '), u"a b c"_s);
    EXPECT_EQ(scheduler.pendingCount(), 0);
}

TEST_F(VXEventLoopSchedulerTest, ShortDelaysFireInDueOrderNotBeforeTheirTime)
{
    VXEventLoopScheduler scheduler;
    QElapsedTimer elapsed;
    elapsed.start();
    std::vector<std::pair<int, qint64>> fired;
    for (const int ms : {30, 10, 20, 10}) {
        scheduler.performAfterDelay(&owner, QString::number(ms), ms / 1000.0,
                                    [&fired, &elapsed, ms] { fired.emplace_back(ms, elapsed.nsecsElapsed()); });
    }
    ASSERT_TRUE(spinUntil([&] { return fired.size() == 4; }));
    std::vector<int> order;
    for (const auto &[ms, at] : fired) {
        order.push_back(ms);
        EXPECT_GE(at, qint64(ms) * 1'000'000) << ms << " ms call fired early";
        EXPECT_LT(at, qint64(ms + 1000) * 1'000'000) << ms << " ms call fired a second late";
    }
    EXPECT_EQ(order, (std::vector<int> {10, 10, 20, 30}));
}

TEST_F(VXEventLoopSchedulerTest, CancelDropsOnlyThatTargetAndOperation)
{
    VXEventLoopScheduler scheduler;
    QStringList fired;
    auto schedule = [&](const void *target, const QString &operation, double delay) {
        scheduler.performAfterDelay(target, operation, delay, [&fired, operation] { fired.append(operation); });
    };
    schedule(&owner, u"tick"_s, 0.01);
    schedule(&owner, u"save"_s, 0.01);
    schedule(&other, u"tick-of-other"_s, 0.01);
    schedule(&other, u"icon-of-other"_s, 0);

    scheduler.cancel(&owner, u"tick"_s);
    EXPECT_FALSE(scheduler.isPending(&owner, u"tick"_s));
    EXPECT_TRUE(scheduler.isPending(&owner, u"save"_s));
    scheduler.cancelAll(&other);
    EXPECT_FALSE(scheduler.isPending(&other, u"icon-of-other"_s));
    EXPECT_EQ(scheduler.pendingCount(), 1);

    // A call cancels another that is due in the same moment.
    scheduler.performAfterDelay(&owner, u"canceller"_s, 0.02, [&] {
        fired.append(u"canceller"_s);
        scheduler.cancel(&other, u"victim"_s);
    });
    schedule(&other, u"victim"_s, 0.02);

    spinFor(80);
    EXPECT_EQ(fired, (QStringList {u"save"_s, u"canceller"_s}));
    EXPECT_EQ(scheduler.pendingCount(), 0);

    // Cancelling everything stops the timer for good.
    schedule(&owner, u"late"_s, 0.01);
    scheduler.cancelAll(&owner);
    spinFor(40);
    EXPECT_EQ(fired.size(), 2);
}

TEST_F(VXEventLoopSchedulerTest, ATickReschedulesItselfFromInsideItsOwnCall)
{
    VXEventLoopScheduler scheduler;
    const QString tick = u"updateLists:"_s;
    QElapsedTimer elapsed;
    elapsed.start();
    std::vector<qint64> ticks;
    std::function<void(bool)> updateLists = [&](bool forced) {
        if (forced)
            scheduler.cancel(&owner, tick);
        // The call that runs is no longer pending; its successor is not yet.
        EXPECT_FALSE(scheduler.isPending(&owner, tick));
        ticks.push_back(elapsed.nsecsElapsed());
        if (ticks.size() < 20)
            scheduler.performAfterDelay(&owner, tick, 0.005, [&] { updateLists(false); });
        // Some ticks are forced from inside another call, replacing the pending tick.
        if (ticks.size() % 7 == 0)
            scheduler.performAfterDelay(&other, u"force"_s, 0.001, [&] { updateLists(true); });
    };
    updateLists(true);
    ASSERT_TRUE(spinUntil([&] { return ticks.size() >= 20 && scheduler.pendingCount() == 0; }));
    EXPECT_EQ(ticks.size(), 20u);   // never doubled by a forced tick
    for (size_t i = 1; i < ticks.size(); ++i)
        EXPECT_GE(ticks[i] - ticks[i - 1], 1'000'000) << "tick " << i;
}

TEST_F(VXEventLoopSchedulerTest, CallsFireInsideNestedEventLoops)
{
    VXEventLoopScheduler scheduler;
    // A modal dialog opened by a scheduled call (an alert raised by a save, say): the tick must go
    // on while it runs.
    int nesting = 0;
    int ticksInsideModal = 0;
    std::function<void()> tick = [&] {
        ticksInsideModal += nesting > 0;
        scheduler.performAfterDelay(&owner, u"tick"_s, 0.002, tick);
    };
    scheduler.performAfterDelay(&owner, u"tick"_s, 0.002, tick);
    bool modalDone = false;
    scheduler.performAfterDelay(&other, u"alert"_s, 0, [&] {
        ++nesting;
        QEventLoop modal;
        QTimer guard;
        QObject::connect(&guard, &QTimer::timeout, &modal, [&] {
            if (ticksInsideModal >= 5)
                modal.quit();
        });
        guard.start(1);
        QTimer::singleShot(5000, &modal, &QEventLoop::quit);
        modal.exec();
        --nesting;
        modalDone = true;
    });
    ASSERT_TRUE(spinUntil([&] { return modalDone; }));
    EXPECT_GE(ticksInsideModal, 5);

    // A modal loop that the user opened (not one of the scheduler's calls).
    bool fired = false;
    scheduler.performAfterDelay(&other, u"save"_s, 0.01, [&] { fired = nesting > 0; });
    ++nesting;
    QEventLoop modal;
    QTimer::singleShot(0, &modal, [&] {
        spinUntil([&] { return fired; });
        modal.quit();
    });
    modal.exec();
    --nesting;
    EXPECT_TRUE(fired);
    scheduler.cancelAll(&owner);
}

TEST_F(VXEventLoopSchedulerTest, WallClockTimeCountsAcrossASuspension)
{
    SettableClock clock;
    VXEventLoopScheduler scheduler(&clock);
    scheduler.setWallClockCheckInterval(0.01);
    EXPECT_DOUBLE_EQ(scheduler.wallClockCheckInterval(), 0.01);
    QElapsedTimer elapsed;
    bool saved = false;
    scheduler.performAfterDelay(&owner, u"save:"_s, 1800, [&] { saved = true; });
    spinFor(50);
    EXPECT_FALSE(saved);

    // The machine slept for an hour: the wall clock moved on, the monotonic clock did not.
    clock.value += 3600;
    elapsed.start();
    ASSERT_TRUE(spinUntil([&] { return saved; }, 2000));
    EXPECT_LT(elapsed.elapsed(), 1000);

    // The clock set back an hour does not hold up a short call.
    clock.value -= 7200;
    bool ticked = false;
    elapsed.restart();
    scheduler.performAfterDelay(&owner, u"tick"_s, 0.02, [&] { ticked = true; });
    ASSERT_TRUE(spinUntil([&] { return ticked; }, 2000));
    EXPECT_GE(elapsed.nsecsElapsed(), 20'000'000);
}

TEST_F(VXEventLoopSchedulerTest, SurvivesItsOwnDestructionAndThrowingCalls)
{
    QPointer<VXEventLoopScheduler> scheduler = new VXEventLoopScheduler;
    QStringList fired;
    scheduler->performAfterDelay(&owner, u"thrower"_s, 0, [] { throw std::runtime_error("no disk"); });
    scheduler->performAfterDelay(&owner, u"destroyer"_s, 0.005, [&] {
        fired.append(u"destroyer"_s);
        delete scheduler.data();
    });
    scheduler->performAfterDelay(&owner, u"orphan"_s, 0.005, [&] { fired.append(u"orphan"_s); });
    ASSERT_TRUE(spinUntil([&] { return scheduler.isNull(); }));
    spinFor(30);
    EXPECT_EQ(fired, QStringList {u"destroyer"_s});
}
