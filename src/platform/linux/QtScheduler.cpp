// Deferred work as QTimers owned by small task objects, so cancel() simply stops and drops the timer; work for the
// next turn as a posted call.
#include "QtScheduler.h"

#include <QAbstractEventDispatcher>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <cmath>

#ifdef TAMSINVALE_HAS_GLIB
#include <glib.h>
#endif

namespace tamsinvale {

namespace {

class QtTask : public ScheduledTask {
public:
    QtTask(QObject* context, double seconds, bool repeating, std::function<void()> work,
           Qt::TimerType type = Qt::PreciseTimer)
        : m_timer(new QTimer(context)), m_repeating(repeating), m_work(std::move(work))
    {
        m_timer->setSingleShot(!repeating);
        m_timer->setTimerType(type);
        m_timer->setInterval(static_cast<int>(std::lround(std::max(0.0, seconds) * 1000.0)));
        QObject::connect(m_timer, &QTimer::timeout, m_timer, [this] { fire(); });
        m_timer->start();
    }
    void cancel() override
    {
        m_pending = false;
        if (m_timer) {
            m_timer->stop();
            m_timer->deleteLater();
        }
        auto last = std::move(self);  // may be the last reference: released when this call returns
    }
    bool isPending() const override { return m_pending; }
    QTimer* timer() const { return m_timer; }

    // Keeps the task alive while its timer can still fire.
    std::shared_ptr<QtTask> self;

private:
    void fire()
    {
        auto keepAlive = self;  // the work may drop the last outside reference
        if (!m_pending)
            return;
        if (!m_repeating) {
            m_pending = false;
            m_timer->deleteLater();
            self.reset();
        }
        m_work();
    }

    QPointer<QTimer> m_timer;
    bool m_repeating;
    bool m_pending = true;
    std::function<void()> m_work;
};

TaskHandle makeTask(QObject* context, double seconds, bool repeating, std::function<void()> work,
                    Qt::TimerType type = Qt::PreciseTimer)
{
    auto task = std::make_shared<QtTask>(context, seconds, repeating, std::move(work), type);
    task->self = task;
    // A timer that goes with its owner (the scheduler, at quit) can no longer fire: the task stops keeping
    // itself alive, or every task still pending at quit would leak.
    QObject::connect(task->timer(), &QObject::destroyed, [weak = std::weak_ptr<QtTask>(task)] {
        if (const auto t = weak.lock())
            t->self.reset();
    });
    return task;
}

// Work for the next turn: a posted call, as the main queue's own asynchronous work. Unlike a zero-interval timer,
// it does not wait until every window-system event that came in meanwhile has been handled.
class QtPostedTask : public ScheduledTask {
public:
    explicit QtPostedTask(std::function<void()> work) : m_work(std::move(work)) {}
    void cancel() override
    {
        m_pending = false;
        m_work = nullptr;  // what the work holds is released now, not when its turn comes
    }
    bool isPending() const override { return m_pending; }
    void fire()
    {
        if (!m_pending)
            return;
        m_pending = false;
        const std::function<void()> work = std::move(m_work);
        work();
    }

private:
    bool m_pending = true;
    std::function<void()> m_work;
};

#ifdef TAMSINVALE_HAS_GLIB
// Work for the first moment the main loop has nothing else to do: a GLib idle source on the main context, which
// GLib dispatches only in a turn where no source of normal priority (Qt's posted events, timers, sockets, the
// window-system connection) is ready. A timer bounds the wait; whichever comes first runs the work, once.
class GlibIdleTask : public ScheduledTask {
public:
    explicit GlibIdleTask(std::function<void()> work) : m_work(std::move(work)) {}
    ~GlibIdleTask() override { removeSource(); }

