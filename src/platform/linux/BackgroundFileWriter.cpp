#include "BackgroundFileWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tamsinvale {

namespace {

QString systemError() { return QString::fromLocal8Bit(std::strerror(errno)); }

// A temporary file beside it, renamed over it: readers see the old contents or the new, never half of them.
bool replaceFile(const QString& path, const QByteArray& bytes, bool waitForDisk, QString* error)
{
    if (waitForDisk) {
        QSaveFile file(path);
        if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
            return true;
        *error = file.errorString();
        return false;
    }
    QTemporaryFile temporary(path + QStringLiteral(".XXXXXX"));
    if (!temporary.open() || temporary.write(bytes) != bytes.size() || !temporary.flush()) {
        *error = temporary.errorString();
        return false;
    }
    if (QFileInfo::exists(path))
        temporary.setPermissions(QFile::permissions(path));
    if (::rename(QFile::encodeName(temporary.fileName()).constData(), QFile::encodeName(path).constData()) != 0) {
        *error = systemError();
        return false;
    }
    temporary.setAutoRemove(false);
    return true;
}

// Puts an earlier replace on the disk: the file's contents and the folder entry the rename changed.
bool syncFile(const QString& path, QString* error)
{
    for (const QString& target : {path, QFileInfo(path).absolutePath()}) {
        const int fd = ::open(QFile::encodeName(target).constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0 || ::fsync(fd) != 0) {
            *error = systemError();
            if (fd >= 0)
                ::close(fd);
            return false;
        }
        ::close(fd);
    }
    return true;
}

}  // namespace

std::optional<BackgroundFileWriter::Version> BackgroundFileWriter::Version::of(const QString& path)
{
    struct stat s {};
    if (::stat(QFile::encodeName(path).constData(), &s) != 0)
        return std::nullopt;
    return Version{s.st_dev, s.st_ino, qint64(s.st_size), qint64(s.st_mtim.tv_sec) * 1'000'000'000 + s.st_mtim.tv_nsec};
}

BackgroundFileWriter::BackgroundFileWriter(QString path, std::function<void(const QString&)> failed)
    : m_path(std::move(path)), m_failed(std::move(failed))
{
}

BackgroundFileWriter::~BackgroundFileWriter()
{
    if (!m_thread.joinable())
        return;
    flushToDisk();
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void BackgroundFileWriter::replace(QByteArray bytes)
{
    {
        std::lock_guard lock(m_mutex);
        m_pending = std::move(bytes);
    }
    // Started with the first write: a reader of the file that never writes (a command-line query) needs no thread.
    if (!m_thread.joinable())
        m_thread = std::thread([this] { run(); });
    m_wake.notify_all();
}

bool BackgroundFileWriter::flushToDisk()
{
    if (!m_thread.joinable())
        return m_lastSucceeded;  // nothing was ever written
    std::unique_lock lock(m_mutex);
    m_syncWanted = true;
    m_wake.notify_all();
    m_done.wait(lock, [this] { return !m_pending && !m_busy && !m_syncWanted; });
    return m_lastSucceeded;
}

std::optional<BackgroundFileWriter::Version> BackgroundFileWriter::lastWritten() const
{
    std::lock_guard lock(m_mutex);
    return m_lastWritten;
}

void BackgroundFileWriter::run()
{
    // Writes follow what the user does (an application switch), right when the window manager and the X server
    // have that to do: ours can wait for them. Not the idle class, which a busy machine would starve.
    setpriority(PRIO_PROCESS, 0, 19);  // on Linux, 0 names the calling thread, not the process
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_pending || m_syncWanted || m_stopping; });
        if (!m_pending && !m_syncWanted)
            return;  // stopping, nothing left
        const std::optional<QByteArray> bytes = std::exchange(m_pending, std::nullopt);
        const bool waitForDisk = std::exchange(m_syncWanted, false);
        const bool unsynced = m_unsynced;
        m_busy = true;
        lock.unlock();

        // A sync with nothing written since the last one has nothing to do, and leaves the last outcome as it was.
        const bool acting = bytes || unsynced;
        QString error;
        bool succeeded = true;
        if (bytes)
            succeeded = replaceFile(m_path, *bytes, waitForDisk, &error);
        else if (unsynced)
            succeeded = syncFile(m_path, &error);
        const std::optional<Version> version = bytes && succeeded ? Version::of(m_path) : std::nullopt;
        if (!succeeded && m_failed)
            m_failed(error);

        lock.lock();
        m_busy = false;
        if (acting)
            m_lastSucceeded = succeeded;
        if (version)
            m_lastWritten = version;
        if (bytes && succeeded)
            m_unsynced = !waitForDisk;
        else if (!bytes && succeeded)
            m_unsynced = false;
        m_done.notify_all();
    }
}

}  // namespace tamsinvale
