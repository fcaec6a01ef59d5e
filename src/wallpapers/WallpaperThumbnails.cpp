#include "WallpaperThumbnails.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QSaveFile>
#include <QThread>

#include "dimming/PictureDecoder.h"
#include "platform/Logging.h"
#include "switcher/BackgroundQueue.h"

namespace tamsinvale {

namespace {

// The centre of `image` at exactly `pixels`, scaled to cover it first.
QImage cropToFill(const QImage& image, const QSize& pixels)
{
    if (image.isNull() || pixels.isEmpty())
        return {};
    QImage scaled = image.size() == pixels
        ? image
        : image.scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    const int x = (scaled.width() - pixels.width()) / 2;
    const int y = (scaled.height() - pixels.height()) / 2;
    return scaled.copy(x, y, pixels.width(), pixels.height()).convertToFormat(QImage::Format_RGB32);
}

bool onMainThread()
{
    const QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

}  // namespace

WallpaperThumbnails::WallpaperThumbnails(BackgroundQueue& queue, QString diskFolder, QSize pixelSize, Decoder decoder,
                                         QObject* parent)
    : QObject(parent),
      m_queue(queue),
      m_diskFolder(std::move(diskFolder)),
      m_pixelSize(pixelSize),
      m_decoder(std::move(decoder))
{
    if (!m_decoder)
        m_decoder = [](const QString& path, const QSize& pixels) { return PictureDecoder::decode(path, pixels).image; };
    if (!m_diskFolder.isEmpty())
        pruneDiskCache();
}

void WallpaperThumbnails::pruneDiskCache(int limit)
{
    if (m_diskFolder.isEmpty())
        return;
    const QString folder = m_diskFolder;
    m_queue.run(
        [folder, limit] {
            QFileInfoList files = QDir(folder).entryInfoList({QStringLiteral("*.png")}, QDir::Files, QDir::Time);
            if (files.size() <= limit)
                return;
            // Newest first: what lies beyond three quarters of the limit goes.
            for (qsizetype i = limit * 3 / 4; i < files.size(); ++i)
                QFile::remove(files[i].filePath());
        },
        [] {});
}

void WallpaperThumbnails::makeRoom()
{
    while (m_entries.size() >= m_memoryLimit) {
        auto oldest = m_entries.end();
        for (auto it = m_entries.begin(); it != m_entries.end(); ++it)
            if (it->status != Status::loading && (oldest == m_entries.end() || it->lastUse < oldest->lastUse))
                oldest = it;
        if (oldest == m_entries.end())
            return;  // only loads under way
        m_entries.erase(oldest);
    }
}

WallpaperThumbnails::~WallpaperThumbnails() { *m_alive = false; }

std::optional<WallpaperThumbnails::Version> WallpaperThumbnails::versionOf(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return std::nullopt;
    return Version{info.lastModified().toUTC(), info.size()};
}

QString WallpaperThumbnails::cacheFileName(const QString& path, const QDateTime& modified, qint64 size,
                                           const QSize& pixels)
{
    const QByteArray key = path.toUtf8() + '\n' + QByteArray::number(modified.toMSecsSinceEpoch()) + '\n'
        + QByteArray::number(size) + '\n' + QByteArray::number(pixels.width()) + 'x'
        + QByteArray::number(pixels.height());
    return QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex()) + QStringLiteral(".png");
}

bool WallpaperThumbnails::hasFailed(const QString& path) const
{
    const auto it = m_entries.constFind(path);
    return it != m_entries.constEnd() && it->status == Status::failed;
}

std::optional<QImage> WallpaperThumbnails::thumbnail(const QString& path)
{
    const std::optional<Version> version = versionOf(path);
    if (!m_entries.contains(path))
        makeRoom();
    Entry& entry = m_entries[path];
    entry.lastUse = ++m_uses;
    if (!version) {
        entry = Entry{Version{}, Status::failed, {}, m_uses};
        return std::nullopt;
    }
    if (entry.version == *version && entry.status != Status::loading)
        return entry.status == Status::ready ? std::optional<QImage>(entry.image) : std::nullopt;
    if (entry.version == *version)
        return std::nullopt;  // on its way
    entry = Entry{*version, Status::loading, {}, m_uses};

    const QString cacheFile = m_diskFolder.isEmpty()
        ? QString()
        : QDir(m_diskFolder).filePath(cacheFileName(path, version->modified, version->size, m_pixelSize));
    auto result = std::make_shared<QImage>();
    const QSize pixels = m_pixelSize;
    const Decoder decoder = m_decoder;
    const std::shared_ptr<Counters> counters = m_counters;
    m_queue.run(
        [result, path, cacheFile, pixels, decoder, counters] {
            if (!cacheFile.isEmpty()) {
                QImageReader cached(cacheFile);
                if (const QImage image = cached.read(); image.size() == pixels) {
                    *result = image.convertToFormat(QImage::Format_RGB32);
                    ++counters->diskHits;
                    return;
                }
            }
            ++counters->decodes;
            if (onMainThread())
                ++counters->onMainThread;
            *result = cropToFill(decoder(path, pixels), pixels);
            if (result->isNull() || cacheFile.isEmpty())
                return;
            // Written whole or not at all: a reader never sees half a preview.
            QDir().mkpath(QFileInfo(cacheFile).absolutePath());
            QSaveFile out(cacheFile);
            if (out.open(QIODevice::WriteOnly) && result->save(&out, "PNG"))
                out.commit();
        },
        [this, alive = std::weak_ptr<bool>(m_alive), result, path, version = *version] {
            if (!alive.lock())
                return;
            const auto it = m_entries.find(path);
            if (it == m_entries.end() || it->version != version)
                return;  // the file changed meanwhile; its newer version is on its way
            if (result->isNull()) {
                qCInfo(lcWallpapers).noquote() << "no preview of" << path << "(the picture does not decode)";
                it->status = Status::failed;
            } else {
                it->status = Status::ready;
                it->image = *result;
            }
            emit ready(path);
        });
    return std::nullopt;
}

}  // namespace tamsinvale
