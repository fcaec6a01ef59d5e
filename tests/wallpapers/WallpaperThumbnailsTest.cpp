// The picker's previews: decoded on the thread pool and never on the calling thread, kept in memory and on disk
// within their limits, decoded again when the file changes, and a picture that does not decode marked failed.
#include <gtest/gtest.h>

#include <QImage>
#include <QImageReader>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>

#include "WallpaperTestSupport.h"
#include "platform/fake/FakeScheduler.h"
#include "switcher/BackgroundQueue.h"
#include "wallpapers/WallpaperThumbnails.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

const QSize previewPixels(160, 100);

QString writePicture(const QString& path, const QColor& color, const QSize& size = QSize(640, 480))
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    image.save(path, "PNG");
    return path;
}

// Waits for the preview of `path` through the real thread pool.
std::optional<QImage> waitForPreview(WallpaperThumbnails& thumbnails, const QString& path)
{
    if (auto image = thumbnails.thumbnail(path))
        return image;
    QSignalSpy ready(&thumbnails, &WallpaperThumbnails::ready);
    while (!thumbnails.hasFailed(path) && !thumbnails.thumbnail(path))
        if (!ready.wait(5000))
            return std::nullopt;
    return thumbnails.thumbnail(path);
}

}  // namespace

TEST(WallpaperThumbnails, decodedOffTheCallingThreadCroppedToSizeAndKeptInMemoryAndOnDisk)
{
    QTemporaryDir tmp;
    const QString picture = writePicture(tmp.filePath("pictures/Dune.png"), QColor(200, 120, 40), QSize(1200, 400));
    const QString cache = tmp.filePath("cache");
    QAtomicPointer<QThread> decodedOn;
    int decoderCalls = 0;
    auto decoder = [&](const QString& path, const QSize& pixels) {
        decodedOn.storeRelaxed(QThread::currentThread());
        ++decoderCalls;
        QImageReader reader(path);
        reader.setScaledSize(reader.size().scaled(pixels, Qt::KeepAspectRatioByExpanding));
        return reader.read();
    };
    ThreadPoolBackgroundQueue pool(2);
    {
        WallpaperThumbnails thumbnails(pool, cache, previewPixels, decoder);
        EXPECT_FALSE(thumbnails.thumbnail(picture)) << "never decoded while the caller waits";
        const auto preview = waitForPreview(thumbnails, picture);
        ASSERT_TRUE(preview);
        EXPECT_EQ(preview->size(), previewPixels);  // a 3:1 picture cropped to 16:10, not squeezed
        EXPECT_EQ(preview->pixelColor(80, 50), QColor(200, 120, 40));
        EXPECT_NE(decodedOn.loadRelaxed(), QThread::currentThread());
        EXPECT_EQ(thumbnails.decodes(), 1);
        EXPECT_EQ(thumbnails.decodesOnMainThread(), 0);

        // Asked again (every repaint of the page asks): from memory, no second decode.
        EXPECT_TRUE(thumbnails.thumbnail(picture));
        EXPECT_EQ(thumbnails.decodes(), 1);
        EXPECT_EQ(decoderCalls, 1);
    }
    // The next run finds it on disk, written whole.
    const QStringList cached = QDir(cache).entryList(QDir::Files);
    ASSERT_EQ(cached.size(), 1);
    EXPECT_TRUE(cached[0].endsWith(".png"));
    WallpaperThumbnails nextRun(pool, cache, previewPixels, decoder);
    ASSERT_TRUE(waitForPreview(nextRun, picture));
    EXPECT_EQ(nextRun.diskHits(), 1);
    EXPECT_EQ(nextRun.decodes(), 0);
    EXPECT_EQ(decoderCalls, 1);
}

TEST(WallpaperThumbnails, aChangedFileIsDecodedAgain)
{
    QTemporaryDir tmp;
    const QString picture = writePicture(tmp.filePath("Lake.png"), Qt::blue);
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    WallpaperThumbnails thumbnails(queue, tmp.filePath("cache"), previewPixels);
    EXPECT_FALSE(thumbnails.thumbnail(picture));
    scheduler.runPending();
    ASSERT_TRUE(thumbnails.thumbnail(picture));
    EXPECT_EQ(thumbnails.thumbnail(picture)->pixelColor(10, 10), QColor(Qt::blue));

    // Replaced by another picture with a later modification time: the old preview is not shown for it.
    writePicture(picture, Qt::green);
    QFile file(picture);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(60), QFileDevice::FileModificationTime));
    file.close();
    EXPECT_FALSE(thumbnails.thumbnail(picture));
    scheduler.runPending();
    ASSERT_TRUE(thumbnails.thumbnail(picture));
    EXPECT_EQ(thumbnails.thumbnail(picture)->pixelColor(10, 10), QColor(Qt::green));
    EXPECT_EQ(thumbnails.decodes(), 2);
    EXPECT_EQ(QDir(tmp.filePath("cache")).entryList(QDir::Files).size(), 2);
}

