// What the overlays and menu bar strips show and where: menu bar heights, the picture chain, the image cache,
// frame correction, and the strips' rebuild-or-recolour rule.
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "DimmingTestSupport.h"
#include "dimming/DimmingServices.h"
#include "dimming/MenuBarDimmer.h"
#include "dimming/MenuBarGeometry.h"
#include "dimming/OverlayImageLoader.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {
QString writePicture(const QTemporaryDir& dir, const QString& name, QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    const QString path = dir.filePath(name);
    image.save(path, "PNG");
    return path;
}

QRgb centreColour(const OverlayPanel* panel)
{
    const auto* fake = static_cast<const FakeOverlayPanel*>(panel);
    if (!fake->appearance().picture)
        return 0;
    const QImage& p = *fake->appearance().picture;
    return p.pixel(p.width() / 2, p.height() / 2);
}
}  // namespace

TEST(OverlayAppearance, menuBarHeightTakesOnlyAPlausibleStripAlongTheScreensTopEdge)
{
    DimmingDesktop d;
    const QList<ScreenInfo> screens = d.desktop.screens.screens();
    const ScreenInfo& left = screens[0];
    const ScreenInfo& right = screens[1];
    auto height = [&](const ScreenInfo& s) {
        return MenuBarGeometry::menuBarHeight(s, screens, d.desktop.server.onScreenWindows());
    };
    d.window(10, DimmingDesktop::onLeft());
    EXPECT_EQ(height(left), 0) << "hidden menu bar: the overlay covers the whole screen";

    d.menuBar(QRectF(0, 0, 1512, 9));
    d.menuBar(QRectF(0, 0, 1512, 81));
    EXPECT_EQ(height(left), 0) << "9 and 81 points are not menu bars";
    d.menuBar(QRectF(0, 0, 1512, 25));
    d.menuBar(QRectF(1512, -98, 1920, 30));  // the right display's top edge in window-server coordinates
    EXPECT_EQ(height(left), 25);
    EXPECT_EQ(height(right), 30);

    // Unreadable list: the larger of the safe-area inset and the strip above the visible frame.
    EXPECT_EQ(MenuBarGeometry::menuBarHeight(left, screens, std::nullopt), 25);
    ScreenInfo notched = left;
    notched.topSafeAreaInset = 32;
    EXPECT_EQ(MenuBarGeometry::menuBarHeight(notched, screens, std::nullopt), 32);

    // Overlays leave the strip free at the top and lay the picture out for the full height.
    d.activate(10);
    d.start();
    EXPECT_EQ(d.overlay(DimmingDesktop::left)->frame(), QRectF(0, 0, 1512, 957));
    EXPECT_EQ(d.overlay(DimmingDesktop::right)->frame(), QRectF(1512, 0, 1920, 1050));
    EXPECT_EQ(static_cast<FakeOverlayPanel*>(d.overlay(DimmingDesktop::right))->appearance().topInset, 30);
}

