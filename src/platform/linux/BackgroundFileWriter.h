// Replaces one file atomically on a thread of its own, so that the thread that changes its contents never waits
// for the file system: writes that follow each other quickly go out as one (only the newest contents matter).
#pragma once

#include <QByteArray>
#include <QString>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <sys/types.h>
#include <thread>

namespace tamsinvale {

class BackgroundFileWriter {
public:
    // Identifies one version of the file on disk, so that the owner can tell its own writes from other programs'
    // edits without reading the file.
    struct Version {
        dev_t device = 0;
        ino_t inode = 0;
        qint64 size = -1;
        qint64 modifiedNs = 0;
        bool operator==(const Version&) const = default;
        static std::optional<Version> of(const QString& path);
    };

    // `failed` is called on the writer's thread with the reason when a write fails.
    BackgroundFileWriter(QString path, std::function<void(const QString& reason)> failed);
    // Writes what is still queued, to disk, before it goes.
    ~BackgroundFileWriter();
    BackgroundFileWriter(const BackgroundFileWriter&) = delete;
    BackgroundFileWriter& operator=(const BackgroundFileWriter&) = delete;

    // Queues `bytes` as the file's next contents; returns at once. Called from one thread only.
    void replace(QByteArray bytes);
    // Waits until everything queued is written and on the disk (not only in the system's cache); true when the
    // last write succeeded.
    bool flushToDisk();
    // The version of the file that our latest completed write left.
    std::optional<Version> lastWritten() const;

private:
    void run();

    const QString m_path;
    const std::function<void(const QString&)> m_failed;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_done;
    std::optional<QByteArray> m_pending;
    std::optional<Version> m_lastWritten;
    bool m_busy = false;
    bool m_syncWanted = false;
    bool m_unsynced = false;  // a write since the last one that waited for the disk
    bool m_lastSucceeded = true;
    bool m_stopping = false;
    std::thread m_thread;
};

}  // namespace tamsinvale
