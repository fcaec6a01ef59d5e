// Resolves the overlay picture chain and decodes pictures downsampled to the screen, with a bounded cache.
#include "OverlayImageLoader.h"

#include <QFileInfo>
#include <QImageReader>
#include <cmath>

#include "settings/SettingsStore.h"

namespace tamsinvale {

OverlayImageLoader::OverlayImageLoader(SettingsStore& settings, const Bookmarks& bookmarks, int maxPictures,
                                       qint64 maxBytes)
    : m_settings(settings), m_bookmarks(bookmarks), m_maxPictures(std::max(1, maxPictures)), m_maxBytes(maxBytes)
{
}

std::optional<QImage> OverlayImageLoader::overlayImage(const ScreenInfo& screen)
{
    const Settings& s = m_settings.settings();
    if (s.focusDimBlackBackground)
        return std::nullopt;
    const QSize target(int(std::ceil(screen.frame.width() * screen.backingScale)),
                       int(std::ceil(screen.frame.height() * screen.backingScale)));
    QList<QByteArray> candidates;
    if (const auto it = s.focusDimPerScreenImageBookmarks.constFind(screen.uuid);
        !screen.uuid.isEmpty() && it != s.focusDimPerScreenImageBookmarks.cend())
        candidates.append(*it);
    if (s.focusDimBackgroundImageBookmark && !s.focusDimBackgroundImageBookmark->isEmpty())
        candidates.append(*s.focusDimBackgroundImageBookmark);
    for (const QByteArray& bookmark : candidates)
        if (auto image = loadBookmark(bookmark, target))
            return image;
    if (defaultWallpaperPath)
        if (const auto path = defaultWallpaperPath(); path && !path->isEmpty())
            return load(*path, target);
    return std::nullopt;
}

std::optional<QImage> OverlayImageLoader::loadBookmark(const QByteArray& bookmark, const QSize& targetPixels)
{
    const auto path = m_bookmarks.resolve(bookmark);
    if (!path)
        return std::nullopt;
    const bool accessing = m_bookmarks.startAccessing(*path);
    auto image = load(*path, targetPixels);
    if (accessing)
        m_bookmarks.stopAccessing(*path);
    return image;
}

std::optional<QImage> OverlayImageLoader::load(const QString& path, const QSize& targetPixels)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return std::nullopt;
    const QDateTime modified = info.lastModified();
    if (const auto cached = m_settings.decodedWallpaper(path); cached && m_entries.contains(path)) {
        const CacheEntry& entry = m_entries[path];
        const bool bigEnough = entry.fullResolution
            || (cached->width() >= targetPixels.width() && cached->height() >= targetPixels.height());
        if (entry.modified == modified && bigEnough) {
            touch(path);
            return *cached;
        }
    }

    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize source = reader.size();
    bool fullResolution = true;
    if (source.isValid() && targetPixels.isValid() && !targetPixels.isEmpty()) {
        // Aspect fill: the smaller side reaches the target, the other overflows and is cropped when drawn.
        const double scale = std::max(double(targetPixels.width()) / source.width(),
                                      double(targetPixels.height()) / source.height());
        if (scale < 1.0) {
            reader.setScaledSize(QSize(std::max(1, int(std::ceil(source.width() * scale))),
                                       std::max(1, int(std::ceil(source.height() * scale)))));
            fullResolution = false;
        }
    }
    QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    ++m_decodes;
    m_settings.storeDecodedWallpaper(path, image);
    m_entries.insert(path, CacheEntry{modified, fullResolution, image.sizeInBytes()});
    touch(path);
    evictBeyondBounds();
    return image;
}

void OverlayImageLoader::touch(const QString& path)
{
    m_recency.removeAll(path);
    m_recency.append(path);
}

void OverlayImageLoader::evictBeyondBounds()
{
    qint64 total = 0;
    for (const CacheEntry& e : std::as_const(m_entries))
        total += e.bytes;
    // The most recent picture always stays: it is the one being shown.
    while (m_recency.size() > 1 && (m_recency.size() > m_maxPictures || total > m_maxBytes)) {
        const QString oldest = m_recency.takeFirst();
        total -= m_entries.value(oldest).bytes;
        m_entries.remove(oldest);
        m_settings.evictDecodedWallpaper(oldest);
    }
}

}  // namespace tamsinvale