    void start(QObject* context, double latest, const std::shared_ptr<GlibIdleTask>& self)
    {
        // The source holds the task until it is removed: a dropped handle does not cancel, as for every task.
        auto* held = new std::shared_ptr<GlibIdleTask>(self);
        m_source = g_idle_add_full(
            G_PRIORITY_DEFAULT_IDLE,
            [](gpointer data) -> gboolean {
                auto task = *static_cast<std::shared_ptr<GlibIdleTask>*>(data);
                task->m_source = 0;  // this source ends as the callback returns
                task->fire();
                return G_SOURCE_REMOVE;
            },
            held, [](gpointer data) { delete static_cast<std::shared_ptr<GlibIdleTask>*>(data); });
        m_timer = new QTimer(context);
        m_timer->setSingleShot(true);
        // The timer goes with the scheduler (at quit): work for objects that go then must not run after it.
        QObject::connect(m_timer, &QObject::destroyed, [weak = std::weak_ptr<GlibIdleTask>(self)] {
            if (const auto task = weak.lock())
                task->cancel();
        });
        QObject::connect(m_timer, &QTimer::timeout, m_timer, [weak = std::weak_ptr<GlibIdleTask>(self)] {
            if (const auto task = weak.lock())
                task->fire();
        });
        m_timer->start(static_cast<int>(std::lround(std::max(0.0, latest) * 1000.0)));
    }
    void cancel() override
    {
        m_pending = false;
        m_work = nullptr;
        finish();
    }
    bool isPending() const override { return m_pending; }

private:
    void fire()
    {
        if (!m_pending)
            return;
        m_pending = false;
        const std::function<void()> work = std::move(m_work);
        finish();
        work();
    }
    void finish()
    {
        if (m_timer) {
            m_timer->stop();
            m_timer->deleteLater();
        }
        removeSource();  // may drop the last reference held by the source: nothing of this object is used after it
    }
    void removeSource()
    {
        if (const guint source = std::exchange(m_source, 0))
            g_source_remove(source);
    }

    bool m_pending = true;
    std::function<void()> m_work;
    guint m_source = 0;
    QPointer<QTimer> m_timer;
};
#endif

}  // namespace

QtScheduler::QtScheduler(QObject* parent) : QObject(parent) { m_clock.start(); }

double QtScheduler::now() const { return static_cast<double>(m_clock.nsecsElapsed()) / 1e9; }

QDateTime QtScheduler::currentDateTime() const { return QDateTime::currentDateTime(); }

TaskHandle QtScheduler::post(std::function<void()> work)
{
    auto task = std::make_shared<QtPostedTask>(std::move(work));
    // Dropped with the scheduler (at quit), like the timers.
    QMetaObject::invokeMethod(this, [task] { task->fire(); }, Qt::QueuedConnection);
    return task;
}

TaskHandle QtScheduler::postWhenIdle(double latest, std::function<void()> work)
{
    // Qt runs the main thread's loop on GLib's default context when it was built with GLib; otherwise there is no
    // telling when the loop is idle, and the work is posted.
#ifdef TAMSINVALE_HAS_GLIB
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher && dispatcher->inherits("QEventDispatcherGlib") && thread() == QThread::currentThread()) {
        auto task = std::make_shared<GlibIdleTask>(std::move(work));
        task->start(this, latest, task);
        return task;
    }
#endif
    (void)latest;
    return post(std::move(work));
}

TaskHandle QtScheduler::postAfter(double seconds, std::function<void()> work)
{
    return makeTask(this, seconds, false, std::move(work));
}

TaskHandle QtScheduler::repeat(double interval, std::function<void()> work)
{
    return makeTask(this, interval, true, std::move(work));
}

TaskHandle QtScheduler::repeatWithTolerance(double interval, double tolerance, std::function<void()> work)
{
    // Qt's coarse timers may fire up to 5 % of the interval off; a whole-second timer within a second. Take the
    // loosest that stays within the tolerance.
    Qt::TimerType type = Qt::PreciseTimer;
    if (tolerance >= interval * 0.05)
        type = Qt::CoarseTimer;
    else if (tolerance >= 1.0)
        type = Qt::VeryCoarseTimer;
    return makeTask(this, interval, true, std::move(work), type);
}

}  // namespace tamsinvale
