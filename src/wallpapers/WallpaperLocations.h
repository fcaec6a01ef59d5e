// Where the wallpaper library looks: the system's picture folders, the catalogue, the downloaded-asset folders
// and our own wallpaper folder, for macOS and for a Linux desktop.
#pragma once

#include <QString>
#include <QStringList>

namespace tamsinvale {

struct WallpaperLocations {
    // Folders of pictures that come with the system or the desktop, walked for choices.
    QStringList systemPictureFolders;
    // Sub-folders of each system folder that are walked too (macOS keeps its solid colours apart).
    QStringList systemPictureSubfolders;
    // Whether the system folders hold desktop packages and gnome-background-properties lists (Linux).
    bool linuxDesktopLayouts = false;
    // Folders of gnome-background-properties XML files, which give pictures their display names.
    QStringList backgroundPropertiesFolders;
    // The desktop-picture catalogue (a property list); empty when the system has none.
    QString catalogueFile;
    // Whether every catalogue asset is a choice, or only those a ".madesktop" description names (macOS).
    bool listEveryCatalogueAsset = false;
    // Folders where downloaded assets lie, searched in this order; our own folder comes first.
    QStringList assetFolders;
    // Our own wallpaper folder, where downloaded pictures are installed.
    QString applicationWallpaperFolder;
    // Where the system's default picture may be, most specific first.
    QStringList defaultPictureCandidates;

    // The macOS layout under the user's home folder.
    static WallpaperLocations forMacOS(const QString& homeFolder);
    // A Linux desktop: pictures under each data directory ($XDG_DATA_DIRS), our folder and the optional
    // catalogue under the user's data home ($XDG_DATA_HOME). `defaultPictures` are the desktop's default
    // wallpaper candidates.
    static WallpaperLocations forLinux(const QStringList& dataDirectories, const QString& dataHome,
                                       const QStringList& defaultPictures);
    // $XDG_DATA_HOME, or ~/.local/share when unset or empty.
    static QString dataHomeFromEnvironment();
};

}  // namespace tamsinvale
