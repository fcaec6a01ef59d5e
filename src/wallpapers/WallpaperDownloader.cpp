// Download, install and the published state; every change of state happens on the main thread.
#include "WallpaperDownloader.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>
#include <cstdio>

#include "WallpaperList.h"
#include "platform/ArchiveUnpacker.h"
#include "platform/Defaults.h"
#include "platform/DownloadSession.h"
#include "platform/Logging.h"
#include "platform/SerialQueue.h"

namespace tamsinvale {

namespace {

constexpr qint64 hashBlock = 1048576;
constexpr double progressStep = 0.01;

std::optional<QString> sha1Of(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QCryptographicHash hash(QCryptographicHash::Sha1);
    QByteArray block;
    while (!file.atEnd()) {
        block = file.read(hashBlock);
        if (block.isEmpty() && file.error() != QFile::NoError)
            return std::nullopt;
        hash.addData(block);
    }
    return QString::fromLatin1(hash.result().toHex());
}

// Removes the folder when it goes out of scope, however installation ends.
class FolderRemover {
public:
    explicit FolderRemover(QString path) : m_path(std::move(path)) {}
    ~FolderRemover() { QDir(m_path).removeRecursively(); }
    FolderRemover(const FolderRemover&) = delete;
    FolderRemover& operator=(const FolderRemover&) = delete;

private:
    QString m_path;
};

InstallResult failedWith(WallpaperLibrary::InstallError error, const QString& detail = {})
{
    return {std::nullopt, error, detail};
}

bool isSafeFileName(const QString& id)
{
    return !id.isEmpty() && !id.contains(QLatin1Char('/')) && !id.startsWith(QLatin1Char('.'));
}

}  // namespace

WallpaperDownloader::WallpaperDownloader(DownloadSession& session, SerialQueue& installQueue, DefaultsDomain& defaults,
                                         WallpaperInstallPlaces places, QObject* parent)
    : QObject(parent),
      m_session(session),
      m_installQueue(installQueue),
      m_defaults(defaults),
      m_places(std::move(places))
{
}

WallpaperDownloader::~WallpaperDownloader()
{
    *m_alive = false;
    for (const auto& task : std::as_const(m_observations))
        task->cancel();
}

void WallpaperDownloader::download(const SystemWallpaper& wallpaper, Completion completion)
{
    if (!wallpaper.remote || m_progress.contains(wallpaper.id))
        return;
    const QString id = wallpaper.id;
    if (!isSafeFileName(id)) {
        qCWarning(lcWallpapers, "not downloading wallpaper '%s': the name cannot be a file name", qUtf8Printable(id));
        return;
    }
    if (m_failed.remove(id))
        emit failedChanged();
    m_progress.insert(id, 0);
    emit progressChanged(id);
    rememberUnfinished(id, true);
    qCInfo(lcWallpapers, "downloading wallpaper '%s' (%lld bytes)", qUtf8Printable(id),
           static_cast<long long>(wallpaper.remote->size));

    std::weak_ptr<bool> alive = m_alive;
    auto progress = [this, alive, id](double fraction) {
        if (alive.lock())
            onProgress(id, fraction);
    };
    auto done = [this, alive, wallpaper, completion](const DownloadResult& result) {
        if (!alive.lock())
            return;
        const QString id = wallpaper.id;
        if (!result.file || result.error || result.httpStatus != 200) {
            if (result.file)
                QFile::remove(*result.file);
            const QString why = result.error.value_or(QStringLiteral("HTTP error"));
            qCCritical(lcWallpapers, "downloading wallpaper '%s' failed: %s", qUtf8Printable(id), qUtf8Printable(why));
            finish(wallpaper, {id, std::nullopt, why}, completion);
            return;
        }
        auto outcome = std::make_shared<InstallResult>();
        const QString archive = *result.file;
        const WallpaperInstallPlaces places = m_places;
        m_installQueue.run(
            [outcome, archive, wallpaper, places] {
                *outcome = install(archive, wallpaper, places);
                QFile::remove(archive);
                if (outcome->error)
                    qCCritical(lcWallpapers, "installing wallpaper '%s' failed: %s", qUtf8Printable(wallpaper.id),
                              qUtf8Printable(WallpaperLibrary::describe(*outcome->error)));
            },
            [this, alive, outcome, wallpaper, completion] {
                if (!alive.lock())
                    return;
                finish(wallpaper,
                       {wallpaper.id, outcome->file,
                        outcome->error ? WallpaperLibrary::describe(*outcome->error) : QString()},
                       completion);
            });
    };
    m_observations.insert(id, m_session.download(wallpaper.remote->url, progress, done));
}

void WallpaperDownloader::onProgress(const QString& id, double fraction)
{
    const auto it = m_progress.find(id);
    if (it == m_progress.end() || fraction - *it < progressStep)
        return;
    *it = std::min(fraction, 1.0);
    emit progressChanged(id);
}

void WallpaperDownloader::finish(const SystemWallpaper& wallpaper, const Outcome& outcome, const Completion& completion)
{
    const QString& id = wallpaper.id;
    m_observations.remove(id);
    m_progress.remove(id);
    if (outcome.installedFile) {
        rememberUnfinished(id, false);
        if (m_failed.remove(id))
            emit failedChanged();
        if (m_list)
            m_list->setLocalFile(id, *outcome.installedFile);
        emit installed(id, *outcome.installedFile);
        applyPendingSelectionIfInstalled(id, *outcome.installedFile);
    } else {
        m_failed.insert(id);
        emit failedChanged();
    }
    emit progressChanged(id);
    emit finished(id);
    if (completion)
        completion(outcome);
}

InstallResult WallpaperDownloader::install(const QString& archive, const SystemWallpaper& wallpaper,
                                           const WallpaperInstallPlaces& places)
{
    using WallpaperLibrary::InstallError;
    if (wallpaper.remote && wallpaper.remote->sha1) {
        const std::optional<QString> digest = sha1Of(archive);
        if (!digest || digest->compare(*wallpaper.remote->sha1, Qt::CaseInsensitive) != 0)
            return failedWith(InstallError::checksumMismatch,
                              QStringLiteral("SHA-1 %1, expected %2").arg(digest.value_or("unreadable"),
                                                                          *wallpaper.remote->sha1));
    }
    const QString temporary = QDir(places.temporaryFolder.isEmpty() ? QDir::tempPath() : places.temporaryFolder)
                                  .filePath(QStringLiteral("wallpaper-") + QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!QDir().mkpath(temporary))
        return failedWith(InstallError::unzipFailed, QStringLiteral("cannot make ") + temporary);
    const FolderRemover removeTemporary(temporary);

    const UnpackResult unpacked =
        places.unpacker ? places.unpacker->unpack(archive, temporary) : UnpackResult{false, QStringLiteral("no unpacker")};
    if (!unpacked.ok) {
        qCDebug(lcWallpapers, "unpacking wallpaper '%s' failed: %s", qUtf8Printable(wallpaper.id),
                qUtf8Printable(unpacked.error));
        return failedWith(InstallError::unzipFailed, unpacked.error);
    }

    const QDir assets(QDir(temporary).filePath(QStringLiteral("AssetData")));
    std::optional<QFileInfo> picture;
    for (const QFileInfo& entry : assets.entryInfoList(QDir::Files | QDir::Hidden, QDir::Name)) {
        if (!entry.isSymLink() && WallpaperLibrary::isPictureFile(entry.fileName())) {
            picture = entry;
            break;
        }
    }
    if (!picture)
        return failedWith(InstallError::noImage);

    if (!isSafeFileName(wallpaper.id) || !QDir().mkpath(places.installFolder))
        return failedWith(InstallError::noImage, QStringLiteral("cannot make ") + places.installFolder);
    const QString destination =
        QDir(places.installFolder).filePath(wallpaper.id + QLatin1Char('.') + picture->suffix());
    // Moved beside the destination first (a copy when the temporary folder is on another disk), then renamed over
    // any earlier copy in one step, so the old file stays whole until the new one takes its place.
    const QString staging = destination + QStringLiteral(".part-") + QUuid::createUuid().toString(QUuid::Id128);
    if (!QFile::rename(picture->filePath(), staging))
        return failedWith(InstallError::noImage, QStringLiteral("cannot move the picture to ") + staging);
    if (std::rename(QFile::encodeName(staging).constData(), QFile::encodeName(destination).constData()) != 0) {
        QFile::remove(staging);
        return failedWith(InstallError::noImage, QStringLiteral("cannot replace ") + destination);
    }
    return {destination, std::nullopt, {}};
}

std::optional<PendingSelection> WallpaperDownloader::pendingSelection() const
{
    const auto stored = m_defaults.dictionaryValue(pendingSelectionKey);
    if (!stored)
        return std::nullopt;
    const QString id = stored->value(QStringLiteral("id")).toString();
    if (id.isEmpty())
        return std::nullopt;
    PendingSelection selection{id, std::nullopt};
    const QString screen = stored->value(QStringLiteral("screen")).toString();
    if (!screen.isEmpty())
        selection.screenUUID = screen;
    return selection;
}

void WallpaperDownloader::setPendingSelection(const std::optional<PendingSelection>& selection)
{
    if (!selection) {
        m_defaults.removeValue(pendingSelectionKey);
        return;
    }
    QVariantMap stored{{QStringLiteral("id"), selection->id}};
    if (selection->screenUUID)
        stored.insert(QStringLiteral("screen"), *selection->screenUUID);
    m_defaults.setValue(pendingSelectionKey, stored);
}

QStringList WallpaperDownloader::unfinished() const
{
    return m_defaults.stringArrayValue(unfinishedKey).value_or(QStringList());
}

void WallpaperDownloader::rememberUnfinished(const QString& id, bool isUnfinished)
{
    QStringList ids = unfinished();
    if (isUnfinished == ids.contains(id))
        return;
    if (isUnfinished)
        ids << id;
    else
        ids.removeAll(id);
    if (ids.isEmpty()) {
        m_defaults.removeValue(unfinishedKey);
        return;
    }
    QVariantList stored;  // the domain holds arrays as lists of values
    for (const QString& each : std::as_const(ids))
        stored << each;
    m_defaults.setValue(unfinishedKey, stored);
}

void WallpaperDownloader::applyPendingSelectionIfInstalled(const QString& id, const QString& path)
{
    const std::optional<PendingSelection> pending = pendingSelection();
    if (!pending || pending->id != id)
        return;
    setPendingSelection(std::nullopt);
    qCInfo(lcWallpapers, "wallpaper '%s' is installed and becomes the background", qUtf8Printable(id));
    if (m_applySelection)
        m_applySelection(path, pending->screenUUID);
}

void WallpaperDownloader::resumeUnfinished(const QList<SystemWallpaper>& wallpapers)
{
    auto find = [&](const QString& id) -> const SystemWallpaper* {
        for (const SystemWallpaper& w : wallpapers)
            if (w.id == id)
                return &w;
        return nullptr;
    };
    if (const auto pending = pendingSelection()) {
        const SystemWallpaper* w = find(pending->id);
        if (!w || (!w->localURL && !w->remote))
            setPendingSelection(std::nullopt);
        else if (w->localURL)
            applyPendingSelectionIfInstalled(w->id, w->localPath());
        else if (!unfinished().contains(w->id))
            rememberUnfinished(w->id, true);
    }
    for (const QString& id : unfinished()) {
        const SystemWallpaper* w = find(id);
        if (!w || w->localURL || !w->remote) {
            rememberUnfinished(id, false);
            continue;
        }
        qCInfo(lcWallpapers, "retrying the download of wallpaper '%s'", qUtf8Printable(id));
        download(*w);
    }
}

}  // namespace tamsinvale
