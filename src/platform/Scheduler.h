// The main queue: work posted now, later (cancellable), or repeatedly, plus the clock it runs on.
#pragma once

#include <QDateTime>
#include <functional>
#include <memory>

namespace tamsinvale {

// A piece of deferred work. Dropping the handle does not cancel it; cancel() does.
class ScheduledTask {
public:
    virtual ~ScheduledTask() = default;
    virtual void cancel() = 0;
    virtual bool isPending() const = 0;
};

using TaskHandle = std::shared_ptr<ScheduledTask>;

class Scheduler {
public:
    virtual ~Scheduler() = default;

    // Seconds on a monotonic clock; only differences mean anything.
    virtual double now() const = 0;
    // Wall-clock date and time, for dates shown or stored.
    virtual QDateTime currentDateTime() const = 0;

    // Runs after the work already queued.
    virtual TaskHandle post(std::function<void()> work) = 0;
    virtual TaskHandle postAfter(double seconds, std::function<void()> work) = 0;
    // Runs once nothing else waits on the main queue (input, window-system events, posted work), and at the latest
    // after `latest` seconds: for work that may wait a moment but should never keep a keystroke waiting. Where the
    // event loop cannot tell, it is posted like any other work.
    virtual TaskHandle postWhenIdle(double latest, std::function<void()> work)
    {
        (void)latest;
        return post(std::move(work));
    }
    // Runs every `interval` seconds until cancelled.
    virtual TaskHandle repeat(double interval, std::function<void()> work) = 0;
    // The same, for work that may run up to `tolerance` seconds late, so that the system can group wake-ups.
    virtual TaskHandle repeatWithTolerance(double interval, double tolerance, std::function<void()> work)
    {
        (void)tolerance;
        return repeat(interval, std::move(work));
    }
};

// Cancels a task held in an optional slot and empties the slot.
inline void cancelTask(TaskHandle& slot)
{
    if (slot) {
        slot->cancel();
        slot.reset();
    }
}

}  // namespace tamsinvale