TEST(WallpaperThumbnails, corruptAndMissingPicturesAreMarkedFailedNotRetriedUntilChanged)
{
    QTemporaryDir tmp;
    const QString heic = tmp.filePath("Broken.heic");
    writeFile(heic, QByteArray("\0\0\0\x18" "ftypheic", 12) + QByteArray(300, 'x'));  // a HEIF header, then junk
    const QString png = tmp.filePath("Broken.png");
    writeFile(png, QByteArray("\x89PNG\r\n\x1a\n", 8) + QByteArray(100, '\0'));
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    WallpaperThumbnails thumbnails(queue, tmp.filePath("cache"), previewPixels);
    const int runsBefore = queue.runs();  // the disk cache's pruning
    QSignalSpy ready(&thumbnails, &WallpaperThumbnails::ready);
    for (const QString& path : {heic, png}) {
        EXPECT_FALSE(thumbnails.thumbnail(path));
        scheduler.runPending();
        EXPECT_TRUE(thumbnails.hasFailed(path)) << path.toStdString();
        EXPECT_FALSE(thumbnails.thumbnail(path));
    }
    EXPECT_EQ(ready.count(), 2);
    EXPECT_EQ(queue.runs(), runsBefore + 2) << "a failure is not decoded again at every ask";
    EXPECT_TRUE(QDir(tmp.filePath("cache")).entryList(QDir::Files).isEmpty());

    EXPECT_FALSE(thumbnails.thumbnail(tmp.filePath("Gone.png")));
    EXPECT_TRUE(thumbnails.hasFailed(tmp.filePath("Gone.png")));
    EXPECT_EQ(queue.runs(), runsBefore + 2);
}

TEST(WallpaperThumbnails, memoryAndDiskStayWithinTheirLimits)
{
    QTemporaryDir tmp;
    const QString cache = tmp.filePath("cache");
    // A disk cache left by earlier runs: ten files of different ages.
    for (int i = 0; i < 10; ++i) {
        const QString file = cache + QStringLiteral("/old%1.png").arg(i);
        writeFile(file);
        QFile f(file);
        ASSERT_TRUE(f.open(QIODevice::ReadWrite));
        f.setFileTime(QDateTime::currentDateTime().addDays(-i), QFileDevice::FileModificationTime);
    }
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    WallpaperThumbnails thumbnails(queue, cache, previewPixels);
    EXPECT_EQ(QDir(cache).entryList(QDir::Files).size(), 10) << "within the default limit";
    thumbnails.pruneDiskCache(8);
    EXPECT_EQ(QDir(cache).entryList(QDir::Files, QDir::Name),
              (QStringList{"old0.png", "old1.png", "old2.png", "old3.png", "old4.png", "old5.png"}))
        << "the newest three quarters of the limit are kept";

    thumbnails.setMemoryLimit(2);
    QStringList pictures;
    for (const char* name : {"A.png", "B.png", "C.png"})
        pictures << writePicture(tmp.filePath(QString::fromUtf8(name)), Qt::red);
    for (const QString& picture : pictures) {
        thumbnails.thumbnail(picture);
        scheduler.runPending();
        ASSERT_TRUE(thumbnails.thumbnail(picture));
    }
    EXPECT_EQ(thumbnails.inMemory(), 2);
    EXPECT_EQ(thumbnails.decodes(), 3);
    // The one dropped first comes back from the disk cache, not from a second decode.
    EXPECT_FALSE(thumbnails.thumbnail(pictures[0]));
    scheduler.runPending();
    EXPECT_TRUE(thumbnails.thumbnail(pictures[0]));
    EXPECT_EQ(thumbnails.decodes(), 3);
    EXPECT_EQ(thumbnails.diskHits(), 1);
    EXPECT_EQ(thumbnails.inMemory(), 2);
}
