// Resolves the overlay picture chain and decodes pictures downsampled to the screen, with a bounded cache;
// decodes run one at a time on the picture queue, and only for pictures still asked for.
#include "OverlayImageLoader.h"

#include <QFileInfo>
#include <algorithm>
#include <cmath>

#include "PictureDecoder.h"
#include "platform/Logging.h"
#include "platform/SerialQueue.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

OverlayImageLoader::OverlayImageLoader(SettingsStore& settings, const Bookmarks& bookmarks, int maxPictures,
                                       qint64 maxBytes)
    : m_settings(settings), m_bookmarks(bookmarks), m_maxPictures(std::max(1, maxPictures)), m_maxBytes(maxBytes)
{
}

OverlayImageLoader::~OverlayImageLoader() { *m_alive = false; }

OverlayPicture OverlayImageLoader::overlayPicture(const ScreenInfo& screen)
{
    const Settings& s = m_settings.settings();
    if (s.focusDimBlackBackground)
        return {};
    const QSize target(int(std::ceil(screen.frame.width() * screen.backingScale)),
                       int(std::ceil(screen.frame.height() * screen.backingScale)));
    QList<QByteArray> candidates;
    if (const auto it = s.focusDimPerScreenImageBookmarks.constFind(screen.uuid);
        !screen.uuid.isEmpty() && it != s.focusDimPerScreenImageBookmarks.cend())
        candidates.append(*it);
    if (s.focusDimBackgroundImageBookmark && !s.focusDimBackgroundImageBookmark->isEmpty())
        candidates.append(*s.focusDimBackgroundImageBookmark);
    QStringList paths;
    for (const QByteArray& bookmark : candidates)
        if (const auto path = m_bookmarks.resolve(bookmark))
            paths.append(*path);
    if (defaultWallpaperPath)
        if (const auto path = defaultWallpaperPath(); path && !path->isEmpty())
            paths.append(*path);
    for (const QString& path : std::as_const(paths)) {
        std::optional<QImage> image;
        const bool accessing = m_bookmarks.startAccessing(path);
        const Lookup found = lookup(path, target, image);
        if (accessing)
            m_bookmarks.stopAccessing(path);
        if (found == Lookup::ready)
            return {std::move(image), false};
        if (found == Lookup::pending)
            return {std::nullopt, true};
    }
    return {};
}

std::optional<QImage> OverlayImageLoader::load(const QString& path, const QSize& targetPixels)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return std::nullopt;
    const QDateTime modified = info.lastModified();
    if (auto image = cached(path, modified, targetPixels))
        return image;
    const Request request{path, targetPixels, modified};
    DecodedPicture decoded = PictureDecoder::decode(path, targetPixels);
    if (!decoded.ok()) {
        recordFailure(request, decoded.error);
        return std::nullopt;
    }
    store(request, decoded.image, decoded.fullResolution);
    return decoded.image;
}

OverlayImageLoader::Lookup OverlayImageLoader::lookup(const QString& path, const QSize& targetPixels,
                                                      std::optional<QImage>& image)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return Lookup::failed;
    const QDateTime modified = info.lastModified();
    if ((image = cached(path, modified, targetPixels)))
        return Lookup::ready;
    // A file that would not decode is not tried on every activation, only once it has changed.
    if (knownToFail(path, modified))
        return Lookup::failed;
    if (!m_queue) {
        image = load(path, targetPixels);
        return image ? Lookup::ready : Lookup::failed;
    }
    const auto covers = [&](const Request& r) {
        return r.path == path && r.modified == modified && r.target.width() >= targetPixels.width()
            && r.target.height() >= targetPixels.height();
    };
    if (!(m_inFlight && covers(*m_inFlight))) {
        const auto same = std::find_if(m_wanted.begin(), m_wanted.end(), [&](const Request& r) { return r.path == path; });
        if (same == m_wanted.end())
            m_wanted.append(Request{path, targetPixels, modified});
        else
            *same = Request{path, targetPixels.expandedTo(same->target), modified};
        if (!m_inRound)
            startNextDecode();
    }
    return Lookup::pending;
}

std::optional<QImage> OverlayImageLoader::cached(const QString& path, const QDateTime& modified,
                                                 const QSize& targetPixels)
{
    const auto image = m_settings.decodedWallpaper(path);
    const auto entry = m_entries.constFind(path);
    if (!image || entry == m_entries.cend() || entry->modified != modified)
        return std::nullopt;
    const bool bigEnough = entry->fullResolution
        || (image->width() >= targetPixels.width() && image->height() >= targetPixels.height());
    if (!bigEnough)
        return std::nullopt;
    touch(path);
    return image;
}

bool OverlayImageLoader::knownToFail(const QString& path, const QDateTime& modified) const
{
    const auto it = m_failed.constFind(path);
    return it != m_failed.cend() && *it == modified;
}

void OverlayImageLoader::startNextDecode()
{
    if (m_inFlight || m_wanted.isEmpty() || !m_queue)
        return;
    const Request request = m_wanted.takeFirst();
    m_inFlight = request;
    const bool accessing = m_bookmarks.startAccessing(request.path);
    auto result = std::make_shared<DecodedPicture>();
    std::weak_ptr<bool> alive = m_alive;
    m_queue->run([result, path = request.path, target = request.target] { *result = PictureDecoder::decode(path, target); },
                 [this, alive, result, request, accessing] {
                     if (alive.expired())
                         return;
                     if (accessing)
                         m_bookmarks.stopAccessing(request.path);
                     m_inFlight.reset();
                     if (result->ok())
                         store(request, result->image, result->fullResolution);
                     else
                         recordFailure(request, result->error);
                     // The overlays ask again (a new round), and whatever they still want decodes next.
                     if (onPictureReady)
                         onPictureReady();
                     startNextDecode();
                 });
}

void OverlayImageLoader::store(const Request& request, const QImage& image, bool fullResolution)
{
    ++m_decodes;
    m_failed.remove(request.path);
    m_settings.storeDecodedWallpaper(request.path, image);
    m_entries.insert(request.path, CacheEntry{request.modified, fullResolution, image.sizeInBytes()});
    touch(request.path);
    evictBeyondBounds();
}

void OverlayImageLoader::recordFailure(const Request& request, const QString& error)
{
    if (!knownToFail(request.path, request.modified))
        qCWarning(lcWallpapers).noquote() << "cannot show picture" << request.path << "-" << error
                                          << "(showing the next picture in line, or plain black)";
    m_failed.insert(request.path, request.modified);
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
