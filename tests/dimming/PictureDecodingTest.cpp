// Wallpaper decoding: HEIC through libheif at the screen's size, broken files, and decoding off the main thread
// with the overlays keeping their picture until the new one is ready (virtual time, a simulated picture queue).
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <libheif/heif.h>

#include "../TestSupport.h"
#include "DimmingTestSupport.h"
#include "dimming/OverlayImageLoader.h"
#include "dimming/PictureDecoder.h"
#include "platform/fake/FakeSerialQueue.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

QString writePng(const QTemporaryDir& dir, const QString& name, QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    // A second colour in the right half, to see that the picture is not mirrored or cropped wrongly.
    for (int y = 0; y < size.height(); ++y)
        for (int x = size.width() / 2; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(240, 240, 240));
    const QString path = dir.filePath(name);
    image.save(path, "PNG");
    return path;
}

// A HEIC file made by libheif's own encoder from a PNG; empty when heif-enc is not installed.
QString writeHeic(const QTemporaryDir& dir, const QString& name, QSize size, QColor colour)
{
    const QString encoder = QStandardPaths::findExecutable(QStringLiteral("heif-enc"));
    if (encoder.isEmpty())
        return {};
    const QString png = writePng(dir, name + QStringLiteral(".png"), size, colour);
    const QString heic = dir.filePath(name);
    QProcess process;
    process.start(encoder, {QStringLiteral("-q"), QStringLiteral("90"), QStringLiteral("-o"), heic, png});
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        return {};
    return heic;
}

bool near(QRgb a, QColor b, int tolerance = 24)
{
    return std::abs(qRed(a) - b.red()) <= tolerance && std::abs(qGreen(a) - b.green()) <= tolerance
        && std::abs(qBlue(a) - b.blue()) <= tolerance;
}

QRgb leftQuarter(const OverlayPanel* panel)
{
    const auto& picture = static_cast<const FakeOverlayPanel*>(panel)->appearance().picture;
    return picture ? picture->pixel(picture->width() / 4, picture->height() / 2) : QRgb(0);
}

}  // namespace

TEST(PictureDecoder, heicDecodesThroughLibheifDownsampledToCoverTheScreen)
{
    QTemporaryDir dir;
    const QString heic = writeHeic(dir, "dunes.heic", QSize(1200, 800), QColor(200, 120, 40));
    ASSERT_FALSE(heic.isEmpty()) << "heif-enc (libheif-examples) is needed to make the test picture";
    EXPECT_TRUE(PictureDecoder::isHeif(heic));
    EXPECT_FALSE(PictureDecoder::isHeif(dir.filePath("dunes.heic.png")));

    // 400 × 200 target: the width rules (1200 → 400), the height follows the picture's aspect. The planes are
    // reduced as they come from the decoder, without a second decode through libheif's own conversion.
    LogCapture log("tamsinvale.wallpapers");
    const DecodedPicture small = PictureDecoder::decode(heic, QSize(400, 200));
    EXPECT_FALSE(log.has(QStringLiteral("again"))) << log.dump().toStdString();
    ASSERT_TRUE(small.ok()) << small.error.toStdString();
    EXPECT_EQ(small.image.size(), QSize(400, 267));
    EXPECT_FALSE(small.fullResolution);
    EXPECT_EQ(small.image.format(), QImage::Format_RGB32) << "ready to draw without another conversion";
    EXPECT_TRUE(near(small.image.pixel(100, 133), QColor(200, 120, 40))) << std::hex << small.image.pixel(100, 133);
    EXPECT_TRUE(near(small.image.pixel(300, 133), QColor(240, 240, 240)));

    // A screen larger than the picture: the picture as it is, never enlarged.
    const DecodedPicture full = PictureDecoder::decode(heic, QSize(2560, 1440));
    ASSERT_TRUE(full.ok());
    EXPECT_EQ(full.image.size(), QSize(1200, 800));
    EXPECT_TRUE(full.fullResolution);

    // Other formats take the same rule.
    const DecodedPicture png = PictureDecoder::decode(dir.filePath("dunes.heic.png"), QSize(300, 300));
    ASSERT_TRUE(png.ok());
    EXPECT_EQ(png.image.size(), QSize(450, 300));
    EXPECT_EQ(PictureDecoder::coveringSize(QSize(6016, 6016), QSize(1920, 1080)), QSize(1920, 1920));
}

