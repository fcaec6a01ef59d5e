// Wallpapers on a real X server with the real tamsinvale binary: a HEIC picture set through `tamsinvale settings`
// shows on the dimming overlay, `tamsinvale ctl next-wallpaper` changes it, and a stored last change older than
// the interval changes it at start. Pixels are read back from the server.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstring>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "TamsinvaleInstance.h"
#include "X11TestPaths.h"
#include "XTestSession.h"

#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

QString artifactsDir()
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_WALLPAPER_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

// A landscape: sky, sun and two ranges of hills, in the colours given; encoded to HEIC by libheif's heif-enc.
QString makeHeic(const QTemporaryDir& dir, const QString& name, QColor sky, QColor hills, QSize size = {1920, 1200})
{
    QImage image(size, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient gradient(0, 0, 0, size.height());
    gradient.setColorAt(0, sky.darker(130));
    gradient.setColorAt(0.6, sky.lighter(120));
    gradient.setColorAt(1, sky);
    p.fillRect(image.rect(), gradient);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 236, 190));
    p.drawEllipse(QPointF(size.width() * 0.24, size.height() * 0.3), size.height() * 0.08, size.height() * 0.08);
    for (int range = 0; range < 2; ++range) {
        QPainterPath path;
        const double base = size.height() * (range == 0 ? 0.62 : 0.74);
        path.moveTo(0, size.height());
        path.lineTo(0, base);
        for (int x = 0; x <= size.width(); x += size.width() / 8)
            path.quadTo(x + size.width() / 16.0, base - size.height() * (range == 0 ? 0.12 : 0.07), x + size.width() / 8.0,
                        base + (x % 3) * 4);
        path.lineTo(size.width(), size.height());
        p.setBrush(range == 0 ? hills.lighter(115) : hills);
        p.drawPath(path);
    }
    p.end();
    const QString png = dir.filePath(name + QStringLiteral(".png"));
    image.save(png, "PNG");
    const QString heic = dir.filePath(name + QStringLiteral(".heic"));
    int exitCode = -1;
    runTool({"heif-enc", "-q", "85", "-o", heic, png}, 60s, &exitCode);
    return exitCode == 0 && QFile::exists(heic) ? heic : QString();
}

QString base64Json(const QString& path) { return QStringLiteral("\"%1\"").arg(QString::fromLatin1(path.toUtf8().toBase64())); }

// One pixel of what the screen shows (the root window's contents), as 0xRRGGBB.
std::optional<QRgb> screenPixel(XTestSession& s, QPoint at)
{
    xcb_connection_t* c = s.x().xcb();
    auto* image = xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, s.x().root(), int16_t(at.x()), int16_t(at.y()), 1, 1, ~0u),
        nullptr);
    if (!image)
        return std::nullopt;
    std::uint32_t pixel = 0;
    if (xcb_get_image_data_length(image) >= 4)
        std::memcpy(&pixel, xcb_get_image_data(image), 4);
    std::free(image);
    return pixel & 0xffffff;
}

// The picture's pixel at the same place, darkened as the overlay darkens it (by `darkening`).
QRgb expectedPixel(const QString& png, QSize screen, QPoint at, double darkening)
{
    QImage picture(png);
    // Aspect fill over the whole screen, centred, as the overlay lays it out (no menu bar under Openbox).
    const double scale = std::max(double(screen.width()) / picture.width(), double(screen.height()) / picture.height());
    const QPointF offset((screen.width() - picture.width() * scale) / 2, (screen.height() - picture.height() * scale) / 2);
    const QRgb source = picture.pixel(int((at.x() - offset.x()) / scale), int((at.y() - offset.y()) / scale));
    auto dark = [&](int v) { return int(v * (1 - darkening) + 0.5); };
    return qRgb(dark(qRed(source)), dark(qGreen(source)), dark(qBlue(source)));
}

bool near(std::optional<QRgb> a, QRgb b, int tolerance = 20)
{
    return a && std::abs(qRed(*a) - qRed(b)) <= tolerance && std::abs(qGreen(*a) - qGreen(b)) <= tolerance
        && std::abs(qBlue(*a) - qBlue(b)) <= tolerance;
}

QString hex(std::optional<QRgb> v) { return v ? QString::number(*v & 0xffffff, 16) : QStringLiteral("none"); }

}  // namespace

