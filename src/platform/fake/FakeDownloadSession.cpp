// Scripted transfers on the fake clock; an address nobody scripted answers 404.
#include "FakeDownloadSession.h"

#include <QFile>

#include "FakeScheduler.h"

namespace tamsinvale {

namespace {

class FakeTask : public DownloadTask {
public:
    std::function<void()> onCancel;
    // The transfer's scheduled steps live as long as the task; the steps themselves only look at them, so
    // that a transfer never finished (a test that stops early) leaves no cycle behind.
    std::shared_ptr<QList<TaskHandle>> steps;
    void cancel() override
    {
        if (onCancel)
            onCancel();
    }
};

}  // namespace

FakeDownloadSession::FakeDownloadSession(FakeScheduler& scheduler) : m_scheduler(scheduler) {}

std::shared_ptr<DownloadTask> FakeDownloadSession::download(const QUrl& url, std::function<void(double)> progress,
                                                            std::function<void(const DownloadResult&)> completion)
{
    m_requests << url;
    ++m_running;
    Response response = m_responses.value(url, Response{404, QByteArray("not found"), std::nullopt, 1.0, {}});
    auto task = std::make_shared<FakeTask>();
    auto ticks = std::make_shared<QList<TaskHandle>>();
    task->steps = ticks;
    const std::weak_ptr<QList<TaskHandle>> stepsOfThisTask = ticks;
    auto done = std::make_shared<bool>(false);
    for (qsizetype i = 0; i < response.fractions.size(); ++i) {
        const double at = response.seconds * double(i + 1) / double(response.fractions.size() + 1);
        *ticks << m_scheduler.postAfter(at, [progress, fraction = response.fractions[i]] { progress(fraction); });
    }
    const QString bodyPath = m_bodies.filePath(QStringLiteral("body-%1").arg(++m_serial));
    auto finish = [this, completion, done, stepsOfThisTask](const DownloadResult& result) {
        if (*done)
            return;
        *done = true;
        --m_running;
        if (const auto steps = stepsOfThisTask.lock())
            for (const TaskHandle& tick : *steps)
                tick->cancel();
        completion(result);
    };
    *ticks << m_scheduler.postAfter(response.seconds, [finish, response, bodyPath] {
        DownloadResult result;
        if (response.error) {
            result.error = response.error;
        } else {
            result.httpStatus = response.status;
            if (response.status == 200) {
                QFile f(bodyPath);
                if (f.open(QIODevice::WriteOnly))
                    f.write(response.body);
                result.file = bodyPath;
            }
        }
        finish(result);
    });
    task->onCancel = [this, finish, done] {
        if (*done)
            return;
        ++m_cancelled;
        m_scheduler.post([finish] { finish({std::nullopt, std::nullopt, QStringLiteral("cancelled")}); });
    };
    return task;
}

}  // namespace tamsinvale
