// The Wallpapers page on the simulated desktop: pictures grouped by kind with "↓" on those still to download, the
// current picture and the rotation set marked; a click shows a picture at once or downloads it first (and a failed
// download shows nothing); the rotation toggle, the interval and "Next Wallpaper" reach the rotator; the page
// follows changes made elsewhere; a broken catalogue or a vanished file gives a marked tile, not a crash.
#include <gtest/gtest.h>

#include <optional>

#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QImage>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeDownloadSession.h"
#include "platform/fake/FakeSerialQueue.h"
#include "platform/linux/LibarchiveUnpacker.h"
#include "settings/SettingsStore.h"
#include "settingswindow/WallpaperTileGrid.h"
#include "settingswindow/WallpapersPage.h"
#include "settingswindow/WallpapersPageModel.h"
#include "switcher/BackgroundQueue.h"
#include "wallpapers/WallpaperDownloadView.h"
#include "wallpapers/WallpaperRotator.h"
#include "wallpapers/WallpaperServices.h"
#include "wallpapers/WallpaperThumbnails.h"
#include "wallpapers/WallpaperTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

const QUrl bigSurURL("https://cdn.example/assets/big-sur.zip");

// A picture folder as the platform lays it out (solid colours apart), a catalogue offering "Big Sur", our own
// wallpaper folder; the desktop, the stores and the services the page is given.
struct PickerFixture {
    QTemporaryDir tmp;
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    FakeDownloadSession session{desktop.scheduler};
    FakeSerialQueue installs{desktop.scheduler, 0.5};
    LibarchiveUnpacker unpacker;
    WallpaperLocations locations;
    QByteArray archive;
    int appearanceApplied = 0;
    std::unique_ptr<WallpaperServices> services;
    std::unique_ptr<WallpaperRotator> rotator;
    InlineBackgroundQueue previewQueue{desktop.scheduler};
    std::unique_ptr<WallpaperThumbnails> thumbnails;

    explicit PickerFixture(const QByteArray& catalogue = {})
    {
        const QString pictures = tmp.filePath("Desktop Pictures");
        locations.systemPictureFolders = {pictures};
        locations.systemPictureSubfolders = {QStringLiteral("Solid Colors")};
        locations.catalogueFile = tmp.filePath("catalogue.xml");
        locations.listEveryCatalogueAsset = true;
        locations.applicationWallpaperFolder = tmp.filePath("Tamsinvale/Wallpapers");
        locations.assetFolders = {locations.applicationWallpaperFolder};
        for (const char* name : {"Zebra Dunes.png", "Aurora.png", "Ventura Graphic.png", "Solid Colors/Teal.png"})
            picture(pictures + "/" + QString::fromUtf8(name));
        const QString zip = tmp.filePath("big-sur.zip");
        writeZip(zip, pictureArchive("Big Sur.png", pngBytes(Qt::darkBlue)));
        archive = readFile(zip);
        QVariantMap asset{{"DesktopPictureID", "Big Sur"}, {"__BaseURL", "https://cdn.example/assets/"},
                          {"__RelativePath", "big-sur.zip"}, {"_DownloadSize", qint64(archive.size())}};
        writeFile(locations.catalogueFile,
                  catalogue.isNull() ? PlistCodec::toXml({{"Assets", QVariantList{asset}}}) : catalogue);
        QDir().mkpath(tmp.filePath("work"));
        services = std::make_unique<WallpaperServices>(desktop.platform(), settings, locations, plistReader(),
                                                       WallpaperBackends{&session, &installs, &unpacker,
                                                                         tmp.filePath("work")},
                                                       [this] { ++appearanceApplied; });
        rotator = std::make_unique<WallpaperRotator>(desktop.platform(), settings, [this] { ++appearanceApplied; });
        thumbnails = std::make_unique<WallpaperThumbnails>(previewQueue, QString(), QSize(160, 100));
    }

    static QByteArray pngBytes(const QColor& color)
    {
        QImage image(64, 40, QImage::Format_RGB32);
        image.fill(color);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return bytes;
    }

    // A picture file that the bookmarks resolve.
    QString picture(const QString& path)
    {
        writeFile(path, pngBytes(Qt::darkGreen));
        desktop.bookmarks.addFile(path);
        return path;
    }
    QString path(const QString& name) const { return tmp.filePath("Desktop Pictures/" + name); }

