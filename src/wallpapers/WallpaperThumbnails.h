// Small previews of wallpaper files for the picker. A full-size desktop picture takes far longer to decode than a
// frame, so previews are decoded on a background queue, cropped to one size, kept in memory and written to a disk
// cache keyed by the file's path, modification time and size; a changed file is decoded again.
#pragma once

#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tamsinvale {

class BackgroundQueue;

class WallpaperThumbnails : public QObject {
    Q_OBJECT
public:
    // Turns a picture file into an image that covers `pixels` (larger is fine; it is cropped); a null image when
    // the file does not decode. Runs off the main thread.
    using Decoder = std::function<QImage(const QString& path, const QSize& pixels)>;

    // `diskFolder` empty: memory only. `decoder` empty: the overlays' own decoder (libheif, Qt's readers).
    WallpaperThumbnails(BackgroundQueue& queue, QString diskFolder, QSize pixelSize, Decoder decoder = {},
                        QObject* parent = nullptr);
    ~WallpaperThumbnails() override;

    QSize pixelSize() const { return m_pixelSize; }

    // Previews kept in memory: beyond this many, the ones asked for longest ago are dropped (and read back from
    // the disk cache when asked again).
    void setMemoryLimit(int previews) { m_memoryLimit = std::max(1, previews); }
    int inMemory() const { return int(m_entries.size()); }
    // Files kept in the disk cache: beyond `limit`, the oldest are removed down to three quarters of it. Runs on the
    // background queue; at start-up and whenever asked.
    void pruneDiskCache(int limit = defaultDiskLimit);
    static constexpr int defaultDiskLimit = 2000;

    // The preview of `path` when it is ready; otherwise nothing, and its load starts (once per version of the
    // file). `ready` tells when it has arrived or failed.
    std::optional<QImage> thumbnail(const QString& path);
    // The file is missing or did not decode; asked again only once it changes.
    bool hasFailed(const QString& path) const;

    // Source pictures decoded so far (disk cache hits excluded), and how many of those ran on the main thread.
    int decodes() const { return m_counters->decodes.load(); }
    int decodesOnMainThread() const { return m_counters->onMainThread.load(); }
    int diskHits() const { return m_counters->diskHits.load(); }

    // The disk cache's file for one version of a picture.
    static QString cacheFileName(const QString& path, const QDateTime& modified, qint64 size, const QSize& pixels);

signals:
    void ready(const QString& path);

private:
    enum class Status { loading, ready, failed };
    struct Version {
        QDateTime modified;
        qint64 size = -1;
        bool operator==(const Version&) const = default;
    };
    struct Entry {
        Version version;
        Status status = Status::loading;
        QImage image;
        quint64 lastUse = 0;
    };
    struct Counters {
        std::atomic<int> decodes{0};
        std::atomic<int> onMainThread{0};
        std::atomic<int> diskHits{0};
    };

    static std::optional<Version> versionOf(const QString& path);
    // Drops the previews asked for longest ago until one more fits under the memory limit.
    void makeRoom();

    BackgroundQueue& m_queue;
    QString m_diskFolder;
    QSize m_pixelSize;
    Decoder m_decoder;
    QHash<QString, Entry> m_entries;
    quint64 m_uses = 0;
    int m_memoryLimit = 1000;
    std::shared_ptr<Counters> m_counters = std::make_shared<Counters>();
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace tamsinvale
