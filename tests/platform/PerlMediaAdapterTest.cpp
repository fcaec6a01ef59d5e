// The macOS media adapter's helper process, run for real: perl loads a stand-in adapter library whose
// initialiser answers the command it finds in MR_CMD.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "platform/PerlMediaAdapter.h"

using namespace tamsinvale;

TEST(PerlMediaAdapter, theCommandReachesTheLibraryThroughMrCmdAndItsOutputIsTheAnswer)
{
    PerlMediaAdapter adapter(QStringLiteral(TAMSINVALE_STANDIN_MEDIA_ADAPTER));
    const MediaAdapterResult status = adapter.run(QStringLiteral("status"));
    ASSERT_TRUE(status.ok) << status.error.toStdString();
    EXPECT_EQ(status.output, QStringLiteral("playing=1 app=com.example.player\n"));
    const MediaAdapterResult pause = adapter.run(QStringLiteral("pause"));
    ASSERT_TRUE(pause.ok) << pause.error.toStdString();
    EXPECT_EQ(pause.output, QStringLiteral("paused\n"));
}

TEST(PerlMediaAdapter, failuresSayWhichCommandFailedWithItsStatusAndStandardError)
{
    PerlMediaAdapter adapter(QStringLiteral(TAMSINVALE_STANDIN_MEDIA_ADAPTER));
    const MediaAdapterResult play = adapter.run(QStringLiteral("play"));
    ASSERT_FALSE(play.ok);
    EXPECT_EQ(play.error, QStringLiteral("adapter play failed (3): no paused player to play (command play)\n"));

    // A library that cannot be loaded: perl dies with the loader's error.
    QTemporaryDir dir;
    const QString notALibrary = dir.filePath(QStringLiteral("libMediaRemoteAdapter.dylib"));
    QFile file(notALibrary);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("not a library");
    file.close();
    const MediaAdapterResult broken = PerlMediaAdapter(notALibrary).run(QStringLiteral("status"));
    ASSERT_FALSE(broken.ok);
    EXPECT_TRUE(broken.error.startsWith(QStringLiteral("adapter status failed ("))) << broken.error.toStdString();

    const MediaAdapterResult noPerl =
        PerlMediaAdapter(QStringLiteral(TAMSINVALE_STANDIN_MEDIA_ADAPTER), dir.filePath(QStringLiteral("no-perl")))
            .run(QStringLiteral("status"));
    ASSERT_FALSE(noPerl.ok);
    EXPECT_TRUE(noPerl.error.startsWith(QStringLiteral("failed to launch adapter: "))) << noPerl.error.toStdString();
}

TEST(PerlMediaAdapter, withoutTheLibraryInTheBundleEveryCommandFailsSayingSo)
{
    PerlMediaAdapter adapter(std::nullopt);
    for (const char* command : {"status", "pause", "play"}) {
        const MediaAdapterResult result = adapter.run(QString::fromLatin1(command));
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.error, QStringLiteral("adapter dylib missing from bundle"));
    }

    QTemporaryDir bundle;
    ASSERT_TRUE(QDir(bundle.path()).mkpath(QStringLiteral("Contents/MacOS")));
    ASSERT_TRUE(QDir(bundle.path()).mkpath(QStringLiteral("Contents/Resources")));
    const QString executableDir = bundle.filePath(QStringLiteral("Contents/MacOS"));
    EXPECT_FALSE(PerlMediaAdapter::bundledAdapter(executableDir));
    QFile library(bundle.filePath(QStringLiteral("Contents/Resources/libMediaRemoteAdapter.dylib")));
    ASSERT_TRUE(library.open(QIODevice::WriteOnly));
    library.close();
    EXPECT_EQ(PerlMediaAdapter::bundledAdapter(executableDir), std::optional<QString>(library.fileName()));
}
