// The catalogue reader on real and made-up catalogues, and the list builder over made-up folder trees.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <cstdlib>
#include <plist/plist.h>

#include "TestSupport.h"
#include "WallpaperTestSupport.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

QByteArray toBinaryPlist(const QByteArray& xml)
{
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char* bin = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bin, &length);
    QByteArray out(bin, qsizetype(length));
    free(bin);  // allocated by libplist with malloc
    plist_free(root);
    return out;
}

QVariantMap asset(const QString& id, const QString& base, const QString& relative)
{
    QVariantMap a{{QStringLiteral("__BaseURL"), base}, {QStringLiteral("__RelativePath"), relative},
                  {QStringLiteral("_MeasurementAlgorithm"), QStringLiteral("SHA-1")},
                  {QStringLiteral("_Measurement"), QByteArray::fromHex("00112233445566778899aabbccddeeff00112233")},
                  {QStringLiteral("_DownloadSize"), qint64(1234)}};
    if (!id.isNull())
        a.insert(QStringLiteral("DesktopPictureID"), id);
    return a;
}

QByteArray catalogueOf(const QVariantList& assets)
{
    return PlistCodec::toXml({{QStringLiteral("Assets"), assets}});
}

const SystemWallpaper* find(const QList<SystemWallpaper>& list, const QString& id)
{
    for (const SystemWallpaper& w : list)
        if (w.id == id)
            return &w;
    return nullptr;
}

QStringList ids(const QList<SystemWallpaper>& list)
{
    QStringList out;
    for (const SystemWallpaper& w : list)
        out << w.id;
    return out;
}

}  // namespace

TEST(WallpaperCatalog, realCatalogueYieldsEveryHttpsAssetWithItsChecksumAndSize)
{
    const QString path = sharedTestData(
        QStringLiteral("desktop-picture-catalogue/tech-otaku_com_apple_MobileAsset_DesktopPicture.xml"));
    if (!QFileInfo::exists(path))
        GTEST_SKIP() << "no shared test data here";
    const QByteArray xml = readFile(path);
    for (const QByteArray& bytes : {xml, toBinaryPlist(xml)}) {
        const WallpaperLibrary::Catalog catalog = WallpaperLibrary::parseCatalog(bytes, plistReader());
        ASSERT_EQ(catalog.size(), 41);
        for (auto it = catalog.cbegin(); it != catalog.cend(); ++it) {
            EXPECT_EQ(it->url.scheme(), QStringLiteral("https")) << qPrintable(it.key());
            ASSERT_TRUE(it->sha1.has_value()) << qPrintable(it.key());
            EXPECT_EQ(it->sha1->size(), 40);
            EXPECT_EQ(*it->sha1, it->sha1->toLower());
            EXPECT_GT(it->size, 0);
        }
        const SystemWallpaper::Remote bigSur = catalog.value(QStringLiteral("Big Sur"));
        EXPECT_EQ(bigSur.url.toString(),
                  QStringLiteral("https://updates.cdn-apple.com/2022/mobileassets/071-94709/"
                                 "78F78503-951B-4326-8D17-1DD080D276B6/com_apple_MobileAsset_DesktopPicture/"
                                 "b261c85a4ec6ed6352e07efd33cbcba68b5c724d.zip"));
        EXPECT_EQ(bigSur.sha1, QString::fromLatin1(QByteArray::fromBase64("n4i95vo265gsIMkExkxr6/u2xrA=").toHex()));
        EXPECT_EQ(bigSur.size, 138805013);
    }
}

TEST(WallpaperCatalog, realCatalogueWithHttpAddressesYieldsNothing)
{
    const QString path = sharedTestData(
        QStringLiteral("desktop-picture-catalogue/tech-otaku_com_apple_MobileAsset_DesktopPicture.2022-07.xml"));
    if (!QFileInfo::exists(path))
        GTEST_SKIP() << "no shared test data here";
    EXPECT_TRUE(WallpaperLibrary::parseCatalog(readFile(path), plistReader()).isEmpty());
}

