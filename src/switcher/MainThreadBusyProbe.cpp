// Busy stretches measured between the event dispatcher's wake-ups and its next wait.
#include "MainThreadBusyProbe.h"

#include <QAbstractEventDispatcher>
#include <QTimer>
#include <ctime>

namespace tamsinvale {

namespace {

qint64 threadCpuNs()
{
    timespec t{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t) != 0)
        return 0;
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

}  // namespace

void MainThreadBusyProbe::watch(QObject* owner, int turns, double seconds,
                                std::function<void(double longestMs, double longestCpuMs, int turns)> report)
{
    if (!QAbstractEventDispatcher::instance())
        return;
    auto* probe = new MainThreadBusyProbe(owner, turns, std::move(report));
    QTimer::singleShot(int(seconds * 1000), probe, &MainThreadBusyProbe::finish);
}

MainThreadBusyProbe::MainThreadBusyProbe(QObject* owner, int turns, std::function<void(double, double, int)> report)
    : QObject(owner), m_report(std::move(report)), m_turnsLeft(turns)
{
    m_clock.start();
    m_cpuSince = threadCpuNs();
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    connect(dispatcher, &QAbstractEventDispatcher::awake, this, &MainThreadBusyProbe::awake);
    connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &MainThreadBusyProbe::aboutToBlock);
}

void MainThreadBusyProbe::awake()
{
    if (m_busy)
        return;
    m_busy = true;
    m_busySince = m_clock.nsecsElapsed();
    m_cpuSince = threadCpuNs();
}

void MainThreadBusyProbe::aboutToBlock()
{
    if (!m_busy)
        return;
    m_busy = false;
    const qint64 stretch = m_clock.nsecsElapsed() - m_busySince;
    if (stretch >= m_longest) {
        m_longest = stretch;
        m_longestCpu = threadCpuNs() - m_cpuSince;
    }
    ++m_turns;
    if (--m_turnsLeft <= 0)
        finish();
}

void MainThreadBusyProbe::finish()
{
    if (m_done)
        return;
    m_done = true;
    disconnect(QAbstractEventDispatcher::instance(), nullptr, this, nullptr);
    if (m_report)
        m_report(double(m_longest) / 1e6, double(m_longestCpu) / 1e6, m_turns);
    deleteLater();
}

}  // namespace tamsinvale
