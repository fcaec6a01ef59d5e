#include "WallpaperServices.h"

#include "WallpaperSelection.h"
#include "platform/Platform.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

WallpaperServices::WallpaperServices(const Platform& platform, SettingsStore& settings,
                                     const WallpaperLocations& locations, PropertyListReader reader,
                                     const WallpaperBackends& backends, std::function<void()> applyAppearance,
                                     QObject* parent)
    : QObject(parent),
      m_locations(locations),
      m_list([locations, reader] { return WallpaperLibrary::wallpapers(locations, reader); })
{
    m_downloader = std::make_unique<WallpaperDownloader>(
        *backends.session, *backends.installQueue, *platform.defaults,
        WallpaperInstallPlaces{backends.unpacker, locations.applicationWallpaperFolder, backends.temporaryFolder});
    m_downloader->setList(&m_list);
    const Bookmarks* bookmarks = platform.bookmarks;
    m_applySelection = [&settings, bookmarks, applyAppearance](const QString& path,
                                                               const std::optional<QString>& screen) {
        if (bookmarks)
            WallpaperSelection::apply(settings, *bookmarks, path, screen);
        if (applyAppearance)
            applyAppearance();
    };
    m_downloader->setSelectionApplier(m_applySelection);
    m_panel = std::make_unique<WallpaperDownloadPanel>(*m_downloader);
}

void WallpaperServices::applySelection(const QString& path, const std::optional<QString>& screenUUID)
{
    m_applySelection(path, screenUUID);
}

void WallpaperServices::resumeUnfinished()
{
    if (m_downloader->unfinished().isEmpty() && !m_downloader->pendingSelection())
        return;
    m_list.refresh();
    m_downloader->resumeUnfinished(m_list.wallpapers());
    if (const auto pending = m_downloader->pendingSelection(); pending && m_downloader->isDownloading(pending->id))
        m_panel->show(pending->id);
}

}  // namespace tamsinvale