TEST(WallpaperCatalog, entryRules)
{
    QVariantMap md5 = asset(QStringLiteral("Md5"), QStringLiteral("https://cdn.example/a"), QStringLiteral("b.zip"));
    md5.insert(QStringLiteral("_MeasurementAlgorithm"), QStringLiteral("MD5"));
    QVariantMap noSize = asset(QStringLiteral("NoSize"), QStringLiteral("https://cdn.example/"), QStringLiteral("c.zip"));
    noSize.remove(QStringLiteral("_DownloadSize"));
    const QByteArray bytes = catalogueOf({
        asset(QStringLiteral("Plain"), QStringLiteral("https://cdn.example/base/"), QStringLiteral("p/x.zip")),
        asset(QStringLiteral("Http"), QStringLiteral("http://cdn.example/"), QStringLiteral("x.zip")),
        asset(QStringLiteral("Ftp"), QStringLiteral("ftp://cdn.example/"), QStringLiteral("x.zip")),
        asset(QString(), QStringLiteral("https://cdn.example/"), QStringLiteral("noid.zip")),
        asset(QStringLiteral(""), QStringLiteral("https://cdn.example/"), QStringLiteral("emptyid.zip")),
        md5,
        noSize,
        QStringLiteral("not a dictionary"),
    });
    const auto catalog = WallpaperLibrary::parseCatalog(bytes, plistReader());
    EXPECT_EQ(catalog.keys(), (QStringList{"Md5", "NoSize", "Plain"}));
    EXPECT_EQ(catalog.value("Plain").url.toString(), QStringLiteral("https://cdn.example/base/p/x.zip"));
    EXPECT_EQ(catalog.value("Plain").sha1, QStringLiteral("00112233445566778899aabbccddeeff00112233"));
    EXPECT_EQ(catalog.value("Plain").size, 1234);
    EXPECT_EQ(catalog.value("Md5").url.toString(), QStringLiteral("https://cdn.example/a/b.zip"));
    EXPECT_FALSE(catalog.value("Md5").sha1.has_value());
    EXPECT_EQ(catalog.value("NoSize").size, 0);
}

TEST(WallpaperCatalog, missingOrUnreadableCatalogueIsEmptyAndLogged)
{
    QTemporaryDir dir;
    WallpaperLocations locations;
    for (const QByteArray& content : {QByteArray(), QByteArray("<plist><dict><key>Assets</key>")}) {
        locations.catalogueFile = dir.filePath(QStringLiteral("catalog.xml"));
        if (!content.isNull())
            writeFile(locations.catalogueFile, content);
        LogCapture log("tamsinvale.wallpapers");
        EXPECT_TRUE(WallpaperLibrary::catalog(locations, plistReader()).isEmpty());
        EXPECT_TRUE(log.has(QStringLiteral("wallpaper catalog not available"))) << qPrintable(log.dump());
    }
}

