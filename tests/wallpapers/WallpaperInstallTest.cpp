// Installing archives, the platform's and hostile ones: each hostile one fails with its error, writes nothing
// outside the temporary folder, and leaves no temporary folder behind.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDirIterator>
#include <QTemporaryDir>

#include "WallpaperTestSupport.h"
#include "platform/DittoArchiveUnpacker.h"
#include "platform/fake/FakeProcesses.h"
#include "platform/linux/LibarchiveUnpacker.h"
#include "wallpapers/WallpaperDownloader.h"

using namespace tamsinvale;
using namespace tamsinvale::test;
using InstallError = WallpaperLibrary::InstallError;

namespace {

struct InstallFixture {
    QTemporaryDir root;
    // Every folder the install may touch lies under root: the work area for temporary folders, the install
    // folder, the archive's own folder, and a bystander folder nothing may reach.
    QString work = root.filePath("work/tmp");
    QString installFolder = root.filePath("data/Wallpapers");
    QString archive = root.filePath("download/archive.zip");
    QString bystander = root.filePath("bystander");
    LibarchiveUnpacker unpacker;

    explicit InstallFixture(LibarchiveUnpacker::Limits limits = {}) : unpacker(limits)
    {
        QDir().mkpath(work);
        QDir().mkpath(bystander);
        QDir().mkpath(QFileInfo(archive).absolutePath());
        writeFile(bystander + "/keep.txt", "untouched");
    }

    InstallResult install(const QList<ArchiveEntry>& entries, std::optional<QString> sha1 = std::nullopt,
                          bool tar = false)
    {
        EXPECT_TRUE(writeZip(archive, entries, tar));
        const QString id = QStringLiteral("Big Sur");
        SystemWallpaper w;
        w.id = id;
        w.remote = SystemWallpaper::Remote{QUrl("https://cdn.example/a.zip"), sha1, 1};
        return WallpaperDownloader::install(archive, w, {&unpacker, installFolder, work});
    }

    void expectNothingLeftBehind()
    {
        EXPECT_EQ(everything(work), QStringList()) << "temporary folders are removed";
        EXPECT_EQ(everything(bystander), QStringList{bystander + "/keep.txt"});
        EXPECT_EQ(readFile(bystander + "/keep.txt"), QByteArray("untouched"));
        EXPECT_EQ(everything(root.filePath("work")), QStringList{work});
    }
};

}  // namespace

TEST(WallpaperInstall, installsThePictureOfAPlatformArchiveAndReplacesAnEarlierCopy)
{
    InstallFixture f;
    writeFile(f.installFolder + "/Big Sur.heic", "old picture");
    const QByteArray picture(300000, 'p');
    ASSERT_TRUE(writeZip(f.archive, pictureArchive("BigSur.heic", picture)));
    const QString sha1 = QString::fromLatin1(QCryptographicHash::hash(readFile(f.archive), QCryptographicHash::Sha1).toHex());

    const InstallResult result = f.install(pictureArchive("BigSur.heic", picture), sha1);
    ASSERT_FALSE(result.error) << qPrintable(result.detail);
    EXPECT_EQ(result.file, f.installFolder + "/Big Sur.heic");
    EXPECT_EQ(readFile(f.installFolder + "/Big Sur.heic"), picture);
    EXPECT_EQ(everything(f.installFolder), QStringList{f.installFolder + "/Big Sur.heic"}) << "no staging file stays";
    f.expectNothingLeftBehind();
}

TEST(WallpaperInstall, takesTheFirstPictureByNameAndKeepsItsExtension)
{
    InstallFixture f;
    const InstallResult result = f.install({{"AssetData/readme.txt", "text"},
                                            {"AssetData/b.JPG", "second"},
                                            {"AssetData/a.Png", "first"}});
    ASSERT_FALSE(result.error);
    EXPECT_EQ(result.file, f.installFolder + "/Big Sur.Png");
    EXPECT_EQ(readFile(*result.file), QByteArray("first"));
    f.expectNothingLeftBehind();
}