TEST(WallpaperEndToEnd, aHeicPictureSetFromTheCommandLineShowsBehindTheDimmingAndNextWallpaperChangesIt)
{
    XTestSession& s = XTestSession::get();
    QTemporaryDir pictures;
    const QString dusk = makeHeic(pictures, "dusk", QColor(236, 140, 90), QColor(70, 60, 110));
    const QString lagoon = makeHeic(pictures, "lagoon", QColor(90, 190, 210), QColor(30, 110, 80));
    ASSERT_FALSE(dusk.isEmpty() || lagoon.isEmpty()) << "heif-enc (libheif-examples) is needed";

    TamsinvaleInstance app(s, artifactsDir() + "/heic-background.log");
    // No distribution wallpaper to fall back on: without a picture of our own the overlay is black.
    QTemporaryDir noData;
    app.setEnvironment("XDG_DATA_DIRS", noData.path());
    ASSERT_EQ(app.setting("focusDimWallpaperDarkening", "0.2").exitCode, 0);
    ASSERT_TRUE(app.start());
    // A real application in front, as in the picture a person would see.
    auto xterm = s.application({"xterm", "-geometry", "80x24+1100+200", "-title", "Focused window", "-e", "sh", "-c",
                                "printf 'Only the window you work in stays bright.\\n'; exec sleep 600"});
    ASSERT_TRUE(xterm);
    const auto front = s.clientWindowOf("XTerm");
    ASSERT_TRUE(front);
    ASSERT_TRUE(s.activate(*front));

    // No picture yet: the overlay is plain black wherever the window is not.
    const QPoint sky(300, 150), hills(300, 1000);
    ASSERT_TRUE(s.waitUntil([&] { return screenPixel(s, sky) == QRgb(0); }, 15s)) << hex(screenPixel(s, sky)).toStdString();

    // Set while it runs, through the settings command: the running instance picks the file change up, decodes the
    // HEIC off its main thread and shows it, darkened.
    ASSERT_EQ(runWith(app.environment(), {tamsinvalePath, "settings", "set", "focusDimBackgroundImageBookmark",
                                          base64Json(dusk)})
                  .exitCode,
              0);
    const QRgb duskSky = expectedPixel(pictures.filePath("dusk.png"), s.rootSize(), sky, 0.2);
    const QRgb duskHills = expectedPixel(pictures.filePath("dusk.png"), s.rootSize(), hills, 0.2);
    EXPECT_TRUE(s.waitUntil([&] { return near(screenPixel(s, sky), duskSky); }, 15s))
        << "sky " << hex(screenPixel(s, sky)).toStdString() << " expected " << hex(duskSky).toStdString();
    EXPECT_TRUE(near(screenPixel(s, hills), duskHills))
        << "hills " << hex(screenPixel(s, hills)).toStdString() << " expected " << hex(duskHills).toStdString();
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/heic-behind-dimming.png"}, 20s);

    // A rotation set of both pictures: "next-wallpaper" changes to the other one.
    ASSERT_EQ(runWith(app.environment(), {tamsinvalePath, "settings", "set", "wallpaperRotationBookmarks",
                                          "[" + base64Json(dusk) + "," + base64Json(lagoon) + "]"})
                  .exitCode,
              0);
    const QRgb lagoonSky = expectedPixel(pictures.filePath("lagoon.png"), s.rootSize(), sky, 0.2);
    ToolRun next;
    // The set reaches the running instance through the defaults file; until then there is nothing to change to.
    ASSERT_TRUE(s.waitUntil([&] {
        next = app.ctl("next-wallpaper");
        return next.exitCode == 0;
    }, 10s)) << next.output.toStdString();
    EXPECT_TRUE(s.waitUntil([&] { return near(screenPixel(s, sky), lagoonSky); }, 15s))
        << "sky " << hex(screenPixel(s, sky)).toStdString() << " expected " << hex(lagoonSky).toStdString();
    EXPECT_TRUE(app.log().contains("rotation: changed the wallpaper to " + lagoon)) << app.log().toStdString();
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/heic-after-next-wallpaper.png"}, 20s);

    // And back: never the same picture twice in a row.
    ASSERT_EQ(app.ctl("next-wallpaper").exitCode, 0);
    EXPECT_TRUE(s.waitUntil([&] { return near(screenPixel(s, sky), duskSky); }, 15s));

    // A broken HEIC: logged, and the overlay falls back to plain black rather than anything stale.
    const QString broken = pictures.filePath("broken.heic");
    {
        QFile good(dusk), bad(broken);
        ASSERT_TRUE(good.open(QIODevice::ReadOnly) && bad.open(QIODevice::WriteOnly));
        bad.write(good.read(40) + QByteArray(2048, '\x33'));
    }
    ASSERT_EQ(runWith(app.environment(), {tamsinvalePath, "settings", "set", "focusDimBackgroundImageBookmark",
                                          base64Json(broken)})
                  .exitCode,
              0);
    EXPECT_TRUE(app.waitForLog("cannot show picture " + broken, 15s)) << app.log().toStdString();
    EXPECT_TRUE(s.waitUntil([&] { return screenPixel(s, sky) == QRgb(0); }, 15s)) << hex(screenPixel(s, sky)).toStdString();
    EXPECT_TRUE(app.running());
    EXPECT_TRUE(app.quit());
}

