// The main queue on a manual clock: nothing runs until the test advances time.
#pragma once

#include <QDateTime>
#include <map>
#include <memory>
#include <utility>

#include "platform/Scheduler.h"

namespace tamsinvale {

class FakeScheduler : public Scheduler {
public:
    FakeScheduler();

    double now() const override { return m_now; }
    QDateTime currentDateTime() const override;
    TaskHandle post(std::function<void()> work) override;
    TaskHandle postAfter(double seconds, std::function<void()> work) override;
    TaskHandle repeat(double interval, std::function<void()> work) override;
    TaskHandle repeatWithTolerance(double interval, double tolerance, std::function<void()> work) override;
    // The tolerance each repeating task was asked for with, by interval (0 for plain repeats).
    const std::multimap<double, double>& repeatTolerances() const { return m_repeatTolerances; }

    // Moves the clock forward, running what falls due in due order (first in, first out among equals),
    // including work that the running work schedules within the interval.
    void advance(double seconds);
    // Runs everything due now (posted work), without moving the clock.
    void runPending() { advance(0); }
    std::size_t pendingCount() const;
    void setWallClock(const QDateTime& at) { m_wallClockAtZero = at; }

private:
    struct Entry;
    TaskHandle schedule(double due, double interval, std::function<void()> work);

    double m_now = 0;
    std::uint64_t m_sequence = 0;
    QDateTime m_wallClockAtZero;
    std::multimap<double, double> m_repeatTolerances;
    std::map<std::pair<double, std::uint64_t>, std::shared_ptr<Entry>> m_queue;
};

}  // namespace tamsinvale
