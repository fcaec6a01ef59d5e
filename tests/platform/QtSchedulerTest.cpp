// The real scheduler's task lifetimes: tasks keep themselves alive while they can fire, and no longer.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

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