TEST(OverlayAppearance, picturesFallFromThisScreenToAllScreensToTheDefaultToBlack)
{
    QTemporaryDir dir;
    DimmingDesktop d;
    const QString red = writePicture(dir, "red.png", QSize(400, 300), Qt::red);
    const QString green = writePicture(dir, "green.png", QSize(400, 300), Qt::green);
    const QString blue = writePicture(dir, "blue.png", QSize(400, 300), Qt::blue);
    d.desktop.bookmarks.addFile(red);
    d.desktop.bookmarks.addFile(green);
    const ScreenInfo right = d.desktop.screens.screens()[1];
    d.settings.update([&](Settings& s) {
        s.focusDimPerScreenImageBookmarks.insert(right.uuid, d.desktop.bookmarks.create(red));
        s.focusDimBackgroundImageBookmark = d.desktop.bookmarks.create(green);
        s.focusDimWallpaperDarkening = 0.3;
    });
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    auto* rightPanel = static_cast<FakeOverlayPanel*>(d.overlay(DimmingDesktop::right));
    EXPECT_EQ(centreColour(rightPanel), QColor(Qt::red).rgb());
    EXPECT_EQ(centreColour(d.overlay(DimmingDesktop::left)), QColor(Qt::green).rgb());
    EXPECT_EQ(rightPanel->appearance().darkening, 0.3);
    EXPECT_EQ(d.desktop.bookmarks.openAccesses(), 0) << "every access is closed again";

    // The per-screen picture is gone: the one for all screens; that gone too: the system default.
    d.desktop.bookmarks.removeFile(red);
    d.dimmer->applyAppearance();
    EXPECT_EQ(centreColour(rightPanel), QColor(Qt::green).rgb());
    d.desktop.bookmarks.removeFile(green);
    d.dimmer->imageLoader().defaultWallpaperPath = [&] { return std::optional<QString>(blue); };
    d.dimmer->applyAppearance();
    EXPECT_EQ(centreColour(rightPanel), QColor(Qt::blue).rgb());
    // No default picture on this desktop: plain black without darkening.
    d.dimmer->imageLoader().defaultWallpaperPath = nullptr;
    d.dimmer->applyAppearance();
    EXPECT_FALSE(rightPanel->appearance().picture);
    EXPECT_EQ(rightPanel->appearance().darkening, 0);
    EXPECT_EQ(rightPanel->appearance().fill, QColor(Qt::black));

    // Black background wins over any stored picture.
    d.desktop.bookmarks.addFile(red);
    d.settings.set(&Settings::focusDimBlackBackground, true);
    d.dimmer->applyAppearance();
    EXPECT_FALSE(rightPanel->appearance().picture);
}

TEST(OverlayAppearance, loaderDecodesDownsampledToCoverTheScreenAndKeepsABoundedCache)
{
    QTemporaryDir dir;
    FakeDesktop desktop;
    SettingsStore settings(desktop.defaults);
    OverlayImageLoader loader(settings, desktop.bookmarks, 2);
    const QString big = writePicture(dir, "big.png", QSize(2000, 1000), Qt::darkCyan);
    const QString small = writePicture(dir, "small.png", QSize(300, 200), Qt::darkRed);
    const QString third = writePicture(dir, "third.png", QSize(800, 800), Qt::yellow);

    // 500 × 400 target: the height rules (1000 → 400), the width overflows for aspect fill.
    auto image = loader.load(big, QSize(500, 400));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), QSize(800, 400));
    EXPECT_TRUE(settings.decodedWallpaper(big).has_value());
    EXPECT_EQ(loader.load(big, QSize(500, 400))->size(), QSize(800, 400));
    EXPECT_EQ(loader.decodeCount(), 1) << "a second use comes from the cache";
    // A larger screen decodes again; a small picture is never enlarged and stays cached as it is.
    EXPECT_EQ(loader.load(big, QSize(1000, 800))->size(), QSize(1600, 800));
    EXPECT_EQ(loader.load(small, QSize(1000, 800))->size(), QSize(300, 200));
    loader.load(small, QSize(2000, 1600));
    EXPECT_EQ(loader.decodeCount(), 3);

    // Two pictures at most: the least recently used one goes.
    loader.load(third, QSize(100, 100));
    EXPECT_FALSE(settings.decodedWallpaper(big).has_value());
    EXPECT_TRUE(settings.decodedWallpaper(small).has_value());
    EXPECT_TRUE(settings.decodedWallpaper(third).has_value());

    // Unreadable files give nothing and are not cached.
    QFile junk(dir.filePath("junk.png"));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write("not a picture");
    junk.close();
    EXPECT_FALSE(loader.load(junk.fileName(), QSize(100, 100)));
    EXPECT_FALSE(loader.load(dir.filePath("missing.png"), QSize(100, 100)));
    EXPECT_FALSE(settings.decodedWallpaper(junk.fileName()).has_value());
}

