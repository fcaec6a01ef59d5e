// Pauses the Now Playing application when quick dim begins and resumes it when quick dim ends, but only when
// this controller was the one that paused it.
#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>

#include "dimming/MediaPlayback.h"
#include "platform/MediaAdapter.h"

namespace tamsinvale {

class SerialQueue;

class MediaPlaybackController : public QObject, public MediaPlayback {
    Q_OBJECT
public:
    // Every adapter command runs on `queue`; the adapter and the queue outlive the controller.
    MediaPlaybackController(MediaAdapter& adapter, SerialQueue& queue, QObject* parent = nullptr);

    // Main thread only.
    void pause() override;
    void resume() override;

    // True only while a pause this controller issued is in force.
    bool pausedByUs() const { return m_pausedByUs; }
    // Counts every pause() and resume(); a pause that answers under an older value has been overtaken.
    std::int64_t generation() const { return m_generation; }

private:
    // Runs one adapter command on the queue and hands its result to `done` on the main thread.
    void runAdapter(const QString& command, std::function<void(const MediaAdapterResult&)> done);
    std::int64_t nextGeneration();
    void pauseLanded(std::int64_t generation, const MediaAdapterResult& result);

    MediaAdapter& m_adapter;
    SerialQueue& m_queue;
    bool m_pausedByUs = false;
    std::int64_t m_generation = 0;
};

}  // namespace tamsinvale