TEST(WallpaperLibraryList, macFoldersFoldThumbnailsAndDarkVariantsAndResolveDescriptions)
{
    QTemporaryDir home;
    const QString root = home.filePath(QStringLiteral("System/Desktop Pictures"));
    WallpaperLocations l = WallpaperLocations::forMacOS(home.path());
    l.systemPictureFolders = {root};
    l.catalogueFile = home.filePath(QStringLiteral("catalog.xml"));
    l.assetFolders = {l.applicationWallpaperFolder, home.filePath(QStringLiteral("assets"))};

    writeFile(root + "/Monterey.heic");
    writeFile(root + "/Monterey Thumbnail.png");
    writeFile(root + "/Monterey Dark.heic");
    writeFile(root + "/Lonely Dark.heic");  // no light picture beside it: a choice of its own
    writeFile(root + "/Ventura Graphic.heic");
    writeFile(root + "/notes.txt");
    writeFile(root + "/Solid Colors/Stone.png");
    writeFile(root + "/Solid Colors/Teal.TIFF");
    // Descriptions of catalogue assets: one installed by us, one only in the catalogue, one nowhere.
    const auto describe = [&](const QString& file, const QString& assetId) {
        writeFile(root + "/" + file,
                  PlistCodec::toXml({{"mobileAssetID", assetId}, {"thumbnailPath", ".thumbnails/" + assetId + ".png"}}));
        writeFile(root + "/.thumbnails/" + assetId + ".png");
    };
    describe("Sonoma Horizon.madesktop", "Sonoma Horizon");
    describe("The Lake.madesktop", "The Lake");
    describe("Gone.madesktop", "Gone");
    writeFile(l.applicationWallpaperFolder + "/Sonoma Horizon.heic");
    writeFile(l.catalogueFile, catalogueOf({
        asset("Sonoma Horizon", "https://cdn.example/", "sh.zip"),
        asset("The Lake", "https://cdn.example/", "lake.zip"),
        asset("Undescribed", "https://cdn.example/", "u.zip"),
    }));

    const auto list = WallpaperLibrary::wallpapers(l, plistReader(), QLocale(QLocale::English));
    EXPECT_EQ(ids(list), (QStringList{"Lonely Dark", "Monterey", "Sonoma Horizon", "Stone", "Teal", "The Lake",
                                      "Ventura Graphic"}));
    const SystemWallpaper* monterey = find(list, "Monterey");
    ASSERT_TRUE(monterey);
    EXPECT_EQ(monterey->thumbnailURL, QUrl::fromLocalFile(root + "/Monterey Thumbnail.png"));
    EXPECT_EQ(monterey->kind, SystemWallpaper::Kind::nature);
    EXPECT_EQ(find(list, "Ventura Graphic")->kind, SystemWallpaper::Kind::graphic);
    EXPECT_EQ(find(list, "Stone")->kind, SystemWallpaper::Kind::color);
    EXPECT_EQ(find(list, "Teal")->kind, SystemWallpaper::Kind::color);
    // Installed by us: local, though the catalogue lists it too.
    const SystemWallpaper* horizon = find(list, "Sonoma Horizon");
    EXPECT_EQ(horizon->localURL, QUrl::fromLocalFile(l.applicationWallpaperFolder + "/Sonoma Horizon.heic"));
    EXPECT_EQ(horizon->thumbnailURL, QUrl::fromLocalFile(root + "/.thumbnails/Sonoma Horizon.png"));
    const SystemWallpaper* lake = find(list, "The Lake");
    EXPECT_FALSE(lake->localURL);
    ASSERT_TRUE(lake->remote);
    EXPECT_EQ(lake->remote->url.toString(), QStringLiteral("https://cdn.example/lake.zip"));

    // Without a catalogue every picture of the folders is still there; downloadable ones are not.
    QFile::remove(l.catalogueFile);
    const auto offline = WallpaperLibrary::wallpapers(l, plistReader(), QLocale(QLocale::English));
    EXPECT_EQ(ids(offline), (QStringList{"Lonely Dark", "Monterey", "Sonoma Horizon", "Stone", "Teal",
                                         "Ventura Graphic"}));
}

TEST(WallpaperLibraryList, linuxDataDirectoriesWithGnomeNamesKdePackagesAndAUserCatalogue)
{
    QTemporaryDir tmp;
    const QString local = tmp.filePath("local/share"), system = tmp.filePath("usr/share");
    const QString dataHome = tmp.filePath("home/.local/share");
    WallpaperLocations l = WallpaperLocations::forLinux({local, system}, dataHome, {});

    writeFile(system + "/backgrounds/gnome/adwaita-l.jpg");
    writeFile(system + "/backgrounds/gnome/adwaita-d.jpg");
    writeFile(system + "/backgrounds/gnome/Picture 10.png");
    writeFile(system + "/backgrounds/gnome/Picture 2.png");
    writeFile(system + "/backgrounds/gnome/slides.xml", "<background/>");
    writeFile(system + "/gnome-background-properties/adwaita.xml",
              QStringLiteral("<?xml version=\"1.0\"?>\n<!DOCTYPE wallpapers SYSTEM \"gnome-wp-list.dtd\">\n"
                             "<wallpapers><wallpaper deleted=\"false\">\n"
                             "<name>Adwaita</name><name xml:lang=\"de\">Adwaita (de)</name>\n"
                             "<filename>%1/backgrounds/gnome/adwaita-l.jpg</filename>\n"
                             "<filename-dark>%1/backgrounds/gnome/adwaita-d.jpg</filename-dark>\n"
                             "<options>zoom</options></wallpaper></wallpapers>\n")
                  .arg(system)
                  .toUtf8());
    // KDE packages: the largest size is the picture, the folder names it; dark images are not choices.
    writeFile(system + "/wallpapers/Next/contents/images/1920x1080.png");
    writeFile(system + "/wallpapers/Next/contents/images/3840x2160.png");
    writeFile(system + "/wallpapers/Next/contents/images/800x600.jpg");
    writeFile(system + "/wallpapers/Next/contents/images_dark/3840x2160.png");
    writeFile(system + "/wallpapers/Next/contents/screenshot.png");
    writeFile(system + "/wallpapers/Next/metadata.json", "{}");
    writeFile(system + "/wallpapers/Empty/contents/images/readme.txt");
    // The same package in an earlier data directory wins.
    writeFile(local + "/wallpapers/Next/contents/images/1024x768.jpg");
    writeFile(local + "/backgrounds/Graphic Waves.png");
    writeFile(dataHome + "/Tamsinvale/DesktopPictureCatalog.xml",
              catalogueOf({asset("Big Sur", "https://cdn.example/", "bs.zip"),
                           asset("Catalina", "https://cdn.example/", "c.zip")}));
    writeFile(dataHome + "/Tamsinvale/Wallpapers/Catalina.heic");
    writeFile(dataHome + "/Tamsinvale/Wallpapers/Kept From Before.jpg");

    const auto list = WallpaperLibrary::wallpapers(l, plistReader(), QLocale(QLocale::English));
    EXPECT_EQ(ids(list), (QStringList{"Adwaita", "Big Sur", "Catalina", "Graphic Waves", "Kept From Before", "Next",
                                      "Picture 2", "Picture 10"}));
    EXPECT_EQ(find(list, "Adwaita")->localURL, QUrl::fromLocalFile(system + "/backgrounds/gnome/adwaita-l.jpg"));
    EXPECT_EQ(find(list, "Next")->localURL, QUrl::fromLocalFile(local + "/wallpapers/Next/contents/images/1024x768.jpg"));
    EXPECT_FALSE(find(list, "Next")->thumbnailURL);
    EXPECT_EQ(find(list, "Graphic Waves")->kind, SystemWallpaper::Kind::graphic);
    EXPECT_FALSE(find(list, "Big Sur")->localURL);
    EXPECT_TRUE(find(list, "Big Sur")->remote);
    EXPECT_EQ(find(list, "Catalina")->localURL, QUrl::fromLocalFile(dataHome + "/Tamsinvale/Wallpapers/Catalina.heic"));
    EXPECT_TRUE(find(list, "Catalina")->remote);

    // Without the earlier directory's copy, the best size of the system package is its picture.
    QDir(local + "/wallpapers").removeRecursively();
    const auto again = WallpaperLibrary::wallpapers(l, plistReader(), QLocale(QLocale::English));
    EXPECT_EQ(find(again, "Next")->localURL,
              QUrl::fromLocalFile(system + "/wallpapers/Next/contents/images/3840x2160.png"));
    EXPECT_EQ(find(again, "Next")->thumbnailURL, QUrl::fromLocalFile(system + "/wallpapers/Next/contents/screenshot.png"));
}