TEST(WallpaperEndToEnd, aLastChangeOlderThanTheIntervalChangesThePictureAtStart)
{
    XTestSession& s = XTestSession::get();
    QTemporaryDir pictures;
    const QString dusk = makeHeic(pictures, "dusk", QColor(236, 140, 90), QColor(70, 60, 110), {640, 400});
    const QString lagoon = makeHeic(pictures, "lagoon", QColor(90, 190, 210), QColor(30, 110, 80), {640, 400});
    ASSERT_FALSE(dusk.isEmpty() || lagoon.isEmpty());

    TamsinvaleInstance app(s, artifactsDir() + "/rotation-at-start.log");
    QTemporaryDir noData;
    app.setEnvironment("XDG_DATA_DIRS", noData.path());
    ASSERT_EQ(app.setting("focusDimBackgroundImageBookmark", base64Json(dusk)).exitCode, 0);
    ASSERT_EQ(app.setting("wallpaperRotationBookmarks", "[" + base64Json(dusk) + "," + base64Json(lagoon) + "]").exitCode, 0);
    ASSERT_EQ(app.setting("wallpaperRotationHours", "1").exitCode, 0);
    // The last change two hours ago, written into the defaults file as the date it is stored as.
    QString config;
    for (const QString& entry : app.environment())
        if (entry.startsWith("XDG_CONFIG_HOME="))
            config = entry.mid(16);
    QFile defaults(config + "/tamsinvale/defaults.plist");
    ASSERT_TRUE(defaults.open(QIODevice::ReadOnly)) << defaults.fileName().toStdString();
    QString text = QString::fromUtf8(defaults.readAll());
    defaults.close();
    const QString twoHoursAgo = QDateTime::currentDateTimeUtc().addSecs(-7200).toString(Qt::ISODate);
    ASSERT_TRUE(text.contains("</dict>"));
    text.replace(text.lastIndexOf("</dict>"), 7,
                 "<key>tamsinvale.settings.wallpaper.rotation.lastChange</key><date>" + twoHoursAgo + "</date></dict>");
    ASSERT_TRUE(defaults.open(QIODevice::WriteOnly | QIODevice::Truncate));
    defaults.write(text.toUtf8());
    defaults.close();

    ASSERT_TRUE(app.start());
    // The rotator starts 1.5 s after launch and finds the change due.
    EXPECT_TRUE(app.waitForLog("rotation: changed the wallpaper to " + lagoon, 15s)) << app.log().toStdString();
    const QPoint sky(300, 150);
    const QRgb lagoonSky = expectedPixel(pictures.filePath("lagoon.png"), s.rootSize(), sky, 0.1);
    EXPECT_TRUE(s.waitUntil([&] { return near(screenPixel(s, sky), lagoonSky); }, 15s))
        << "sky " << hex(screenPixel(s, sky)).toStdString() << " expected " << hex(lagoonSky).toStdString();
    // The new date is stored as a date, in the defaults file.
    EXPECT_TRUE(app.quit());
    ASSERT_TRUE(defaults.open(QIODevice::ReadOnly));
    const QString after = QString::fromUtf8(defaults.readAll());
    const QRegularExpression stored(
        "<key>tamsinvale\\.settings\\.wallpaper\\.rotation\\.lastChange</key>\\s*<date>([^<]+)</date>");
    const auto match = stored.match(after);
    ASSERT_TRUE(match.hasMatch()) << after.toStdString();
    const QDateTime changed = QDateTime::fromString(match.captured(1), Qt::ISODate);
    EXPECT_LE(std::abs(changed.secsTo(QDateTime::currentDateTimeUtc())), 60) << match.captured(1).toStdString();
}
