// The downloader's state in virtual time: tasks, progress steps, failures, installs, retries at the next start,
// the pending selection, and the progress panel's texts.
#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QSignalSpy>
#include <QTemporaryDir>

#include "TestSupport.h"
#include "WallpaperTestSupport.h"
#include "platform/fake/FakeDefaults.h"
#include "platform/fake/FakeDownloadSession.h"
#include "platform/fake/FakeScheduler.h"
#include "platform/fake/FakeSerialQueue.h"
#include "platform/linux/LibarchiveUnpacker.h"
#include "wallpapers/WallpaperDownloadPanel.h"
#include "wallpapers/WallpaperDownloadView.h"
#include "wallpapers/WallpaperDownloader.h"
#include "wallpapers/WallpaperList.h"

using namespace tamsinvale;
using namespace tamsinvale::test;

namespace {

const QUrl archiveURL("https://cdn.example/assets/big-sur.zip");

struct DownloaderFixture {
    QTemporaryDir tmp;
    FakeScheduler scheduler;
    FakeDownloadSession session{scheduler};
    FakeSerialQueue installs{scheduler, 0.5};
    FakeDefaults defaults;
    LibarchiveUnpacker unpacker;
    QString installFolder = tmp.filePath("Wallpapers");
    QString work = tmp.filePath("tmp");
    std::unique_ptr<WallpaperDownloader> downloader;
    QByteArray picture = QByteArray(5000, 'h');
    QByteArray archive;

    DownloaderFixture()
    {
        QDir().mkpath(work);
        makeDownloader();
        const QString zip = tmp.filePath("archive.zip");
        writeZip(zip, pictureArchive("Big Sur.heic", picture));
        archive = readFile(zip);
    }

    void makeDownloader()
    {
        downloader = std::make_unique<WallpaperDownloader>(session, installs, defaults,
                                                           WallpaperInstallPlaces{&unpacker, installFolder, work});
    }

    SystemWallpaper wallpaper(std::optional<QString> sha1 = std::nullopt) const
    {
        SystemWallpaper w;
        w.id = QStringLiteral("Big Sur");
        w.remote = SystemWallpaper::Remote{archiveURL, sha1, archive.size()};
        return w;
    }

    QString sha1() const { return QString::fromLatin1(QCryptographicHash::hash(archive, QCryptographicHash::Sha1).toHex()); }
};

}  // namespace

TEST(WallpaperDownloader, twoStartsMakeOneTaskAndProgressMovesInStepsOfAHundredth)
{
    DownloaderFixture f;
    f.session.respond(archiveURL, {200, f.archive, std::nullopt, 1.0, {0.001, 0.005, 0.011, 0.015, 0.03, 0.5, 0.505, 1.0}});
    QList<double> published;
    QObject::connect(f.downloader.get(), &WallpaperDownloader::progressChanged, [&](const QString& id) {
        if (f.downloader->isDownloading(id))
            published << f.downloader->progress().value(id);
    });
    f.downloader->download(f.wallpaper());
    f.downloader->download(f.wallpaper());
    EXPECT_EQ(f.session.requests().size(), 1);
    EXPECT_EQ(f.downloader->progress().value("Big Sur", -1), 0.0);

    f.scheduler.advance(1.0);  // the transfer ends; the install runs on its queue
    EXPECT_EQ(published, (QList<double>{0, 0.011, 0.03, 0.5, 1.0}));
    EXPECT_TRUE(f.downloader->isDownloading("Big Sur")) << "still installing";
    f.downloader->download(f.wallpaper());
    EXPECT_EQ(f.session.requests().size(), 1);

    f.scheduler.advance(0.5);
    EXPECT_FALSE(f.downloader->isDownloading("Big Sur"));
    EXPECT_EQ(readFile(f.installFolder + "/Big Sur.heic"), f.picture);
}

