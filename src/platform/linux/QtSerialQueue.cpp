// A worker thread with a queued-call inbox; Qt delivers queued calls to one object in the order they were posted.
#include "QtSerialQueue.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace tamsinvale {

QtSerialQueue::QtSerialQueue(const QString& label) : m_worker(new QObject), m_mainContext(new QObject)
{
    if (QCoreApplication::instance())
        m_mainContext->moveToThread(QCoreApplication::instance()->thread());
    m_thread.setObjectName(label);
    m_worker->moveToThread(&m_thread);
    m_thread.start();
}

QtSerialQueue::~QtSerialQueue()
{
    m_stopping = true;
    m_thread.quit();
    m_thread.wait();
    delete m_worker;
    // Results already on their way to the main thread are dropped with their context.
    delete m_mainContext;
}

void QtSerialQueue::run(std::function<void()> work, std::function<void()> thenOnMain)
{
    // Both stay valid while the worker runs: the destructor stops the thread before deleting them.
    QObject* context = m_mainContext;
    std::atomic<bool>* stopping = &m_stopping;
    QMetaObject::invokeMethod(
        m_worker,
        [work = std::move(work), thenOnMain = std::move(thenOnMain), context, stopping] {
            if (*stopping)
                return;
            work();
            QMetaObject::invokeMethod(context, thenOnMain, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

}  // namespace tamsinvale