TEST(PictureDecoder, aBrokenHeicIsLoggedAndLeavesThePlainBackground)
{
    QTemporaryDir dir;
    const QString heic = writeHeic(dir, "good.heic", QSize(256, 256), Qt::darkBlue);
    ASSERT_FALSE(heic.isEmpty());
    QFile good(heic);
    ASSERT_TRUE(good.open(QIODevice::ReadOnly));
    const QByteArray bytes = good.readAll();
    // The container's header intact, the rest cut off; and the header followed by noise.
    const QString truncated = dir.filePath("truncated.heic");
    const QString noisy = dir.filePath("noisy.heic");
    for (const auto& [path, content] : {std::pair{truncated, bytes.left(bytes.size() / 3)},
                                        std::pair{noisy, bytes.left(32) + QByteArray(4096, '\x5a')}}) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    for (const QString& path : {truncated, noisy}) {
        const DecodedPicture broken = PictureDecoder::decode(path, QSize(100, 100));
        EXPECT_FALSE(broken.ok()) << path.toStdString();
        EXPECT_FALSE(broken.error.isEmpty());
    }

    // On the overlays: a clear line in the log once, then black without darkening; the decode is not retried on
    // every activation, only when the file changes.
    DimmingDesktop d;
    FakeSerialQueue queue(d.desktop.scheduler, 0.2);
    d.desktop.bookmarks.addFile(truncated);
    d.settings.set(&Settings::focusDimBackgroundImageBookmark,
                   std::optional<QByteArray>(d.desktop.bookmarks.create(truncated)));
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    LogCapture log("tamsinvale.wallpapers");
    d.dimmer = std::make_unique<FocusDimmer>(d.desktop.platform(), d.settings, d.media);
    d.dimmer->imageLoader().setDecodeQueue(&queue);
    d.dimmer->refresh();
    d.desktop.scheduler.advance(1);
    const auto* panel = static_cast<const FakeOverlayPanel*>(d.overlay(DimmingDesktop::left));
    EXPECT_FALSE(panel->appearance().picture);
    EXPECT_EQ(panel->appearance().darkening, 0);
    EXPECT_EQ(log.lines().filter(QStringLiteral("cannot show picture")).size(), 1) << log.dump().toStdString();
    EXPECT_TRUE(log.has(truncated));
    const int jobs = queue.jobsRun();
    for (int i = 0; i < 5; ++i)
        d.dimmer->applyAppearance();
    d.desktop.scheduler.advance(1);
    EXPECT_EQ(queue.jobsRun(), jobs);
    EXPECT_EQ(log.lines().filter(QStringLiteral("cannot show picture")).size(), 1);
}

TEST(OverlayPictures, decodingRunsOffTheMainThreadAndTheOverlayKeepsItsPictureMeanwhile)
{
    QTemporaryDir dir;
    DimmingDesktop d;
    FakeSerialQueue queue(d.desktop.scheduler, 0.5);
    QStringList paths;
    const QList<QColor> colours{Qt::red, Qt::blue, Qt::darkGreen, Qt::magenta, Qt::darkYellow};
    for (int i = 0; i < colours.size(); ++i) {
        paths << writePng(dir, QStringLiteral("p%1.png").arg(i), QSize(800, 600), colours[i]);
        d.desktop.bookmarks.addFile(paths.last());
    }
    auto setPicture = [&](int i) {
        d.settings.set(&Settings::focusDimBackgroundImageBookmark,
                       std::optional<QByteArray>(d.desktop.bookmarks.create(paths[i])));
        d.dimmer->applyAppearance();
    };
    d.settings.set(&Settings::focusDimWallpaperDarkening, 0.25);
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.dimmer = std::make_unique<FocusDimmer>(d.desktop.platform(), d.settings, d.media);
    d.dimmer->imageLoader().setDecodeQueue(&queue);
    d.dimmer->refresh();
    const OverlayPanel* left = d.overlay(DimmingDesktop::left);
    ASSERT_TRUE(left);

    // First picture: black (no darkening) until it is decoded, then the picture.
    setPicture(0);
    EXPECT_EQ(leftQuarter(left), QRgb(0));
    EXPECT_EQ(static_cast<const FakeOverlayPanel*>(left)->appearance().darkening, 0);
    EXPECT_TRUE(d.dimmer->imageLoader().decoding());
    d.desktop.scheduler.advance(0.5);
    EXPECT_TRUE(near(leftQuarter(left), Qt::red));
    EXPECT_EQ(static_cast<const FakeOverlayPanel*>(left)->appearance().darkening, 0.25);

    // A change keeps the old picture on screen until the new one is ready.
    setPicture(1);
    d.desktop.scheduler.advance(0.4);
    EXPECT_TRUE(near(leftQuarter(left), Qt::red));
    d.desktop.scheduler.advance(0.1);
    EXPECT_TRUE(near(leftQuarter(left), Qt::blue));

    // Changes faster than decoding: pictures skipped over are never decoded, the last one shows.
    const int decodes = d.dimmer->imageLoader().decodeCount();
    setPicture(2);
    setPicture(3);
    setPicture(4);
    d.desktop.scheduler.advance(5);
    EXPECT_TRUE(near(leftQuarter(left), Qt::darkYellow));
    EXPECT_EQ(d.dimmer->imageLoader().decodeCount(), decodes + 2) << "the one under way and the last one";
    EXPECT_FALSE(d.dimmer->imageLoader().decoding());

    // Back to a picture still in the cache: at once, without a decode.
    setPicture(1);
    EXPECT_TRUE(near(leftQuarter(left), Qt::blue));

    // The cache of decoded pictures stays bounded however many pictures come by.
    for (int round = 0; round < 4; ++round)
        for (int i = 0; i < colours.size(); ++i) {
            setPicture(i);
            d.desktop.scheduler.advance(1);
        }
    EXPECT_LE(d.settings.decodedWallpaperPaths().size(), OverlayImageLoader::defaultMaxPictures);

    // A dimmer that goes away with a decode under way is not called back.
    setPicture(0);
    d.settings.update([&](Settings& s) {
        s.focusDimBackgroundImageBookmark = d.desktop.bookmarks.create(writePng(dir, "late.png", QSize(64, 64), Qt::cyan));
    });
    d.desktop.bookmarks.addFile(dir.filePath("late.png"));
    d.dimmer->applyAppearance();
    EXPECT_TRUE(d.dimmer->imageLoader().decoding());
    d.dimmer.reset();
    d.desktop.scheduler.advance(2);
}