TEST(WallpaperDownloader, notFoundAndTransportFailuresMarkTheWallpaperFailed)
{
    DownloaderFixture f;
    LogCapture log("tamsinvale.wallpapers");
    std::optional<WallpaperDownloader::Outcome> outcome;
    f.downloader->download(f.wallpaper(), [&](const auto& o) { outcome = o; });  // nothing scripted: 404
    f.scheduler.advance(2);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->failure, QStringLiteral("HTTP error"));
    EXPECT_TRUE(f.downloader->failed().contains("Big Sur"));
    EXPECT_TRUE(f.downloader->progress().isEmpty());
    EXPECT_TRUE(log.has("downloading wallpaper 'Big Sur' (" + QString::number(f.archive.size()) + " bytes)"));
    EXPECT_TRUE(log.has("downloading wallpaper 'Big Sur' failed: HTTP error")) << qPrintable(log.dump());
    EXPECT_EQ(f.installs.jobsRun(), 0);

    // Starting again clears the failure while it runs.
    f.session.respond(archiveURL, {0, {}, QStringLiteral("Connection refused"), 1.0, {}});
    QSignalSpy failedChanges(f.downloader.get(), &WallpaperDownloader::failedChanged);
    f.downloader->download(f.wallpaper(), [&](const auto& o) { outcome = o; });
    EXPECT_FALSE(f.downloader->failed().contains("Big Sur"));
    f.scheduler.advance(2);
    EXPECT_EQ(outcome->failure, QStringLiteral("Connection refused"));
    EXPECT_TRUE(f.downloader->failed().contains("Big Sur"));
    EXPECT_TRUE(log.has("downloading wallpaper 'Big Sur' failed: Connection refused"));
    EXPECT_EQ(failedChanges.size(), 2);
    EXPECT_EQ(everything(f.work), QStringList());
}

TEST(WallpaperDownloader, withoutChecksumInstallsUnverifiedWithAChecksumVerifies)
{
    DownloaderFixture f;
    WallpaperList list([] {
        SystemWallpaper w;
        w.id = "Big Sur";
        return QList<SystemWallpaper>{w};
    });
    f.downloader->setList(&list);
    f.session.respond(archiveURL, {200, f.archive, std::nullopt, 1.0, {}});
    std::optional<WallpaperDownloader::Outcome> outcome;
    f.downloader->download(f.wallpaper(), [&](const auto& o) { outcome = o; });
    f.scheduler.advance(2);
    ASSERT_TRUE(outcome && outcome->installedFile);
    EXPECT_EQ(list.find("Big Sur")->localURL, QUrl::fromLocalFile(f.installFolder + "/Big Sur.heic"));

    // A wrong checksum: the earlier copy stays, the wallpaper is failed and the install logged.
    LogCapture log("tamsinvale.wallpapers");
    f.downloader->download(f.wallpaper(QStringLiteral("ffffffffffffffffffffffffffffffffffffffff")),
                           [&](const auto& o) { outcome = o; });
    f.scheduler.advance(2);
    EXPECT_FALSE(outcome->installedFile);
    EXPECT_TRUE(f.downloader->failed().contains("Big Sur"));
    EXPECT_TRUE(log.has("installing wallpaper 'Big Sur' failed: " +
                        WallpaperLibrary::describe(WallpaperLibrary::InstallError::checksumMismatch)));
    EXPECT_EQ(readFile(f.installFolder + "/Big Sur.heic"), f.picture);

    // The right one installs over the earlier copy and clears the failure.
    f.picture = QByteArray(7000, 'n');
    writeZip(f.tmp.filePath("archive.zip"), pictureArchive("Big Sur.heic", f.picture));
    f.archive = readFile(f.tmp.filePath("archive.zip"));
    f.session.respond(archiveURL, {200, f.archive, std::nullopt, 1.0, {}});
    f.downloader->download(f.wallpaper(f.sha1()), [&](const auto& o) { outcome = o; });
    f.scheduler.advance(2);
    ASSERT_TRUE(outcome->installedFile);
    EXPECT_EQ(readFile(f.installFolder + "/Big Sur.heic"), f.picture);
    EXPECT_FALSE(f.downloader->failed().contains("Big Sur"));
    EXPECT_EQ(everything(f.work), QStringList());
}

