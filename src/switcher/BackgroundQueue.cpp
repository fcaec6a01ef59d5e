// Background queues: a thread pool for the app, an inline one for virtual time.
#include "BackgroundQueue.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <QThreadPool>

#ifdef __linux__
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#endif

#include "platform/Scheduler.h"

namespace tamsinvale {

namespace {

// Scans and icon loads are background work: they give way to the main thread and the window server, which
// must answer a hotkey within milliseconds even while a scan of hundreds of entries runs.
void lowerCurrentThreadPriority()
{
#ifdef __linux__
    // The idle class: any ordinary thread that wakes (the window server answering us, our main thread) takes the
    // core at once, where a lower nice value only shrinks the share.
    const sched_param param{};
    if (pthread_setschedparam(pthread_self(), SCHED_IDLE, &param) != 0)
        setpriority(PRIO_PROCESS, 0, 19);  // on Linux, 0 names the calling thread, not the process
#else
    QThread::currentThread()->setPriority(QThread::LowPriority);
#endif
}

}  // namespace

ThreadPoolBackgroundQueue::ThreadPoolBackgroundQueue(int threads) : m_mainContext(new QObject)
{
    if (threads > 0) {
        m_ownPool = std::make_unique<QThreadPool>();
        m_ownPool->setMaxThreadCount(threads);
    }
    // The context must live on the main thread for the queued hop back to land there.
    if (QCoreApplication::instance())
        m_mainContext->moveToThread(QCoreApplication::instance()->thread());
}

ThreadPoolBackgroundQueue::~ThreadPoolBackgroundQueue()
{
    // Jobs of our own pool that have not started are dropped and the ones running waited for; then pending hops
    // are dropped with their context. Workers of the global pool still running only touch what they captured.
    if (m_ownPool) {
        m_ownPool->clear();
        m_ownPool->waitForDone();
    }
    delete m_mainContext;
}

void ThreadPoolBackgroundQueue::run(std::function<void()> work, std::function<void()> thenOnMain)
{
    QPointer<QObject> context(m_mainContext);
    QThreadPool* pool = m_ownPool ? m_ownPool.get() : QThreadPool::globalInstance();
    pool->start([work = std::move(work), thenOnMain = std::move(thenOnMain), context] {
        static thread_local const bool lowered = (lowerCurrentThreadPriority(), true);
        Q_UNUSED(lowered);
        work();
        if (context)
            QMetaObject::invokeMethod(context.data(), thenOnMain, Qt::QueuedConnection);
    });
}

void InlineBackgroundQueue::run(std::function<void()> work, std::function<void()> thenOnMain)
{
    ++m_runs;
    work();
    m_scheduler.post(std::move(thenOnMain));
}

}  // namespace tamsinvale
