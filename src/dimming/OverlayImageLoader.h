// The picture behind each screen's overlay: per-screen choice, the picture for all screens, the system default,
// or none (black); decoded once at screen size and kept in the settings store's decoded-wallpaper cache.
#pragma once

#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QSize>
#include <QStringList>
#include <functional>
#include <optional>

#include "platform/Bookmarks.h"
#include "platform/Screens.h"

namespace tamsinvale {

class SettingsStore;

class OverlayImageLoader {
public:
    // Wallpapers are whole-screen pictures: a few of them (one per screen plus the one for all screens) is the
    // working set; beyond `maxPictures` or `maxBytes` the least recently used picture is dropped.
    static constexpr int defaultMaxPictures = 6;
    static constexpr qint64 defaultMaxBytes = 384ll * 1024 * 1024;

    OverlayImageLoader(SettingsStore& settings, const Bookmarks& bookmarks, int maxPictures = defaultMaxPictures,
                       qint64 maxBytes = defaultMaxBytes);

    // The system's default picture; unset or empty (as on most Linux desktops) means black is the last resort.
    std::function<std::optional<QString>()> defaultWallpaperPath;

    // Nothing in black-background mode or when no candidate loads.
    std::optional<QImage> overlayImage(const ScreenInfo& screen);

    // A picture decoded so that it covers `targetPixels` (aspect fill), never larger than it needs to be;
    // nothing when the file cannot be read.
    std::optional<QImage> load(const QString& path, const QSize& targetPixels);

    int decodeCount() const { return m_decodes; }

private:
    struct CacheEntry {
        QDateTime modified;
        bool fullResolution = false;  // the file itself is smaller than what was asked for
        qint64 bytes = 0;
    };
    std::optional<QImage> loadBookmark(const QByteArray& bookmark, const QSize& targetPixels);
    void touch(const QString& path);
    void evictBeyondBounds();

    SettingsStore& m_settings;
    const Bookmarks& m_bookmarks;
    int m_maxPictures;
    qint64 m_maxBytes;
    QHash<QString, CacheEntry> m_entries;
    QStringList m_recency;  // least recently used first
    int m_decodes = 0;
};

}  // namespace tamsinvale