TEST(WallpaperDownloader, unfinishedDownloadsAreRetriedAtTheNextStartAndThePendingSelectionApplied)
{
    DownloaderFixture f;
    f.session.respond(archiveURL, {503, {}, std::nullopt, 1.0, {}});
    f.downloader->setPendingSelection(PendingSelection{"Big Sur", QStringLiteral("SCREEN-1")});
    f.downloader->download(f.wallpaper());
    f.scheduler.advance(2);
    EXPECT_EQ(f.downloader->unfinished(), QStringList{"Big Sur"});

    // The next start: a new downloader over the same defaults; the catalogue still offers the picture.
    f.makeDownloader();
    QList<std::pair<QString, std::optional<QString>>> applied;
    f.downloader->setSelectionApplier([&](const QString& path, const std::optional<QString>& screen) {
        applied << std::make_pair(path, screen);
    });
    f.session.respond(archiveURL, {200, f.archive, std::nullopt, 1.0, {}});
    SystemWallpaper other;
    other.id = "Gone Local";
    f.defaults.setValue(WallpaperDownloader::unfinishedKey, QVariantList{"Big Sur", "No Longer Offered"});
    f.downloader->resumeUnfinished({f.wallpaper(), other});
    EXPECT_EQ(f.session.requests().size(), 2);
    EXPECT_EQ(f.downloader->unfinished(), QStringList{"Big Sur"});
    EXPECT_TRUE(applied.isEmpty());
    f.scheduler.advance(2);
    ASSERT_EQ(applied.size(), 1);
    EXPECT_EQ(applied[0].first, f.installFolder + "/Big Sur.heic");
    EXPECT_EQ(applied[0].second, QStringLiteral("SCREEN-1"));
    EXPECT_FALSE(f.downloader->pendingSelection());
    EXPECT_TRUE(f.downloader->unfinished().isEmpty());
    EXPECT_FALSE(f.defaults.value(WallpaperDownloader::unfinishedKey));

    // Nothing left to do at the start after that.
    f.makeDownloader();
    f.downloader->resumeUnfinished({f.wallpaper()});
    EXPECT_EQ(f.session.requests().size(), 2);
}

TEST(WallpaperDownloadPanel, titlesAndCaptionsFollowTheDownload)
{
    DownloaderFixture f;
    f.session.respond(archiveURL, {500, {}, std::nullopt, 1.0, {0.25, 0.5}});
    WallpaperDownloadView view(*f.downloader, "Big Sur");
    f.downloader->download(f.wallpaper());
    EXPECT_EQ(view.title(), QStringLiteral("Downloading wallpaper"));
    EXPECT_EQ(view.caption(), QStringLiteral("Big Sur, from Apple"));
    f.scheduler.advance(0.5);
    EXPECT_DOUBLE_EQ(view.fraction(), 0.25);
    f.scheduler.advance(1);
    EXPECT_EQ(view.title(), QStringLiteral("Couldn't download wallpaper"));
    EXPECT_EQ(view.caption(), QStringLiteral("Tamsinvale will try again next time it starts."));
}

TEST(WallpaperDownloadPanel, showsOneDownloadAndClosesOnceItsPictureIsInstalled)
{
    DownloaderFixture f;
    f.session.respond(archiveURL, {200, f.archive, std::nullopt, 1.0, {0.5}});
    WallpaperDownloadPanel panel(*f.downloader);
    f.downloader->download(f.wallpaper());
    panel.show("Big Sur");
    ASSERT_TRUE(panel.panel());
    EXPECT_TRUE(panel.panel()->isVisible());
    EXPECT_EQ(panel.view()->wallpaperID(), QStringLiteral("Big Sur"));
    f.scheduler.advance(0.6);
    EXPECT_DOUBLE_EQ(panel.view()->fraction(), 0.5);
    f.scheduler.advance(1);
    EXPECT_FALSE(panel.panel()->isVisible());

    // A failed download stays on screen with its failure caption until closed.
    f.session.respond(archiveURL, {404, {}, std::nullopt, 1.0, {}});
    f.downloader->download(f.wallpaper());
    panel.show("Big Sur");
    f.scheduler.advance(2);
    EXPECT_TRUE(panel.panel()->isVisible());
    EXPECT_EQ(panel.view()->title(), QStringLiteral("Couldn't download wallpaper"));
    panel.close();
    EXPECT_FALSE(panel.panel()->isVisible());
}
