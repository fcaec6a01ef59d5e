// Serial jobs on the manual clock: the work runs when its job ends, then its result is posted to the main queue.
#include "FakeSerialQueue.h"

#include "FakeScheduler.h"

namespace tamsinvale {

FakeSerialQueue::FakeSerialQueue(FakeScheduler& scheduler, double jobDuration)
    : m_scheduler(scheduler), m_jobDuration(jobDuration)
{
}

FakeSerialQueue::~FakeSerialQueue() { *m_alive = false; }

void FakeSerialQueue::run(std::function<void()> work, std::function<void()> thenOnMain)
{
    m_jobs.push_back({std::move(work), std::move(thenOnMain)});
    if (!m_busy)
        startNext();
}

void FakeSerialQueue::startNext()
{
    if (m_jobs.empty())
        return;
    m_busy = true;
    auto job = std::make_shared<Job>(std::move(m_jobs.front()));
    m_jobs.pop_front();
    std::weak_ptr<bool> alive = m_alive;
    m_scheduler.postAfter(m_jobDuration, [this, job, alive] {
        if (alive.expired())
            return;
        // The command takes effect at the end of its run, as a real adapter's does when it returns.
        job->work();
        ++m_jobsRun;
        m_scheduler.post(std::move(job->thenOnMain));
        m_busy = false;
        startNext();
    });
}

}  // namespace tamsinvale