TEST(WallpaperLibraryLocalFile, searchesTheAssetFoldersInOrderAndRefusesPaths)
{
    QTemporaryDir tmp;
    WallpaperLocations l;
    l.assetFolders = {tmp.filePath("ours"), tmp.filePath("user"), tmp.filePath("system")};
    writeFile(tmp.filePath("user/Dome.heic"));
    writeFile(tmp.filePath("system/Dome.heic"));
    writeFile(tmp.filePath("system/Arch.jpg"));
    writeFile(tmp.filePath("secret.heic"));
    EXPECT_EQ(WallpaperLibrary::localFile(l, "Dome"), QUrl::fromLocalFile(tmp.filePath("user/Dome.heic")));
    EXPECT_EQ(WallpaperLibrary::localFile(l, "Arch.jpg"), QUrl::fromLocalFile(tmp.filePath("system/Arch.jpg")));
    EXPECT_EQ(WallpaperLibrary::localFile(l, "Arch"), QUrl::fromLocalFile(tmp.filePath("system/Arch.jpg")));
    EXPECT_FALSE(WallpaperLibrary::localFile(l, "Nowhere"));
    EXPECT_FALSE(WallpaperLibrary::localFile(l, "../secret"));
    writeFile(tmp.filePath("ours/Dome.png"));
    EXPECT_EQ(WallpaperLibrary::localFile(l, "Dome"), QUrl::fromLocalFile(tmp.filePath("ours/Dome.png")));
}

TEST(WallpaperLibraryDefault, firstInstalledCandidate)
{
    QTemporaryDir tmp;
    WallpaperLocations l;
    l.defaultPictureCandidates = {tmp.filePath("a.heic"), tmp.filePath("b.jpg"), tmp.filePath("c.jpg")};
    EXPECT_FALSE(WallpaperLibrary::defaultWallpaperURL(l));
    writeFile(tmp.filePath("c.jpg"));
    writeFile(tmp.filePath("b.jpg"));
    EXPECT_EQ(WallpaperLibrary::defaultWallpaperURL(l), QUrl::fromLocalFile(QFileInfo(tmp.filePath("b.jpg")).canonicalFilePath()));
}