TEST(WallpaperInstall, hostileAndBrokenArchivesFailWithTheirError)
{
    const QString outside = QDir::tempPath() + "/tamsinvale-absolute-entry-" + QString::number(QCoreApplication::applicationPid());
    const QByteArray big(3 * 1024 * 1024, '\0');  // deflates to a few kilobytes
    struct Case {
        const char* name;
        QList<ArchiveEntry> entries;
        InstallError expected;
        bool tar;
    };
    const QList<Case> cases = {
        {"zip-slip", {{"AssetData/../../../bystander/evil.heic", "evil"}, {"AssetData/a.heic", "a"}},
         InstallError::unzipFailed, false},
        {"dot-dot first", {{"../evil.heic", "evil"}}, InstallError::unzipFailed, false},
        {"absolute path", {{outside + "/evil.heic", "evil"}}, InstallError::unzipFailed, false},
        {"symlink escaping",
         {{"AssetData/link", {}, ArchiveEntry::Type::symlink, "../../../bystander"},
          {"AssetData/link/evil.heic", "evil"}},
         InstallError::unzipFailed, false},
        {"symlink to a picture", {{"AssetData/a.heic", {}, ArchiveEntry::Type::symlink, "/etc/passwd"}},
         InstallError::unzipFailed, false},
        // Only tar carries hard links, and only zip archives are unpacked.
        {"hard link in a tar", {{"AssetData/a.heic", {}, ArchiveEntry::Type::hardlink, "/etc/passwd"}},
         InstallError::unzipFailed, true},
        {"tar", {{"AssetData/a.heic", "a"}}, InstallError::unzipFailed, true},
        {"past the size cap", {{"AssetData/zeros.heic", big}}, InstallError::unzipFailed, false},
        {"too many entries",
         {{"AssetData/1.txt", "1"}, {"AssetData/2.txt", "2"}, {"AssetData/3.txt", "3"}, {"AssetData/4.heic", "4"}},
         InstallError::unzipFailed, false},
        {"no AssetData", {{"Pictures/a.heic", "a"}, {"a.heic", "a"}}, InstallError::noImage, false},
        {"AssetData without a picture", {{"AssetData/a.gif", "a"}, {"AssetData/heic", "a"}}, InstallError::noImage, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        InstallFixture f(LibarchiveUnpacker::Limits{3, 2 * 1024 * 1024});
        const InstallResult result = f.install(c.entries, std::nullopt, c.tar);
        EXPECT_FALSE(result.file);
        EXPECT_EQ(result.error, c.expected) << qPrintable(result.detail);
        f.expectNothingLeftBehind();
        EXPECT_FALSE(QFileInfo::exists(outside));
        EXPECT_FALSE(QFileInfo::exists(f.installFolder + "/Big Sur.heic"));
        EXPECT_EQ(everything(f.root.filePath("download")), QStringList{f.archive});
    }
    QDir(outside).removeRecursively();
}

TEST(WallpaperInstall, notAnArchiveOrAWrongChecksumFails)
{
    InstallFixture f;
    writeFile(f.installFolder + "/Big Sur.heic", "old picture");
    InstallResult result = f.install(pictureArchive("a.heic", "new"), QStringLiteral("0000000000000000000000000000000000000000"));
    EXPECT_EQ(result.error, InstallError::checksumMismatch);
    EXPECT_EQ(readFile(f.installFolder + "/Big Sur.heic"), QByteArray("old picture")) << "a failed install keeps the old copy";
    f.expectNothingLeftBehind();

    writeFile(f.archive, "this is not a zip archive");
    SystemWallpaper w;
    w.id = "Big Sur";
    w.remote = SystemWallpaper::Remote{QUrl("https://cdn.example/a.zip"), std::nullopt, 1};
    result = WallpaperDownloader::install(f.archive, w, {&f.unpacker, f.installFolder, f.work});
    EXPECT_EQ(result.error, InstallError::unzipFailed);
    f.expectNothingLeftBehind();
}

TEST(DittoArchiveUnpacker, runsDittoWithTheArchiveAndFolderAndFailsOnAnyOtherOutcome)
{
    FakeProcesses processes;
    DittoArchiveUnpacker ditto(processes);
    const QStringList arguments{"-x", "-k", "/tmp/a.zip", "/tmp/wallpaper-1"};
    EXPECT_FALSE(ditto.unpack("/tmp/a.zip", "/tmp/wallpaper-1").ok) << "not launched";
    processes.scriptRun("/usr/bin/ditto", arguments, {true, 1, {}, {}});
    EXPECT_FALSE(ditto.unpack("/tmp/a.zip", "/tmp/wallpaper-1").ok) << "non-zero exit";
    processes.scriptRun("/usr/bin/ditto", arguments, {true, 0, {}, {}});
    EXPECT_TRUE(ditto.unpack("/tmp/a.zip", "/tmp/wallpaper-1").ok);
    ASSERT_FALSE(processes.runs().isEmpty());
    EXPECT_EQ(processes.runs().last(), QStringList{"/usr/bin/ditto"} + arguments);
}
