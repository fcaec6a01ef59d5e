// Ordered queue of deferred work keyed by (due time, arrival), driven by advance().
#include "FakeScheduler.h"

#include <QTimeZone>

namespace tamsinvale {

struct FakeScheduler::Entry : ScheduledTask {
    std::function<void()> work;
    double interval = 0;  // > 0 for repeating work
    bool cancelled = false;
    bool pending = true;
    void cancel() override
    {
        cancelled = true;
        pending = false;
    }
    bool isPending() const override { return pending; }
};

FakeScheduler::FakeScheduler() : m_wallClockAtZero(QDate(2026, 3, 15), QTime(9, 30), Qt::UTC) {}

QDateTime FakeScheduler::currentDateTime() const
{
    return m_wallClockAtZero.addMSecs(static_cast<qint64>(m_now * 1000.0));
}

TaskHandle FakeScheduler::schedule(double due, double interval, std::function<void()> work)
{
    auto entry = std::make_shared<Entry>();
    entry->work = std::move(work);
    entry->interval = interval;
    m_queue.emplace(std::make_pair(due, m_sequence++), entry);
    return entry;
}

TaskHandle FakeScheduler::post(std::function<void()> work) { return schedule(m_now, 0, std::move(work)); }

TaskHandle FakeScheduler::postAfter(double seconds, std::function<void()> work)
{
    return schedule(m_now + std::max(0.0, seconds), 0, std::move(work));
}

TaskHandle FakeScheduler::repeat(double interval, std::function<void()> work)
{
    m_repeatTolerances.emplace(interval, 0.0);
    return schedule(m_now + interval, interval, std::move(work));
}

TaskHandle FakeScheduler::repeatWithTolerance(double interval, double tolerance, std::function<void()> work)
{
    // Virtual time runs it on the dot: the latest a real timer may be is not something to wait for in a test.
    m_repeatTolerances.emplace(interval, tolerance);
    return schedule(m_now + interval, interval, std::move(work));
}

void FakeScheduler::advance(double seconds)
{
    const double target = m_now + std::max(0.0, seconds);
    while (!m_queue.empty()) {
        auto first = m_queue.begin();
        if (first->first.first > target)
            break;
        const double due = first->first.first;
        std::shared_ptr<Entry> entry = first->second;
        m_queue.erase(first);
        if (entry->cancelled)
            continue;
        m_now = std::max(m_now, due);
        if (entry->interval > 0)
            m_queue.emplace(std::make_pair(m_now + entry->interval, m_sequence++), entry);
        else
            entry->pending = false;
        entry->work();
    }
    m_now = target;
}

std::size_t FakeScheduler::pendingCount() const
{
    std::size_t n = 0;
    for (const auto& [key, entry] : m_queue)
        if (!entry->cancelled)
            ++n;
    return n;
}

}  // namespace tamsinvale
