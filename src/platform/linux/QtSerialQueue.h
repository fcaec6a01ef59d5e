// The serial queue on Linux: one worker thread of our own, jobs in order, results back through the event loop.
#pragma once

#include <QString>
#include <QThread>
#include <atomic>

#include "platform/SerialQueue.h"

namespace tamsinvale {

class QtSerialQueue : public SerialQueue {
public:
    // `label` names the worker thread (as a dispatch queue's label names it in a debugger).
    explicit QtSerialQueue(const QString& label);
    // Lets the job that is running finish, drops the ones still waiting and their results.
    ~QtSerialQueue() override;

    void run(std::function<void()> work, std::function<void()> thenOnMain) override;

private:
    QThread m_thread;
    QObject* m_worker;       // lives on m_thread: queued calls to it run there, in the order they were queued
    QObject* m_mainContext;  // lives on the main thread: results hop back through it
    std::atomic<bool> m_stopping{false};
};

}  // namespace tamsinvale