// HEVC is decoded by our libavcodec plugin ahead of libheif's own: it must read every sample layout heif-enc
// writes (4:2:0, 4:4:4, 10 bits) into the same colours, with gradients to catch a shifted or halved plane.
TEST(PictureDecoder, hevcInEverySampleLayoutDecodesThroughLibavcodecToTheSourceColours)
{
    const QString encoder = QStandardPaths::findExecutable(QStringLiteral("heif-enc"));
    ASSERT_FALSE(encoder.isEmpty()) << "heif-enc (libheif-examples) is needed to make the test pictures";
    QTemporaryDir dir;
    const QSize size(320, 240);
    QImage source(size, QImage::Format_RGBX64);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            source.setPixelColor(x, y, QColor(x * 255 / size.width(), y * 255 / size.height(), 128));
    const QString png16 = dir.filePath(QStringLiteral("ramp16.png"));
    const QString png8 = dir.filePath(QStringLiteral("ramp8.png"));
    ASSERT_TRUE(source.save(png16, "PNG"));
    ASSERT_TRUE(source.convertToFormat(QImage::Format_RGB32).save(png8, "PNG"));

    struct Layout {
        const char* name;
        QStringList arguments;
    };
    const Layout layouts[] = {
        {"4:2:0 8 bits", {QStringLiteral("-q"), QStringLiteral("95"), png8}},
        {"4:4:4 8 bits", {QStringLiteral("-q"), QStringLiteral("95"), QStringLiteral("-p"), QStringLiteral("chroma=444"), png8}},
        {"4:2:0 10 bits", {QStringLiteral("-q"), QStringLiteral("95"), QStringLiteral("-b"), QStringLiteral("10"), png16}},
    };
    for (const Layout& layout : layouts) {
        const QString heic = dir.filePath(QString::fromUtf8(layout.name).remove(QLatin1Char(' ')) + ".heic");
        QProcess process;
        process.start(encoder, QStringList{QStringLiteral("-o"), heic} + layout.arguments);
        ASSERT_TRUE(process.waitForFinished(60000) && process.exitCode() == 0)
            << layout.name << ": " << process.readAllStandardError().toStdString();
        const DecodedPicture decoded = PictureDecoder::decode(heic, QSize(640, 480));
        ASSERT_TRUE(decoded.ok()) << layout.name << ": " << decoded.error.toStdString();
        ASSERT_EQ(decoded.image.size(), size) << layout.name;
        for (const QPoint at : {QPoint(10, 10), QPoint(300, 20), QPoint(160, 120), QPoint(30, 230), QPoint(310, 230)})
            EXPECT_TRUE(near(decoded.image.pixel(at), source.pixelColor(at), 12))
                << layout.name << " at " << at.x() << "," << at.y() << ": " << std::hex << decoded.image.pixel(at);
    }

    heif_init(nullptr);
    const heif_decoder_descriptor* first = nullptr;
    ASSERT_GE(heif_get_decoder_descriptors(heif_compression_HEVC, &first, 1), 1);
    EXPECT_STREQ(heif_decoder_descriptor_get_name(first), "libavcodec HEVC");
    heif_deinit();
}
