// Where scans and icon loads run: worker threads in the app, the calling thread on the simulated desktop.
#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>

class QThreadPool;

namespace tamsinvale {

class Scheduler;

class BackgroundQueue {
public:
    virtual ~BackgroundQueue() = default;
    // Runs `work` off the main thread, then `thenOnMain` on the main queue.
    virtual void run(std::function<void()> work, std::function<void()> thenOnMain) = 0;
};

// A thread pool; results hop back through the event loop of the main thread. By default Qt's global pool. Long
// jobs (decoding pictures) get a pool of their own with `threads` workers: Qt splits some image conversions and
// scaling into jobs for the global pool and waits for them, so a main thread painting while the global pool is busy
// with long jobs would wait for those jobs to end.
class ThreadPoolBackgroundQueue : public BackgroundQueue {
public:
    explicit ThreadPoolBackgroundQueue(int threads = 0);
    ~ThreadPoolBackgroundQueue() override;
    void run(std::function<void()> work, std::function<void()> thenOnMain) override;

private:
    QObject* m_mainContext;
    std::unique_ptr<QThreadPool> m_ownPool;
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
