// The fixed folders of the wallpaper library on each desktop.
#include "WallpaperLocations.h"

#include <QDir>

namespace tamsinvale {

WallpaperLocations WallpaperLocations::forMacOS(const QString& homeFolder)
{
    WallpaperLocations l;
    l.systemPictureFolders = {QStringLiteral("/System/Library/Desktop Pictures"),
                              QStringLiteral("/Library/Desktop Pictures")};
    l.systemPictureSubfolders = {QStringLiteral("Solid Colors"), QStringLiteral(".wallpapers")};
    l.catalogueFile = QStringLiteral(
        "/System/Library/AssetsV2/com_apple_MobileAsset_DesktopPicture/com_apple_MobileAsset_DesktopPicture.xml");
    l.applicationWallpaperFolder = homeFolder + QStringLiteral("/Library/Application Support/Tamsinvale/Wallpapers");
    l.assetFolders = {l.applicationWallpaperFolder,
                      homeFolder + QStringLiteral("/Library/Application Support/com.apple.mobileAssetDesktop"),
                      QStringLiteral("/Library/Application Support/com.apple.mobileAssetDesktop")};
    l.defaultPictureCandidates = {QStringLiteral("/System/Library/CoreServices/DefaultDesktop.heic"),
                                  QStringLiteral("/System/Library/CoreServices/DefaultDesktop.jpg")};
    return l;
}

WallpaperLocations WallpaperLocations::forLinux(const QStringList& dataDirectories, const QString& dataHome,
                                                const QStringList& defaultPictures)
{
    WallpaperLocations l;
    l.linuxDesktopLayouts = true;
    for (const QString& dir : dataDirectories) {
        if (dir.isEmpty())
            continue;
        l.systemPictureFolders << dir + QStringLiteral("/backgrounds") << dir + QStringLiteral("/wallpapers");
        l.backgroundPropertiesFolders << dir + QStringLiteral("/gnome-background-properties");
    }
    // No system catalogue on Linux: one is read only where the user placed it.
    l.catalogueFile = dataHome + QStringLiteral("/Tamsinvale/DesktopPictureCatalog.xml");
    l.listEveryCatalogueAsset = true;
    l.applicationWallpaperFolder = dataHome + QStringLiteral("/Tamsinvale/Wallpapers");
    l.assetFolders = {l.applicationWallpaperFolder};
    l.defaultPictureCandidates = defaultPictures;
    return l;
}

QString WallpaperLocations::dataHomeFromEnvironment()
{
    const QString env = qEnvironmentVariable("XDG_DATA_HOME");
    return env.isEmpty() ? QDir::homePath() + QStringLiteral("/.local/share") : env;
}

}  // namespace tamsinvale
