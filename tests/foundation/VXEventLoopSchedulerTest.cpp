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
    scheduler.performAfterDelay(&owner, QStringLiteral("a"), 0, [&] {
        order.append(QStringLiteral("a"));
        scheduler.performAfterDelay(&owner, QStringLiteral("c"), 0, [&] { order.append(QStringLiteral("c")); });
        EXPECT_EQ(order, QStringList {QStringLiteral("a")});   // "c" does not run inside "a"
    });
    scheduler.performAfterDelay(&owner, QStringLiteral("b"), 0, [&] { order.append(QStringLiteral("b")); });
    EXPECT_TRUE(order.isEmpty());
    EXPECT_EQ(scheduler.pendingCount(), 2);

    // One turn of the loop runs one call.
    QCoreApplication::processEvents();
    EXPECT_EQ(order, QStringList {QStringLiteral("a")});

    ASSERT_TRUE(spinUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order.join(u' '), QStringLiteral("a b c"));
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
    schedule(&owner, QStringLiteral("tick"), 0.01);
    schedule(&owner, QStringLiteral("save"), 0.01);
    schedule(&other, QStringLiteral("tick-of-other"), 0.01);
    schedule(&other, QStringLiteral("icon-of-other"), 0);

    scheduler.cancel(&owner, QStringLiteral("tick"));
    EXPECT_FALSE(scheduler.isPending(&owner, QStringLiteral("tick")));
    EXPECT_TRUE(scheduler.isPending(&owner, QStringLiteral("save")));
    scheduler.cancelAll(&other);
    EXPECT_FALSE(scheduler.isPending(&other, QStringLiteral("icon-of-other")));
    EXPECT_EQ(scheduler.pendingCount(), 1);

    // A call cancels another that is due in the same moment.
    scheduler.performAfterDelay(&owner, QStringLiteral("canceller"), 0.02, [&] {
        fired.append(QStringLiteral("canceller"));
        scheduler.cancel(&other, QStringLiteral("victim"));
    });
    schedule(&other, QStringLiteral("victim"), 0.02);

    spinFor(80);
    EXPECT_EQ(fired, (QStringList {QStringLiteral("save"), QStringLiteral("canceller")}));
    EXPECT_EQ(scheduler.pendingCount(), 0);

    // Cancelling everything stops the timer for good.
    schedule(&owner, QStringLiteral("late"), 0.01);
    scheduler.cancelAll(&owner);
    spinFor(40);
    EXPECT_EQ(fired.size(), 2);
}

TEST_F(VXEventLoopSchedulerTest, ATickReschedulesItselfFromInsideItsOwnCall)
{
    VXEventLoopScheduler scheduler;
    const QString tick = QStringLiteral("updateLists:");
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
            scheduler.performAfterDelay(&other, QStringLiteral("force"), 0.001, [&] { updateLists(true); });
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
        scheduler.performAfterDelay(&owner, QStringLiteral("tick"), 0.002, tick);
    };
    scheduler.performAfterDelay(&owner, QStringLiteral("tick"), 0.002, tick);
    bool modalDone = false;
    scheduler.performAfterDelay(&other, QStringLiteral("alert"), 0, [&] {
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
    scheduler.performAfterDelay(&other, QStringLiteral("save"), 0.01, [&] { fired = nesting > 0; });
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
    scheduler.performAfterDelay(&owner, QStringLiteral("save:"), 1800, [&] { saved = true; });
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
    scheduler.performAfterDelay(&owner, QStringLiteral("tick"), 0.02, [&] { ticked = true; });
    ASSERT_TRUE(spinUntil([&] { return ticked; }, 2000));
    EXPECT_GE(elapsed.nsecsElapsed(), 20'000'000);
}

TEST_F(VXEventLoopSchedulerTest, SurvivesItsOwnDestructionAndThrowingCalls)
{
    QPointer<VXEventLoopScheduler> scheduler = new VXEventLoopScheduler;
    QStringList fired;
    scheduler->performAfterDelay(&owner, QStringLiteral("thrower"), 0, [] { throw std::runtime_error("no disk"); });
    scheduler->performAfterDelay(&owner, QStringLiteral("destroyer"), 0.005, [&] {
        fired.append(QStringLiteral("destroyer"));
        delete scheduler.data();
    });
    scheduler->performAfterDelay(&owner, QStringLiteral("orphan"), 0.005,
                                 [&] { fired.append(QStringLiteral("orphan")); });
    ASSERT_TRUE(spinUntil([&] { return scheduler.isNull(); }));
    spinFor(30);
    EXPECT_EQ(fired, QStringList {QStringLiteral("destroyer")});
}
