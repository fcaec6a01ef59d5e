// Application icons: the icon theme lookup order (chosen theme, its parents, hicolor, pixmaps; exact sizes before
// near ones), real pictures in every format the desktop uses, and icons loaded by the discovery refresh so that
// they are there before any list is drawn, kept as long as they stay the same.
#include <gtest/gtest.h>

#include <QImageReader>
#include <QSignalSpy>
#include <filesystem>

#include "SwitcherTestSupport.h"
#include "switcher/AppIconStore.h"
#include "switcher/DesktopIconLoader.h"
#include "switcher/IconThemeIndex.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

void writePng(const QString& path, const QColor& colour, int size = 48)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(colour);
    ASSERT_TRUE(image.save(path, "PNG")) << path.toStdString();
}

QByteArray svgSquare(const char* colour)
{
    return QByteArray("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"16\" height=\"16\" viewBox=\"0 0 16 16\">"
                      "<rect width=\"16\" height=\"16\" fill=\"")
        + colour + "\"/></svg>";
}

QColor centre(const QImage& image) { return image.pixelColor(image.width() / 2, image.height() / 2); }

// Puts every folder (and with `files`, every file) under `root` an hour into the past, so that the next change
// there is told apart by its time however coarse the file system's clock is.
void age(const QString& root, bool files = false)
{
    namespace fs = std::filesystem;
    const auto past = fs::file_time_type::clock::now() - std::chrono::hours(1);
    std::error_code error;
    for (const auto& entry : fs::recursive_directory_iterator(root.toStdString(), error)) {
        if (files || entry.is_directory())
            fs::last_write_time(entry.path(), past, error);
    }
    fs::last_write_time(root.toStdString(), past, error);
}

// A file's modification time `minutes` ago.
void setModified(const QString& path, int minutes)
{
    std::error_code error;
    std::filesystem::last_write_time(path.toStdString(),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::minutes(minutes), error);
}

// A theme "Chosen" inheriting "Parent", with hicolor beside them and a pixmaps folder.
struct ThemeTree {
    ThemeTree()
    {
        writeFile(icons() + "/Chosen/index.theme",
                  "[Icon Theme]\nName=Chosen\nInherits=Parent\nDirectories=48x48/apps,scalable/apps\n\n"
                  "[48x48/apps]\nSize=48\nType=Fixed\n\n[scalable/apps]\nSize=64\nMinSize=16\nMaxSize=256\n"
                  "Type=Scalable\n");
        writeFile(icons() + "/Parent/index.theme",
                  "[Icon Theme]\nName=Parent\nDirectories=64x64/apps\n\n[64x64/apps]\nSize=64\nType=Fixed\n");
        writeFile(icons() + "/hicolor/index.theme",
                  "[Icon Theme]\nName=Hicolor\nDirectories=32x32/apps,64x64/apps,scalable/apps\n\n"
                  "[32x32/apps]\nSize=32\nType=Threshold\n\n[64x64/apps]\nSize=64\nType=Threshold\n\n"
                  "[scalable/apps]\nSize=128\nMinSize=1\nMaxSize=256\nType=Scalable\n");
    }
    QString icons() const { return dir.path() + "/share/icons"; }
    QString pixmaps() const { return dir.path() + "/pixmaps"; }
    QStringList bases() const { return {dir.path() + "/home-icons", icons(), pixmaps()}; }

    QTemporaryDir dir;
};

}  // namespace