TEST(OverlayAppearance, applyAppearanceCorrectsOnlyWrongFramesAndKeepsThePanels)
{
    DimmingDesktop d;
    DimmingLog log;
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    d.start();
    auto* left = static_cast<FakeOverlayPanel*>(d.overlay(DimmingDesktop::left));
    const int appearances = left->appearanceChanges();
    d.dimmer->applyAppearance();
    EXPECT_FALSE(log.has(QStringLiteral("applyAppearance: correcting overlay frame")));
    EXPECT_EQ(left->frameChanges(), 0);
    EXPECT_EQ(left->appearanceChanges(), appearances) << "an unchanged look is not repainted";

    d.menuBar(QRectF(0, 0, 1512, 25));
    d.dimmer->applyAppearance();
    EXPECT_TRUE(log.has(QStringLiteral("applyAppearance: correcting overlay frame on display 1 from ")));
    EXPECT_EQ(left->frame(), QRectF(0, 0, 1512, 957));
    EXPECT_EQ(left->appearance().topInset, 25);
    EXPECT_EQ(left->appearanceChanges(), appearances + 1);
    EXPECT_EQ(d.overlay(DimmingDesktop::left), left);
}

TEST(MenuBarDimmer, stripsFollowMenuBarsRecolourInPlaceAndGoWhenDisabled)
{
    DimmingDesktop d;
    d.menuBar(QRectF(0, 0, 1512, 25));
    MenuBarDimmer dimmer(d.desktop.platform(), d.settings);
    dimmer.apply();
    // Only the left display has a menu bar.
    ASSERT_EQ(dimmer.windows().size(), 1u);
    auto* strip = static_cast<FakeOverlayPanel*>(dimmer.windows()[0].get());
    EXPECT_EQ(strip->frame(), QRectF(0, 957, 1512, 25));
    EXPECT_EQ(strip->level(), WindowLevel::statusAboveStrips);
    EXPECT_TRUE(strip->isVisible());
    EXPECT_EQ(strip->appearance().fill.alpha(), 102);  // 0.4

    // Opacity changes repaint the same strip; 0 keeps it, invisible.
    d.settings.set(&Settings::dimMenuBarOpacity, 0.0);
    dimmer.apply();
    ASSERT_EQ(dimmer.windows().size(), 1u);
    EXPECT_EQ(dimmer.windows()[0].get(), strip);
    EXPECT_EQ(strip->appearance().fill.alpha(), 0);

    // A menu bar appearing on the right display is picked up at the next activation.
    d.menuBar(QRectF(1512, -98, 1920, 25));
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    ASSERT_EQ(dimmer.windows().size(), 2u);
    EXPECT_EQ(dimmer.windows()[1]->frame(), QRectF(1512, 1055, 1920, 25));
    // An activation that changes nothing brings the strips back to the top.
    const WindowNumber over = d.window(20, QRectF(0, 0, 1512, 40), WindowLevel::statusAboveStrips);
    d.activate(10);
    EXPECT_LT(d.desktop.server.stackingOrder().indexOf(dimmer.windows()[0]->windowNumber()),
              d.desktop.server.stackingOrder().indexOf(over));

    d.settings.set(&Settings::dimMenuBarEnabled, false);
    dimmer.apply();
    EXPECT_TRUE(dimmer.windows().empty());
    EXPECT_TRUE(d.desktop.server.panels().isEmpty());
}

