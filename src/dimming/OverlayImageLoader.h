// The picture behind each screen's overlay: per-screen choice, the picture for all screens, the system default,
// or none (black); decoded once at screen size and kept in the settings store's decoded-wallpaper cache.
// With a picture queue, decoding happens off the main thread: the overlay keeps what it shows until the new
// picture is ready, then `onPictureReady` asks for it again.
#pragma once

#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QSize>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Bookmarks.h"
#include "platform/Screens.h"

namespace tamsinvale {

class SerialQueue;
class SettingsStore;

// What a screen's overlay should show now.
struct OverlayPicture {
    std::optional<QImage> image;
    // The picture it should show is still being decoded: keep showing what is there.
    bool pending = false;
};

class OverlayImageLoader {
public:
    // Wallpapers are whole-screen pictures: a few of them (one per screen plus the one for all screens) is the
    // working set; beyond `maxPictures` or `maxBytes` the least recently used picture is dropped.
    static constexpr int defaultMaxPictures = 6;
    static constexpr qint64 defaultMaxBytes = 384ll * 1024 * 1024;

    OverlayImageLoader(SettingsStore& settings, const Bookmarks& bookmarks, int maxPictures = defaultMaxPictures,
                       qint64 maxBytes = defaultMaxBytes);
    ~OverlayImageLoader();

    // The system's default picture; unset or empty (as on most Linux desktops) means black is the last resort.
    std::function<std::optional<QString>()> defaultWallpaperPath;
    // Runs on the main thread after a background decode has finished (well or not): ask again.
    std::function<void()> onPictureReady;

    // Decodes off the main thread on this queue from now on; without one, decoding blocks the caller.
    void setDecodeQueue(SerialQueue* queue) { m_queue = queue; }

    // A round of questions (one pass over the screens): pictures asked for in earlier rounds and not again are no
    // longer worth decoding, unless their decode has already started. Decoding starts when the round ends, so
    // that screens of different sizes asking for the same picture share one decode at the largest size.
    void beginRound()
    {
        m_wanted.clear();
        m_inRound = true;
    }
    void endRound()
    {
        m_inRound = false;
        startNextDecode();
    }

    // The first picture of the chain that loads; nothing in black-background mode or when none does. With a
    // queue, a picture not decoded yet is requested and reported pending.
    OverlayPicture overlayPicture(const ScreenInfo& screen);
    std::optional<QImage> overlayImage(const ScreenInfo& screen) { return overlayPicture(screen).image; }

    // A picture decoded so that it covers `targetPixels` (aspect fill), never larger than it needs to be;
    // nothing when the file cannot be read. Always on the calling thread.
    std::optional<QImage> load(const QString& path, const QSize& targetPixels);

    int decodeCount() const { return m_decodes; }
    bool decoding() const { return m_inFlight.has_value(); }

private:
    struct CacheEntry {
        QDateTime modified;
        bool fullResolution = false;  // the file itself is smaller than what was asked for
        qint64 bytes = 0;
    };
    struct Request {
        QString path;
        QSize target;
        QDateTime modified;
    };
    enum class Lookup { ready, pending, failed };

    Lookup lookup(const QString& path, const QSize& targetPixels, std::optional<QImage>& image);
    std::optional<QImage> cached(const QString& path, const QDateTime& modified, const QSize& targetPixels);
    bool knownToFail(const QString& path, const QDateTime& modified) const;
    void store(const Request& request, const QImage& image, bool fullResolution);
    void recordFailure(const Request& request, const QString& error);
    void startNextDecode();
    void touch(const QString& path);
    void evictBeyondBounds();

    SettingsStore& m_settings;
    const Bookmarks& m_bookmarks;
    int m_maxPictures;
    qint64 m_maxBytes;
    SerialQueue* m_queue = nullptr;
    QHash<QString, CacheEntry> m_entries;
    QStringList m_recency;  // least recently used first
    // Files that would not decode, by path, with the modification time they had: tried again once they change.
    QHash<QString, QDateTime> m_failed;
    // Asked for in the current round and not decoded yet, oldest first; one decode runs at a time.
    QList<Request> m_wanted;
    std::optional<Request> m_inFlight;
    bool m_inRound = false;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    int m_decodes = 0;
};

}  // namespace tamsinvale