    WallpapersPageState state()
    {
        return WallpapersPageModel::state(settings.settings(), services->list().wallpapers(), &services->downloader(),
                                          &desktop.bookmarks);
    }
    std::optional<QString> current() const
    {
        const auto& bookmark = settings.settings().focusDimBackgroundImageBookmark;
        return bookmark ? desktop.bookmarks.resolve(*bookmark) : std::nullopt;
    }

    SettingsWindowContext context()
    {
        SettingsWindowContext c;
        c.platform = desktop.platform();
        c.settings = &settings;
        c.wallpapers = services.get();
        c.rotator = rotator.get();
        c.thumbnails = thumbnails.get();
        return c;
    }
};

QStringList titles(const WallpaperGroup& group)
{
    QStringList out;
    for (const WallpaperTile& tile : group.tiles)
        out << tile.title;
    return out;
}

// A copy, so that a tile read from a state made on the spot outlives it.
std::optional<WallpaperTile> tileNamed(const WallpapersPageState& state, const QString& title)
{
    for (const WallpaperGroup& group : state.groups)
        for (const WallpaperTile& tile : group.tiles)
            if (tile.title == title)
                return tile;
    return std::nullopt;
}

}  // namespace

TEST(WallpapersPageModel, groupedByKindWithDownloadMarksTheCurrentPictureAndTheRotationSet)
{
    PickerFixture f;
    const QString elsewhere = f.picture(f.tmp.filePath("home/Pictures/Holiday.png"));
    f.settings.update([&](Settings& s) {
        s.focusDimBackgroundImageBookmark = f.desktop.bookmarks.create(f.path("Aurora.png"));
        s.wallpaperRotationBookmarks = {f.desktop.bookmarks.create(f.path("Zebra Dunes.png")),
                                        f.desktop.bookmarks.create(f.path("Solid Colors/Teal.png")),
                                        f.desktop.bookmarks.create(elsewhere)};
        s.wallpaperRotationHours = 3;
    });
    const WallpapersPageState state = f.state();
    ASSERT_EQ(state.groups.size(), 4);
    EXPECT_EQ(state.groups[0].title, "Landscapes");
    EXPECT_EQ(titles(state.groups[0]), (QStringList{"Aurora", "Big Sur", "Zebra Dunes"}));
    EXPECT_EQ(state.groups[1].title, "Graphics");
    EXPECT_EQ(titles(state.groups[1]), QStringList{"Ventura Graphic"});
    EXPECT_EQ(state.groups[2].title, "Colors");
    EXPECT_EQ(titles(state.groups[2]), QStringList{"Teal"});
    // A rotation member chosen from elsewhere is on the page too.
    EXPECT_EQ(state.groups[3].title, "Other Pictures");
    EXPECT_EQ(titles(state.groups[3]), QStringList{"Holiday"});
    EXPECT_TRUE(state.groups[3].tiles[0].inRotation);

    // "↓" exactly on the picture that is only in the catalogue; it cannot take turns before it is here.
    for (const WallpaperGroup& group : state.groups)
        for (const WallpaperTile& tile : group.tiles) {
            EXPECT_EQ(tile.downloadable, tile.title == "Big Sur") << tile.title.toStdString();
            EXPECT_EQ(tile.current, tile.title == "Aurora") << tile.title.toStdString();
            EXPECT_EQ(tile.canRotate, tile.title != "Big Sur") << tile.title.toStdString();
            EXPECT_EQ(tile.inRotation, QStringList({"Zebra Dunes", "Teal", "Holiday"}).contains(tile.title));
        }
    EXPECT_FALSE(tileNamed(state, "Big Sur")->thumbnailSource);
    EXPECT_EQ(tileNamed(state, "Aurora")->thumbnailSource, f.path("Aurora.png"));

    EXPECT_EQ(state.intervalLabels,
              (QStringList{"Never", "Every hour", "Every 3 hours", "Twice a day", "Once a day"}));
    EXPECT_EQ(state.intervalIndex, 2);
    EXPECT_TRUE(state.nextEnabled);
    EXPECT_EQ(state.rotationSummary, "3 pictures in the rotation, changing every 3 hours.");

    // A number of hours written by hand is shown as it is, after the five.
    f.settings.set(&Settings::wallpaperRotationHours, qint64(5));
    EXPECT_EQ(f.state().intervalLabels.last(), "Every 5 hours");
    EXPECT_EQ(f.state().intervalIndex, 5);
    // One picture left: nothing to change to.
    f.settings.set(&Settings::wallpaperRotationBookmarks, QList<QByteArray>{f.desktop.bookmarks.create(elsewhere)});
    EXPECT_FALSE(f.state().nextEnabled);
    EXPECT_EQ(f.state().rotationSummary, "1 picture in the rotation: it takes two or more to change.");
}

