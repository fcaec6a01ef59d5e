// The settings file's writer thread: every version lands whole, the newest wins, failures are told, nothing queued
// is lost when it goes.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <atomic>
#include <thread>

#include "platform/linux/BackgroundFileWriter.h"

using namespace tamsinvale;

namespace {

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Version n: its number, then n bytes of padding, so that a torn file shows as a mismatch.
QByteArray version(int n) { return QByteArray::number(n) + ':' + QByteArray(n * 37 % 4096, char('a' + n % 26)); }

bool isWholeVersion(const QByteArray& bytes)
{
    const qsizetype colon = bytes.indexOf(':');
    bool ok = false;
    const int n = bytes.left(colon).toInt(&ok);
    return colon > 0 && ok && bytes == version(n);
}

}  // namespace

TEST(BackgroundFileWriter, aReaderOnlyEverSeesWholeVersionsAndTheNewestIsWhatStays)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("file"));
    std::atomic<bool> stop = false;
    std::atomic<int> reads = 0, torn = 0;
    {
        BackgroundFileWriter writer(path, {});
        writer.replace(version(0));
        ASSERT_TRUE(writer.flushToDisk());
        std::thread reader([&] {
            while (!stop) {
                if (!isWholeVersion(readAll(path)))
                    ++torn;
                ++reads;
            }
        });
        // Most versions wait until written, so that the file really changes hundreds of times; the last few
        // follow each other at once, and only the newest of them has to land.
        for (int n = 1; n <= 300; ++n) {
            const auto before = writer.lastWritten();
            writer.replace(version(n));
            while (n < 290 && writer.lastWritten() == before)
                std::this_thread::yield();
        }
        EXPECT_TRUE(writer.flushToDisk());
        stop = true;
        reader.join();
        EXPECT_EQ(readAll(path), version(300));
        EXPECT_EQ(writer.lastWritten(), BackgroundFileWriter::Version::of(path));
    }
    EXPECT_GT(reads, 0);
    EXPECT_EQ(torn, 0) << "a reader saw a file half written";
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("file")}) << "a temporary was left";
}

TEST(BackgroundFileWriter, aFailedWriteIsToldAndWhatIsQueuedAtTheEndStillLands)
{
    QTemporaryDir dir;
    const QString missingFolder = dir.filePath(QStringLiteral("gone/file"));
    QStringList reasons;
    std::mutex mutex;
    {
        BackgroundFileWriter writer(missingFolder, [&](const QString& reason) {
            std::lock_guard lock(mutex);
            reasons.append(reason);
        });
        writer.replace("x");
        EXPECT_FALSE(writer.flushToDisk());
        EXPECT_FALSE(writer.lastWritten());
    }
    ASSERT_EQ(reasons.size(), 1);
    EXPECT_FALSE(reasons.first().isEmpty());

    const QString path = dir.filePath(QStringLiteral("file"));
    {
        BackgroundFileWriter writer(path, {});
        writer.replace("first");
        writer.replace("last");
    }
    EXPECT_EQ(readAll(path), "last") << "what was queued when the writer went was lost";
}
