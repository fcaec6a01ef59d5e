// A serial queue in virtual time: each job takes `jobDuration` seconds of the scheduler's clock, jobs run one
// after another in order, and each result reaches the main queue as its job ends.
#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "platform/SerialQueue.h"

namespace tamsinvale {

class FakeScheduler;

class FakeSerialQueue : public SerialQueue {
public:
    explicit FakeSerialQueue(FakeScheduler& scheduler, double jobDuration = 0.1);
    ~FakeSerialQueue() override;

    void run(std::function<void()> work, std::function<void()> thenOnMain) override;

    void setJobDuration(double seconds) { m_jobDuration = seconds; }
    // Jobs queued or running.
    std::size_t pending() const { return m_jobs.size() + (m_busy ? 1 : 0); }
    int jobsRun() const { return m_jobsRun; }

private:
    struct Job {
        std::function<void()> work;
        std::function<void()> thenOnMain;
    };
    void startNext();

    FakeScheduler& m_scheduler;
    double m_jobDuration;
    std::deque<Job> m_jobs;
    bool m_busy = false;
    int m_jobsRun = 0;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace tamsinvale