TEST(WallpapersPageModel, aClickShowsAnInstalledPictureAtOnceAndDownloadsAnotherFirst)
{
    PickerFixture f;
    EXPECT_EQ(WallpapersPageModel::choose(*f.services, "Aurora"), WallpapersPageModel::ChooseOutcome::applied);
    EXPECT_EQ(f.current(), f.path("Aurora.png"));
    EXPECT_EQ(f.appearanceApplied, 1);
    EXPECT_TRUE(tileNamed(f.state(), "Aurora")->current);

    f.session.respond(bigSurURL, {200, f.archive, std::nullopt, 1.0, {0.25, 0.5, 1.0}});
    EXPECT_EQ(WallpapersPageModel::choose(*f.services, "Big Sur"), WallpapersPageModel::ChooseOutcome::downloading);
    ASSERT_TRUE(f.services->panel().panel());
    EXPECT_TRUE(f.services->panel().panel()->isVisible());
    EXPECT_EQ(f.services->panel().view()->title(), "Downloading wallpaper");
    EXPECT_EQ(f.current(), f.path("Aurora.png")) << "nothing changes before the picture is here";
    f.desktop.scheduler.advance(0.6);
    const std::optional<WallpaperTile> downloading = tileNamed(f.state(), "Big Sur");
    ASSERT_TRUE(downloading->progress);
    EXPECT_DOUBLE_EQ(*downloading->progress, 0.5);
    EXPECT_EQ(downloading->status, "Downloading… 50 %");
    // A second click while it runs starts nothing more.
    WallpapersPageModel::choose(*f.services, "Big Sur");
    EXPECT_EQ(f.session.requests().size(), 1);

    f.desktop.scheduler.advance(2);
    const QString installed = f.locations.applicationWallpaperFolder + "/Big Sur.png";
    f.desktop.bookmarks.addFile(installed);
    EXPECT_EQ(f.current(), installed);
    EXPECT_EQ(f.appearanceApplied, 2);
    EXPECT_FALSE(f.services->panel().panel()->isVisible());
    const std::optional<WallpaperTile> bigSur = tileNamed(f.state(), "Big Sur");
    EXPECT_FALSE(bigSur->downloadable);
    EXPECT_FALSE(bigSur->progress);
    EXPECT_TRUE(bigSur->current);
    EXPECT_TRUE(bigSur->canRotate);
    EXPECT_FALSE(tileNamed(f.state(), "Aurora")->current);

    // Choosing an installed picture while another waits for its download drops the waiting one.
    f.services->downloader().setPendingSelection(PendingSelection{"Big Sur", std::nullopt});
    WallpapersPageModel::choose(*f.services, "Teal");
    EXPECT_FALSE(f.services->downloader().pendingSelection());
    EXPECT_EQ(WallpapersPageModel::choose(*f.services, "No Such Picture"),
              WallpapersPageModel::ChooseOutcome::unavailable);
}

TEST(WallpapersPageModel, aFailedDownloadIsMarkedAndShowsNothing)
{
    PickerFixture f;
    WallpapersPageModel::choose(*f.services, "Aurora");
    f.session.respond(bigSurURL, {404, {}, std::nullopt, 1.0, {}});
    WallpapersPageModel::choose(*f.services, "Big Sur");
    f.desktop.scheduler.advance(2);
    const std::optional<WallpaperTile> bigSur = tileNamed(f.state(), "Big Sur");
    EXPECT_TRUE(bigSur->failed);
    EXPECT_TRUE(bigSur->downloadable);
    EXPECT_EQ(bigSur->status, "Couldn't download wallpaper");
    EXPECT_EQ(f.current(), f.path("Aurora.png"));
    EXPECT_EQ(f.appearanceApplied, 1);
    EXPECT_EQ(f.services->panel().view()->title(), "Couldn't download wallpaper");
    EXPECT_EQ(f.services->panel().view()->caption(), "Tamsinvale will try again next time it starts.");

    // Clicked again, it is tried again.
    f.session.respond(bigSurURL, {200, f.archive, std::nullopt, 1.0, {}});
    EXPECT_EQ(WallpapersPageModel::choose(*f.services, "Big Sur"), WallpapersPageModel::ChooseOutcome::downloading);
    EXPECT_FALSE(tileNamed(f.state(), "Big Sur")->failed);
    f.desktop.scheduler.advance(2);
    const QString installed = f.locations.applicationWallpaperFolder + "/Big Sur.png";
    f.desktop.bookmarks.addFile(installed);
    EXPECT_EQ(f.current(), installed);
}

