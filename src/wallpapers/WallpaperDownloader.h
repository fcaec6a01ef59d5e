// Fetches a catalogue picture's archive, verifies and unpacks it, and installs the picture in our wallpaper
// folder, publishing progress and failures for the picker, the progress panel and the command line.
#pragma once

#include <QMap>
#include <QObject>
#include <QSet>
#include <functional>
#include <memory>
#include <optional>

#include "SystemWallpaper.h"
#include "WallpaperLibrary.h"

namespace tamsinvale {

class ArchiveUnpacker;
class DefaultsDomain;
class DownloadSession;
class DownloadTask;
class SerialQueue;
class WallpaperList;

// What installing needs: the unpacker and two folders.
struct WallpaperInstallPlaces {
    ArchiveUnpacker* unpacker = nullptr;
    QString installFolder;    // our wallpaper folder, made when missing
    QString temporaryFolder;  // where "wallpaper-<UUID>" folders are unpacked into
};

// The outcome of installing one archive: the installed file, or why not.
struct InstallResult {
    std::optional<QString> file;
    std::optional<WallpaperLibrary::InstallError> error;
    QString detail;  // the unpacker's reason, for the log
};

// The picture the user chose while it was still to be downloaded, and the screen it was chosen for.
struct PendingSelection {
    QString id;
    std::optional<QString> screenUUID;
    bool operator==(const PendingSelection&) const = default;
};

class WallpaperDownloader : public QObject {
    Q_OBJECT
public:
    // Defaults keys of the downloads to retry at the next start, and of the pending selection.
    static inline const QString unfinishedKey = QStringLiteral("tamsinvale.wallpaper.downloads.unfinished");
    static inline const QString pendingSelectionKey = QStringLiteral("tamsinvale.wallpaper.downloads.pendingSelection");

    struct Outcome {
        QString id;
        std::optional<QString> installedFile;
        QString failure;  // the logged reason when nothing was installed
    };
    using Completion = std::function<void(const Outcome&)>;
    using SelectionApplier = std::function<void(const QString& path, const std::optional<QString>& screenUUID)>;

    WallpaperDownloader(DownloadSession& session, SerialQueue& installQueue, DefaultsDomain& defaults,
                        WallpaperInstallPlaces places, QObject* parent = nullptr);
    ~WallpaperDownloader() override;

    // Starts downloading a wallpaper that has a `remote`; nothing when it has none or its download runs.
    void download(const SystemWallpaper& wallpaper, Completion completion = {});
    // Verifies `archive` against the catalogue's checksum, unpacks it into a fresh temporary folder and moves
    // the first picture of its "AssetData" folder into place. Blocking file work; runs off the main thread.
    static InstallResult install(const QString& archive, const SystemWallpaper& wallpaper,
                                 const WallpaperInstallPlaces& places);

    // id → fraction 0…1, present while the id's download runs.
    const QMap<QString, double>& progress() const { return m_progress; }
    const QSet<QString>& failed() const { return m_failed; }
    bool isDownloading(const QString& id) const { return m_progress.contains(id); }

    // The picture to make the background once it is installed; kept across restarts.
    std::optional<PendingSelection> pendingSelection() const;
    void setPendingSelection(const std::optional<PendingSelection>& selection);
    // How a pending selection becomes the background (the settings store, then the dimmer's re-apply).
    void setSelectionApplier(SelectionApplier applier) { m_applySelection = std::move(applier); }
    // The list whose entries learn their installed files.
    void setList(WallpaperList* list) { m_list = list; }

    // Downloads started and never installed (failed, or cut off by quitting).
    QStringList unfinished() const;
    // At start: downloads each unfinished id again if the list still offers it, drops those installed or gone,
    // and applies a pending selection whose picture is already installed.
    void resumeUnfinished(const QList<SystemWallpaper>& wallpapers);

signals:
    void progressChanged(const QString& id);
    void failedChanged();
    void installed(const QString& id, const QString& path);
    void finished(const QString& id);

private:
    void onProgress(const QString& id, double fraction);
    void finish(const SystemWallpaper& wallpaper, const Outcome& outcome, const Completion& completion);
    void rememberUnfinished(const QString& id, bool unfinished);
    void applyPendingSelectionIfInstalled(const QString& id, const QString& path);

    DownloadSession& m_session;
    SerialQueue& m_installQueue;
    DefaultsDomain& m_defaults;
    WallpaperInstallPlaces m_places;
    WallpaperList* m_list = nullptr;
    SelectionApplier m_applySelection;

    QMap<QString, double> m_progress;
    QSet<QString> m_failed;
    QMap<QString, std::shared_ptr<DownloadTask>> m_observations;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace tamsinvale
