// The wallpaper list, the downloader and its progress panel, wired for the running application.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "WallpaperDownloadPanel.h"
#include "WallpaperDownloader.h"
#include "WallpaperList.h"
#include "WallpaperLocations.h"

namespace tamsinvale {

class Bookmarks;
class SettingsStore;
struct Platform;

struct WallpaperBackends {
    DownloadSession* session = nullptr;
    SerialQueue* installQueue = nullptr;
    ArchiveUnpacker* unpacker = nullptr;
    QString temporaryFolder;
};

class WallpaperServices : public QObject {
    Q_OBJECT
public:
    // `applyAppearance` asks focus dimming to show a newly chosen picture.
    WallpaperServices(const Platform& platform, SettingsStore& settings, const WallpaperLocations& locations,
                      PropertyListReader reader, const WallpaperBackends& backends,
                      std::function<void()> applyAppearance, QObject* parent = nullptr);

    WallpaperList& list() { return m_list; }
    WallpaperDownloader& downloader() { return *m_downloader; }
    WallpaperDownloadPanel& panel() { return *m_panel; }

    // Retries the downloads a previous run left unfinished; the panel shows the one the user chose, if any.
    void resumeUnfinished();
    // Makes `path` the background (of every screen, or of one) and has focus dimming show it.
    void applySelection(const QString& path, const std::optional<QString>& screenUUID = std::nullopt);

private:
    WallpaperLocations m_locations;
    WallpaperList m_list;
    std::unique_ptr<WallpaperDownloader> m_downloader;
    std::unique_ptr<WallpaperDownloadPanel> m_panel;
    WallpaperDownloader::SelectionApplier m_applySelection;
};

}  // namespace tamsinvale
