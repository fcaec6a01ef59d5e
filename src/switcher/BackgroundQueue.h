// Where scans and icon loads run: worker threads in the app, the calling thread on the simulated desktop.
#pragma once

#include <QObject>
#include <QPointer>
#include <functional>

namespace tamsinvale {

class Scheduler;

class BackgroundQueue {
public:
    virtual ~BackgroundQueue() = default;
    // Runs `work` off the main thread, then `thenOnMain` on the main queue.
    virtual void run(std::function<void()> work, std::function<void()> thenOnMain) = 0;
};

// Qt's global thread pool; results hop back through the event loop of the main thread.
class ThreadPoolBackgroundQueue : public BackgroundQueue {
public:
    ThreadPoolBackgroundQueue();
    ~ThreadPoolBackgroundQueue() override;
    void run(std::function<void()> work, std::function<void()> thenOnMain) override;

private:
    QObject* m_mainContext;
};

// Runs the work at once on the calling thread and posts the rest on a scheduler, so that with a manual clock
// the test decides when the result is published.
class InlineBackgroundQueue : public BackgroundQueue {
public:
    explicit InlineBackgroundQueue(Scheduler& scheduler) : m_scheduler(scheduler) {}
    void run(std::function<void()> work, std::function<void()> thenOnMain) override;
    int runs() const { return m_runs; }

private:
    Scheduler& m_scheduler;
    int m_runs = 0;
};

}  // namespace tamsinvale