TEST(IconTheme, theChosenThemeAndItsParentsComeBeforeHicolorAndPixmapsLast)
{
    ThemeTree t;
    // Near in the chosen theme beats exact in hicolor: a theme is searched whole before the next.
    writePng(t.icons() + "/Chosen/48x48/apps/both.png", Qt::red);
    writePng(t.icons() + "/hicolor/64x64/apps/both.png", Qt::blue);
    writePng(t.icons() + "/Parent/64x64/apps/inherited.png", Qt::red);
    writePng(t.icons() + "/hicolor/64x64/apps/inherited.png", Qt::blue);
    // Within a theme an exact size wins over an earlier folder of another size.
    writePng(t.icons() + "/Chosen/48x48/apps/exact.png", Qt::red);
    writeFile(t.icons() + "/Chosen/scalable/apps/exact.svg", svgSquare("red"));
    // Of two near sizes the closer one.
    writePng(t.icons() + "/hicolor/32x32/apps/near.png", Qt::red);
    writeFile(t.icons() + "/hicolor/scalable/apps/near.svg", svgSquare("red"));
    // Loose pictures: PNG before XPM.
    writePng(t.pixmaps() + "/loose.png", Qt::red);
    writeFile(t.pixmaps() + "/loose.xpm", "/* XPM */");

    IconThemeIndex index(t.bases(), "Chosen");
    EXPECT_EQ(index.find("both", 64), t.icons() + "/Chosen/48x48/apps/both.png");
    EXPECT_EQ(index.find("inherited", 64), t.icons() + "/Parent/64x64/apps/inherited.png");
    EXPECT_EQ(index.find("exact", 64), t.icons() + "/Chosen/scalable/apps/exact.svg");
    EXPECT_EQ(index.find("near", 64), t.icons() + "/hicolor/scalable/apps/near.svg");
    EXPECT_EQ(index.find("near", 30), t.icons() + "/hicolor/32x32/apps/near.png");
    EXPECT_EQ(index.find("loose", 64), t.pixmaps() + "/loose.png");
    EXPECT_EQ(index.find("missing", 64), "");
    EXPECT_EQ(index.find("../hicolor/64x64/apps/both", 64), "");

    // No theme chosen, or one that is not installed: hicolor, then the loose pictures.
    IconThemeIndex plain(t.bases(), "");
    EXPECT_EQ(plain.find("both", 64), t.icons() + "/hicolor/64x64/apps/both.png");
    IconThemeIndex absent(t.bases(), "NotInstalled");
    EXPECT_EQ(absent.find("inherited", 64), t.icons() + "/hicolor/64x64/apps/inherited.png");
}

TEST(IconTheme, foldersAreListedAgainOnlyWhenSomethingWasInstalled)
{
    ThemeTree t;
    writePng(t.icons() + "/hicolor/64x64/apps/first.png", Qt::red);
    age(t.dir.path(), true);
    IconThemeIndex index(t.bases(), "Chosen");
    EXPECT_EQ(index.find("first", 64), t.icons() + "/hicolor/64x64/apps/first.png");
    EXPECT_EQ(index.find("later", 64), "");
    EXPECT_EQ(index.find("first", 64), t.icons() + "/hicolor/64x64/apps/first.png");
    EXPECT_EQ(index.buildCount(), 1);

    index.rescan();
    EXPECT_EQ(index.buildCount(), 1);

    // Into an existing folder, into a folder that did not exist, and a theme folder in a base that did not exist.
    writePng(t.icons() + "/hicolor/64x64/apps/later.png", Qt::red);
    EXPECT_EQ(index.find("later", 64), "");  // until the folders are looked at again
    age(t.dir.path(), true);
    index.rescan();
    EXPECT_EQ(index.find("later", 64), t.icons() + "/hicolor/64x64/apps/later.png");
    writeFile(t.icons() + "/Chosen/scalable/apps/newdir.svg", svgSquare("red"));
    age(t.dir.path(), true);
    index.rescan();
    EXPECT_EQ(index.find("newdir", 64), t.icons() + "/Chosen/scalable/apps/newdir.svg");
    writePng(t.dir.path() + "/home-icons/hicolor/64x64/apps/mine.png", Qt::red);
    age(t.dir.path(), true);
    index.rescan();
    EXPECT_EQ(index.find("mine", 64), t.dir.path() + "/home-icons/hicolor/64x64/apps/mine.png");
    const int builds = index.buildCount();
    EXPECT_EQ(builds, 4);
    index.rescan();
    EXPECT_EQ(index.buildCount(), builds);

    QFile::remove(t.icons() + "/hicolor/64x64/apps/first.png");
    age(t.dir.path(), true);
    index.rescan();
    EXPECT_EQ(index.find("first", 64), "");
}

TEST(DesktopIcons, pngSvgAndXpmPicturesByNameAndByPathDecodeToRealImages)
{
    ASSERT_TRUE(QImageReader::supportedImageFormats().contains("svg")) << "the Qt SVG image plugin is missing";
    ThemeTree t;
    writeFile(t.icons() + "/hicolor/scalable/apps/vector.svg", svgSquare("#00ff00"));
    writePng(t.icons() + "/hicolor/64x64/apps/raster.png", QColor(0, 0, 255));
    QDir().mkpath(t.pixmaps());
    QImage xpm(16, 16, QImage::Format_RGB32);
    xpm.fill(QColor(255, 0, 0));
    ASSERT_TRUE(xpm.save(t.pixmaps() + "/old.xpm", "XPM"));
    DesktopIconLoader loader(t.bases(), "hicolor");

    auto entry = [&](const QString& id, const QString& icon) {
        const QString path = t.dir.path() + "/applications/" + id + ".desktop";
        writeFile(path, desktopEntry(id, "Icon=" + icon + "\n"));
        return path;
    };
    const QImage vector = loader.load(entry("vector", "vector"), 64);
    EXPECT_EQ(vector.size(), QSize(64, 64));
    EXPECT_EQ(centre(vector), QColor(0, 255, 0));
    EXPECT_EQ(centre(loader.load(entry("raster", "raster"), 64)), QColor(0, 0, 255));
    EXPECT_EQ(centre(loader.load(entry("old", "old"), 64)), QColor(255, 0, 0));
    // An absolute path, and an old-style name with its extension.
    EXPECT_EQ(centre(loader.load(entry("path", t.pixmaps() + "/old.xpm"), 64)), QColor(255, 0, 0));
    EXPECT_EQ(centre(loader.load(entry("suffixed", "raster.png"), 64)), QColor(0, 0, 255));
    // Nothing installed, an unreadable picture: the drawn placeholder, never nothing.
    writeFile(t.icons() + "/hicolor/64x64/apps/broken.png", "not a picture");
    EXPECT_EQ(loader.load(entry("none", "nothing-like-this"), 64), DesktopIconLoader::genericIcon(64, "none"));
    EXPECT_EQ(loader.load(entry("broken", "broken"), 64), DesktopIconLoader::genericIcon(64, "broken"));
}