TEST(WallpapersPageModel, rotationToggleAndIntervalWriteTheSettings)
{
    PickerFixture f;
    f.desktop.scheduler.setWallClock(QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC));
    WallpapersPageModel::setInRotation(*f.rotator, f.path("Aurora.png"), true);
    WallpapersPageModel::setInRotation(*f.rotator, f.path("Ventura Graphic.png"), true);
    WallpapersPageModel::setInRotation(*f.rotator, f.path("Aurora.png"), true);  // already there
    EXPECT_EQ(f.settings.settings().wallpaperRotationBookmarks,
              (QList<QByteArray>{f.desktop.bookmarks.create(f.path("Aurora.png")),
                                 f.desktop.bookmarks.create(f.path("Ventura Graphic.png"))}));
    WallpapersPageModel::setInRotation(*f.rotator, f.path("Aurora.png"), false);
    EXPECT_EQ(f.settings.settings().wallpaperRotationBookmarks,
              QList<QByteArray>{f.desktop.bookmarks.create(f.path("Ventura Graphic.png"))});

    WallpapersPageState state = f.state();
    WallpapersPageModel::setIntervalIndex(*f.rotator, state, 3);
    EXPECT_EQ(f.settings.settings().wallpaperRotationHours, 12);
    EXPECT_EQ(f.rotator->lastChange(), f.desktop.scheduler.currentDateTime());
    EXPECT_EQ(f.state().intervalIndex, 3);
    WallpapersPageModel::setIntervalIndex(*f.rotator, state, 9);  // out of range: nothing
    EXPECT_EQ(f.settings.settings().wallpaperRotationHours, 12);
    WallpapersPageModel::setIntervalIndex(*f.rotator, state, 0);
    EXPECT_EQ(f.desktop.defaults.value("tamsinvale.settings.wallpaper.rotation.hours").value_or(QVariant()).toInt(), 0);
}

TEST(WallpapersPageModel, brokenCatalogueAndVanishedFilesGiveMarkedTilesNotACrash)
{
    PickerFixture f(QByteArray("<?xml version=\"1.0\"?><plist><dict><key>Assets</key><string>nope"));
    const QString gone = f.picture(f.tmp.filePath("home/Pictures/Gone.png"));
    f.settings.update([&](Settings& s) {
        s.focusDimBackgroundImageBookmark = f.desktop.bookmarks.create(gone);
        s.wallpaperRotationBookmarks = {f.desktop.bookmarks.create(gone), QByteArray("not a bookmark")};
    });
    QFile::remove(gone);
    QFile::remove(f.path("Zebra Dunes.png"));  // after the list was built
    f.services->list().wallpapers();
    const WallpapersPageState state = f.state();
    ASSERT_EQ(state.groups.size(), 4);
    EXPECT_EQ(titles(state.groups[0]), (QStringList{"Aurora"})) << "only the pictures on disk without a catalogue";

    PickerFixture stale;
    stale.services->list().wallpapers();
    QFile::remove(stale.path("Zebra Dunes.png"));
    const std::optional<WallpaperTile> zebra = tileNamed(stale.state(), "Zebra Dunes");
    ASSERT_TRUE(zebra);
    EXPECT_TRUE(zebra->missing);
    EXPECT_EQ(zebra->status, "Picture not found");
    EXPECT_FALSE(zebra->canRotate);
    EXPECT_EQ(WallpapersPageModel::choose(*stale.services, "Zebra Dunes"),
              WallpapersPageModel::ChooseOutcome::unavailable);

    const std::optional<WallpaperTile> goneTile = tileNamed(state, "Gone");
    ASSERT_TRUE(goneTile);
    EXPECT_TRUE(goneTile->missing);
    EXPECT_TRUE(goneTile->current);
    EXPECT_EQ(goneTile->status, "Picture not found");
    EXPECT_EQ(state.rotationCount, 1);
}