TEST(MenuBarDimmer, aFullScreenWindowIsNeverCoveredAndItsScreensStripComesBackAfterwards)
{
    DimmingDesktop d;
    d.menuBar(QRectF(0, 0, 1512, 25));
    d.menuBar(QRectF(1512, -98, 1920, 25));
    const WindowNumber video = d.window(10, DimmingDesktop::onLeft());
    d.window(20, DimmingDesktop::onRight());
    MenuBarDimmer dimmer(d.desktop.platform(), d.settings);
    dimmer.apply();
    ASSERT_EQ(dimmer.windows().size(), 2u);
    OverlayPanel* left = dimmer.windows()[0].get();
    OverlayPanel* right = dimmer.windows()[1].get();
    EXPECT_TRUE(left->isVisible() && right->isVisible());

    // The video goes full screen on the left display and is activated: no strip over it, the right one stays.
    d.desktop.server.window(video)->bounds = QRectF(0, 0, 1512, 982);
    d.desktop.server.raise(video);
    d.activate(10);
    EXPECT_FALSE(left->isVisible());
    EXPECT_TRUE(right->isVisible());
    // Nor on later activations, nor when the settings are applied again.
    d.activate(20);
    d.activate(10);
    dimmer.apply();
    EXPECT_FALSE(left->isVisible());
    EXPECT_EQ(dimmer.windows()[0].get(), left);

    // Another window in front of it on that display: the menu bar shows again, and so does its strip.
    const WindowNumber notes = d.window(30, DimmingDesktop::onLeft(200, 200, 400, 300));
    d.activate(30);
    EXPECT_TRUE(left->isVisible());
    d.desktop.server.raise(video);
    d.activate(10);
    EXPECT_FALSE(left->isVisible());
    d.desktop.server.removeWindow(notes);

    // Leaving full screen announces nothing; the strip is back within one check.
    d.desktop.server.window(video)->bounds = DimmingDesktop::onLeft();
    d.desktop.scheduler.advance(MenuBarDimmer::fullScreenCheckSeconds + 0.01);
    EXPECT_TRUE(left->isVisible());
    EXPECT_LT(d.desktop.server.stackingOrder().indexOf(left->windowNumber()), d.desktop.server.stackingOrder().indexOf(video));
}

TEST(MenuBarDimmer, withoutTranslucencyNoStripIsDrawnAndACompositorArrivingLaterBringsThem)
{
    DimmingDesktop d;
    d.menuBar(QRectF(0, 0, 1512, 25));
    d.desktop.server.setTranslucencyAvailable(false);
    MenuBarDimmer dimmer(d.desktop.platform(), d.settings);
    dimmer.apply();
    // An opaque stand-in would black the menu bar out: nothing at all instead.
    EXPECT_TRUE(dimmer.windows().empty());
    EXPECT_TRUE(d.desktop.server.panels().isEmpty());
    d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    EXPECT_TRUE(d.desktop.server.panels().isEmpty());

    // The compositor starts after us (an autostart race): strips appear, made for translucency.
    d.desktop.server.setTranslucencyAvailable(true);
    ASSERT_EQ(dimmer.windows().size(), 1u);
    auto* strip = static_cast<FakeOverlayPanel*>(dimmer.windows()[0].get());
    EXPECT_TRUE(strip->isVisible());
    EXPECT_TRUE(strip->madeTranslucent());

    // It stops: the strips go again.
    d.desktop.server.setTranslucencyAvailable(false);
    EXPECT_TRUE(dimmer.windows().empty());
    EXPECT_TRUE(d.desktop.server.panels().isEmpty());
}

TEST(MenuBarDimmer, aWindowGoingFullScreenWithoutAnActivationStillMovesTheStripAside)
{
    DimmingDesktop d;
    d.menuBar(QRectF(0, 0, 1512, 25));
    const WindowNumber video = d.window(10, DimmingDesktop::onLeft());
    d.activate(10);
    DimmingServices dimming(d.desktop.platform(), d.settings, std::make_unique<RecordingMedia>());
    dimming.focusDimmer().refresh();
    dimming.menuBarDimmer().apply();
    ASSERT_EQ(dimming.menuBarDimmer().windows().size(), 1u);
    OverlayPanel* strip = dimming.menuBarDimmer().windows()[0].get();
    d.desktop.scheduler.advance(1.0);
    ASSERT_TRUE(strip->isVisible());

    // The player resizes itself to the whole display: only its accessibility notification tells.
    d.desktop.server.window(video)->bounds = QRectF(0, 0, 1512, 982);
    d.desktop.server.postNotification(10, AXNotification::windowResized, AXElement{10, video});
    d.desktop.scheduler.advance(0.1);
    EXPECT_FALSE(strip->isVisible());
}
