// The pause/resume state machine: a generation counter makes a pause that answers after quick dim ended harmless.
#include "MediaPlaybackController.h"

#include <QPointer>
#include <limits>
#include <memory>

#include "platform/Logging.h"
#include "platform/SerialQueue.h"

namespace tamsinvale {

MediaPlaybackController::MediaPlaybackController(MediaAdapter& adapter, SerialQueue& queue, QObject* parent)
    : QObject(parent), m_adapter(adapter), m_queue(queue)
{
}

std::int64_t MediaPlaybackController::nextGeneration()
{
    if (m_generation == std::numeric_limits<std::int64_t>::max())
        qFatal("media playback generation overflowed");
    return ++m_generation;
}

void MediaPlaybackController::runAdapter(const QString& command,
                                         std::function<void(const MediaAdapterResult&)> done)
{
    auto result = std::make_shared<MediaAdapterResult>();
    MediaAdapter* adapter = &m_adapter;
    // The answer may come back after the controller is gone (quit while a command runs): then it is dropped.
    QPointer<MediaPlaybackController> self(this);
    m_queue.run([adapter, command, result] { *result = adapter->run(command); },
                [self, result, done = std::move(done)] {
                    if (self)
                        done(*result);
                });
}

void MediaPlaybackController::pause()
{
    const std::int64_t g = nextGeneration();
    runAdapter(QStringLiteral("status"), [this, g](const MediaAdapterResult& status) {
        if (!status.ok)
            qCWarning(lcMedia).noquote() << status.error;
        if (!status.ok || !status.output.contains(QLatin1String("playing=1"))) {
            qCInfo(lcMedia) << "nothing playing";
            return;
        }
        // Back from the main queue onto the serial queue: the pause runs behind anything queued meanwhile.
        runAdapter(QStringLiteral("pause"), [this, g](const MediaAdapterResult& paused) { pauseLanded(g, paused); });
    });
}

void MediaPlaybackController::pauseLanded(std::int64_t g, const MediaAdapterResult& result)
{
    if (!result.ok) {
        qCWarning(lcMedia).noquote() << result.error;
        return;
    }
    qCInfo(lcMedia) << "paused Now Playing app";
    if (m_generation != g) {
        // Quick dim ended (or began again) while the pause was in flight: undo it, and do not claim it.
        qCInfo(lcMedia) << "pause landed after exit — resuming";
        runAdapter(QStringLiteral("play"), [](const MediaAdapterResult& played) {
            if (!played.ok)
                qCWarning(lcMedia).noquote() << played.error;
        });
        return;
    }
    m_pausedByUs = true;
}

void MediaPlaybackController::resume()
{
    nextGeneration();
    // Playback the user paused before quick dim began is never started here.
    if (!m_pausedByUs)
        return;
    m_pausedByUs = false;
    runAdapter(QStringLiteral("play"), [](const MediaAdapterResult& played) {
        if (played.ok)
            qCInfo(lcMedia) << "resumed Now Playing app";
        else
            qCWarning(lcMedia).noquote() << played.error;
    });
}

}  // namespace tamsinvale
