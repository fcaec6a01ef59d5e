// The real scheduler's task lifetimes: tasks keep themselves alive while they can fire, and no longer.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QAbstractEventDispatcher>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <optional>

#include "platform/linux/QtScheduler.h"

using namespace tamsinvale;

namespace {

void runEventsUntil(const std::function<bool()>& done)
{
    const QDeadlineTimer deadline(5000);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
}

}  // namespace

TEST(QtScheduler, aTaskNobodyHoldsStillRunsAndIsThenReleased)
{
    QtScheduler scheduler;
    bool ran = false;
    std::weak_ptr<ScheduledTask> weak = scheduler.post([&] { ran = true; });
    EXPECT_FALSE(weak.expired());  // kept alive by itself until it has fired
    runEventsUntil([&] { return ran; });
    EXPECT_TRUE(ran);
    EXPECT_TRUE(weak.expired());
}

TEST(QtScheduler, cancelledAndRepeatingTasksAreReleasedOnceDone)
{
    QtScheduler scheduler;
    int repeats = 0;
    TaskHandle cancelled = scheduler.postAfter(0.001, [&] { ADD_FAILURE() << "a cancelled task ran"; });
    TaskHandle repeating = scheduler.repeat(0.001, [&] { ++repeats; });
    cancelled->cancel();
    // A loose repeat (coarse timer) keeps firing too and goes the same way.
    int looseRepeats = 0;
    TaskHandle loose = scheduler.repeatWithTolerance(0.01, 0.005, [&] { ++looseRepeats; });
    runEventsUntil([&] { return repeats >= 3 && looseRepeats >= 3; });
    EXPECT_GE(repeats, 3);
    EXPECT_GE(looseRepeats, 3);
    loose->cancel();
    std::weak_ptr<ScheduledTask> weakLoose = loose;
    loose.reset();
    EXPECT_TRUE(weakLoose.expired());
    repeating->cancel();
    std::weak_ptr<ScheduledTask> weakCancelled = cancelled, weakRepeating = repeating;
    cancelled.reset();
    repeating.reset();
    EXPECT_TRUE(weakCancelled.expired());
    EXPECT_TRUE(weakRepeating.expired());
}

TEST(QtScheduler, tasksStillPendingWhenTheSchedulerGoesAreReleasedWithIt)
{
    std::weak_ptr<ScheduledTask> later, repeating;
    {
        QtScheduler scheduler;
        later = scheduler.postAfter(60, [] {});
        repeating = scheduler.repeat(60, [] {});
        EXPECT_FALSE(later.expired());
        EXPECT_FALSE(repeating.expired());
    }
    EXPECT_TRUE(later.expired());
    EXPECT_TRUE(repeating.expired());
}

TEST(QtScheduler, workForAnIdleMomentWaitsUntilNothingElseIsWaitingOrItsLatestTime)
{
    ASSERT_TRUE(QAbstractEventDispatcher::instance()->inherits("QEventDispatcherGlib"))
        << "the main loop runs on GLib here";
    QtScheduler scheduler;
    QStringList order;
    // Fifty turns of posted work, each posting the next, all before anything waits: the idle work comes after.
    int steps = 0;
    std::function<void()> step = [&] {
        order << QStringLiteral("busy");
        if (++steps < 50)
            scheduler.post(step);
    };
    scheduler.post(step);
    std::weak_ptr<ScheduledTask> idle = scheduler.postWhenIdle(5.0, [&] { order << QStringLiteral("idle"); });
    runEventsUntil([&] { return order.contains(QStringLiteral("idle")); });
    EXPECT_EQ(order.count(QStringLiteral("busy")), 50);
    EXPECT_EQ(order.last(), QStringLiteral("idle"));
    EXPECT_TRUE(idle.expired());

    // A loop that never goes idle still runs it, at its latest time.
    QElapsedTimer clock;
    clock.start();
    std::optional<qint64> ranAt;
    std::function<void()> spin = [&] {
        if (clock.elapsed() < 1500)
            scheduler.post(spin);
    };
    scheduler.post(spin);
    scheduler.postWhenIdle(0.05, [&] { ranAt = clock.elapsed(); });
    runEventsUntil([&] { return ranAt.has_value(); });
    ASSERT_TRUE(ranAt);
    EXPECT_LT(*ranAt, 1000) << "it waited for the busy loop to end";  // a loaded machine may be late, not that late

    // Cancelled, or left when the scheduler goes: never run, and released.
    bool ran = false;
    TaskHandle cancelled = scheduler.postWhenIdle(0.01, [&] { ran = true; });
    cancelled->cancel();
    std::weak_ptr<ScheduledTask> orphan;
    {
        QtScheduler gone;
        orphan = gone.postWhenIdle(0.01, [&] { ran = true; });
    }
    runEventsUntil([&] { return clock.elapsed() > 600; });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(orphan.expired());
}