TEST(WallpapersPage, clicksTogglesAndTheIntervalReachTheServicesAndOutsideChangesShowUp)
{
    PickerFixture f;
    f.settings.set(&Settings::focusDimBackgroundImageBookmark,
                   std::optional<QByteArray>(f.desktop.bookmarks.create(f.path("Aurora.png"))));
    const SettingsWindowContext context = f.context();
    WallpapersPage page(context);
    page.resize(700, 900);
    page.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&page));
    EXPECT_EQ(page.groupTitles(), (QStringList{"Landscapes", "Graphics", "Colors"}));
    QList<WallpaperTileWidget*> tiles = page.tiles();
    ASSERT_EQ(tiles.size(), 5);
    auto tile = [&](const QString& title) -> WallpaperTileWidget* {
        for (WallpaperTileWidget* t : page.tiles())
            if (t->tile().title == title)
                return t;
        return nullptr;
    };
    // Previews are asked for as tiles are painted and arrive through the queue.
    QApplication::processEvents();
    f.desktop.scheduler.runPending();
    QApplication::processEvents();
    EXPECT_GE(f.previewQueue.runs(), 4);
    EXPECT_TRUE(tile("Aurora")->hasPreview());
    EXPECT_FALSE(tile("Big Sur")->hasPreview());

    QTest::mouseClick(tile("Teal"), Qt::LeftButton, {}, QPoint(80, 50));
    EXPECT_EQ(f.current(), f.path("Solid Colors/Teal.png"));
    EXPECT_TRUE(tile("Teal")->tile().current);
    EXPECT_FALSE(tile("Aurora")->tile().current);

    EXPECT_FALSE(tile("Big Sur")->rotate()->isEnabled());
    tile("Aurora")->rotate()->click();
    tile("Teal")->rotate()->click();
    EXPECT_EQ(f.rotator->urls(), (QStringList{f.path("Aurora.png"), f.path("Solid Colors/Teal.png")}));
    EXPECT_TRUE(page.nextWallpaper()->isEnabled());
    EXPECT_EQ(page.nextWallpaper()->text(), "Next Wallpaper");
    page.nextWallpaper()->click();
    EXPECT_EQ(f.current(), f.path("Aurora.png")) << "the only other picture of the set";
    EXPECT_TRUE(tile("Aurora")->tile().current);

    ASSERT_EQ(page.interval()->count(), 5);
    EXPECT_EQ(page.interval()->itemText(4), "Once a day");
    page.interval()->setCurrentIndex(4);
    emit page.interval()->activated(4);
    EXPECT_EQ(f.settings.settings().wallpaperRotationHours, 24);

    // Changes made elsewhere (the command line writes the same settings).
    f.settings.set(&Settings::wallpaperRotationHours, qint64(1));
    EXPECT_EQ(page.interval()->currentText(), "Every hour");
    f.settings.set(&Settings::focusDimBackgroundImageBookmark,
                   std::optional<QByteArray>(f.desktop.bookmarks.create(f.path("Ventura Graphic.png"))));
    EXPECT_TRUE(tile("Ventura Graphic")->tile().current);
    f.settings.set(&Settings::wallpaperRotationBookmarks, QList<QByteArray>{});
    EXPECT_FALSE(tile("Aurora")->rotate()->isChecked());
    EXPECT_FALSE(page.nextWallpaper()->isEnabled());

    // A download started elsewhere shows its progress on the tile and its end.
    f.session.respond(bigSurURL, {200, f.archive, std::nullopt, 1.0, {0.5, 1.0}});
    f.services->downloader().download(*f.services->list().find("Big Sur"));
    f.desktop.scheduler.advance(0.6);
    EXPECT_EQ(tile("Big Sur")->tile().progress, 0.5);
    f.desktop.scheduler.advance(2);
    EXPECT_FALSE(tile("Big Sur")->tile().downloadable);
    EXPECT_TRUE(tile("Big Sur")->rotate()->isEnabled());
}