TEST(DesktopIcons, theDesktopEntriesDebianInstallsShowTheirRealIcons)
{
    // xterm and vim are in the setup's package list: their entries name icons in hicolor (mini.xterm as SVG,
    // gvim as SVG and PNG).
    const QStringList required{"/usr/share/applications/debian-xterm.desktop", "/usr/share/applications/vim.desktop"};
    for (const QString& path : required)
        ASSERT_TRUE(QFileInfo::exists(path)) << path.toStdString() << " is not installed";
    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    DiscoveryConfiguration configuration;
    configuration.roots = {"/usr/share/applications"};
    configuration.searchPath = {"/usr/bin", "/bin"};
    AppDiscoveryStore discovery(configuration, queue);
    auto loader = std::make_shared<DesktopIconLoader>(QStringList{"/usr/share/icons", "/usr/share/pixmaps"}, "hicolor");
    AppIconStore icons(loader, queue);
    discovery.setIconStore(&icons);
    discovery.refreshInBackground();
    scheduler.runPending();

    int real = 0;
    QStringList missing;
    for (const DiscoveredApp& app : discovery.apps()) {
        const QString picture = loader->findIcon(app.icon, AppIconStore::iconSize);
        ASSERT_TRUE(icons.contains(app.id)) << app.id.toStdString() << ": no icon before the list is drawn";
        if (picture.isEmpty())
            continue;
        // Every entry whose icon is installed shows that picture, not the placeholder.
        const auto icon = icons.icon(app.id, std::nullopt);
        ASSERT_TRUE(icon);
        if (*icon == DesktopIconLoader::genericIcon(AppIconStore::iconSize, app.name))
            missing.append(app.id + " (" + picture + ")");
        else
            ++real;
    }
    EXPECT_TRUE(missing.isEmpty()) << missing.join(", ").toStdString();
    EXPECT_TRUE(discovery.apps().size() >= 2);
    for (const QString& id : {QString("debian-xterm"), QString("vim")}) {
        const auto it = std::find_if(discovery.apps().cbegin(), discovery.apps().cend(),
                                     [&](const DiscoveredApp& a) { return a.id == id; });
        ASSERT_NE(it, discovery.apps().cend()) << id.toStdString();
        EXPECT_TRUE(loader->findIcon(it->icon, 64).contains("/hicolor/")) << id.toStdString();
        EXPECT_NE(*icons.icon(id, std::nullopt), DesktopIconLoader::genericIcon(64, it->name)) << id.toStdString();
    }
    EXPECT_GE(real, 2);
}

TEST(DesktopIcons, anSvgOnlyEntryFromTheDataDirsShowsItsIconFromTheFirstRefresh)
{
    QTemporaryDir data;
    writeFile(data.path() + "/share/applications/vectorapp.desktop", desktopEntry("Vector App", "Icon=vectorapp\n"));
    writeFile(data.path() + "/share/icons/hicolor/index.theme",
              "[Icon Theme]\nName=Hicolor\nDirectories=scalable/apps\n\n[scalable/apps]\nSize=128\nMinSize=1\n"
              "MaxSize=256\nType=Scalable\n");
    writeFile(data.path() + "/share/icons/hicolor/scalable/apps/vectorapp.svg", svgSquare("#ff00ff"));
    qputenv("XDG_DATA_DIRS", (data.path() + "/share").toUtf8());
    qputenv("XDG_DATA_HOME", (data.path() + "/nothing").toUtf8());
    DiscoveryConfiguration configuration = DiscoveryConfiguration::freedesktopFromEnvironment();
    const QStringList iconDirs = DesktopIconLoader::standardIconDirs();
    qunsetenv("XDG_DATA_DIRS");
    qunsetenv("XDG_DATA_HOME");

    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    AppDiscoveryStore discovery(configuration, queue);
    AppIconStore icons(std::make_shared<DesktopIconLoader>(iconDirs, "hicolor"), queue);
    discovery.setIconStore(&icons);
    QSignalSpy published(&discovery, &AppDiscoveryStore::appsChanged);
    discovery.refreshInBackground();
    scheduler.runPending();
    ASSERT_EQ(published.count(), 1);
    ASSERT_EQ(discovery.apps().size(), 1);
    // In the cache right after the first list is published (which does not wait for icons), and before any later
    // refresh publishes.
    const auto icon = icons.icon("vectorapp", std::nullopt);
    ASSERT_TRUE(icon);
    EXPECT_EQ(centre(*icon), QColor(255, 0, 255));
}

