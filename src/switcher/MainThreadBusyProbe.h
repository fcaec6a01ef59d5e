// How long the main thread goes without returning to its event loop after a moment (a publication): the longest
// stretch over the next turns of the loop, reported once. This is the stall a user would feel as a late keystroke.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <functional>

namespace tamsinvale {

class MainThreadBusyProbe : public QObject {
    Q_OBJECT
public:
    // Starts measuring now, over the next `turns` turns of the event loop (or until `seconds` pass); then calls
    // `report` with the longest busy stretch in milliseconds, the main thread's own CPU time within it (the rest is
    // time the system gave to other programs) and the number of turns, and deletes itself.
    static void watch(QObject* owner, int turns, double seconds,
                      std::function<void(double longestMs, double longestCpuMs, int turns)> report);

private:
    MainThreadBusyProbe(QObject* owner, int turns, std::function<void(double, double, int)> report);
    void awake();
    void aboutToBlock();
    void finish();

    std::function<void(double, double, int)> m_report;
    QElapsedTimer m_clock;
    qint64 m_busySince = 0;
    qint64 m_cpuSince = 0;
    qint64 m_longest = 0;
    qint64 m_longestCpu = 0;
    int m_turnsLeft;
    int m_turns = 0;
    bool m_busy = true;
    bool m_done = false;
};

}  // namespace tamsinvale