TEST(DesktopIcons, aRefreshReloadsOnlyTheIconsThatChangedAndPublishesNothingWhenNothingDid)
{
    QTemporaryDir data;
    const QString apps = data.path() + "/applications";
    const QString hicolor = data.path() + "/icons/hicolor";
    writeFile(hicolor + "/index.theme",
              "[Icon Theme]\nName=Hicolor\nDirectories=64x64/apps\n\n[64x64/apps]\nSize=64\nType=Threshold\n");
    writePng(hicolor + "/64x64/apps/one.png", Qt::red, 64);
    writePng(hicolor + "/64x64/apps/two.png", Qt::green, 64);
    writeFile(apps + "/one.desktop", desktopEntry("One", "Icon=one\n"));
    writeFile(apps + "/two.desktop", desktopEntry("Two", "Icon=two\n"));
    age(data.path());

    FakeScheduler scheduler;
    InlineBackgroundQueue queue(scheduler);
    DiscoveryConfiguration configuration;
    configuration.roots = {apps};
    AppDiscoveryStore discovery(configuration, queue);
    int loads = 0;
    struct CountingLoader : DesktopIconLoader {
        CountingLoader(QStringList dirs, int& loads) : DesktopIconLoader(std::move(dirs), "hicolor"), m_loads(loads) {}
        QImage load(const IconRequest& request, int size) const override
        {
            ++m_loads;
            return DesktopIconLoader::load(request, size);
        }
        int& m_loads;
    };
    AppIconStore icons(std::make_shared<CountingLoader>(QStringList{data.path() + "/icons"}, loads), queue);
    discovery.setIconStore(&icons);
    QSignalSpy published(&discovery, &AppDiscoveryStore::appsChanged);
    QSignalSpy iconsChanged(&icons, &AppIconStore::iconsChanged);
    auto refresh = [&] {
        discovery.refreshInBackground();
        scheduler.runPending();
    };
    refresh();
    EXPECT_EQ(loads, 2);
    EXPECT_EQ(published.count(), 1);
    ASSERT_EQ(iconsChanged.count(), 1);
    const QList<DiscoveredApp> first = discovery.apps();
    const int version = icons.version();

    // The same result: nothing loaded, nothing published, the very same list kept.
    refresh();
    EXPECT_EQ(loads, 2);
    EXPECT_EQ(published.count(), 1);
    EXPECT_EQ(iconsChanged.count(), 1);
    EXPECT_EQ(icons.version(), version);
    EXPECT_TRUE(discovery.apps().constData() == first.constData());

    // A new picture for one app (installed over the old one): that icon alone, and no new list.
    QFile::remove(hicolor + "/64x64/apps/two.png");
    writePng(hicolor + "/64x64/apps/two.png", Qt::blue, 64);
    setModified(hicolor + "/64x64/apps/two.png", 30);
    age(data.path());
    refresh();
    EXPECT_EQ(loads, 3);
    EXPECT_EQ(published.count(), 1);
    ASSERT_EQ(iconsChanged.count(), 2);
    EXPECT_EQ(iconsChanged.last().first().value<QSet<QString>>(), QSet<QString>{"two"});
    EXPECT_EQ(centre(*icons.icon("two", std::nullopt)), QColor(Qt::blue));

    // An entry that names another icon: a new list (the entry changed) and that one icon.
    writePng(hicolor + "/64x64/apps/uno.png", Qt::yellow, 64);
    writeFile(apps + "/one.desktop", desktopEntry("One", "Icon=uno\n"));
    age(data.path());
    refresh();
    EXPECT_EQ(loads, 4);
    EXPECT_EQ(published.count(), 2);
    EXPECT_EQ(iconsChanged.last().first().value<QSet<QString>>(), QSet<QString>{"one"});
    EXPECT_EQ(centre(*icons.icon("one", std::nullopt)), QColor(Qt::yellow));
}
