// The desktop pictures on offer: the system's folders, the desktop-picture catalogue and our own folder.
#pragma once

#include <QByteArray>
#include <QList>
#include <QLocale>
#include <QMap>
#include <QUrl>
#include <QVariantMap>
#include <functional>
#include <optional>

#include "SystemWallpaper.h"
#include "WallpaperLocations.h"

namespace tamsinvale {

// Parses property-list bytes (XML or binary) to a dictionary; nothing when they are not one.
using PropertyListReader = std::function<std::optional<QVariantMap>(const QByteArray&)>;

namespace WallpaperLibrary {

// Why an archive could not be installed.
enum class InstallError { checksumMismatch, unzipFailed, noImage };
QString describe(InstallError error);

using Catalog = QMap<QString, SystemWallpaper::Remote>;

// Catalogue files beyond this size are not read (the real one is some tens of kilobytes).
constexpr qint64 maxCatalogSize = 16 * 1024 * 1024;

// "heic", "jpg", "jpeg", "png", "tif", "tiff".
const QStringList& pictureExtensions();
// Whether the file name ends in one of the picture extensions, in any case.
bool isPictureFile(const QString& fileName);

// The assets of catalogue bytes: id → where to fetch it. Nothing readable gives an empty map and the log line
// "wallpaper catalog not available".
Catalog parseCatalog(const QByteArray& bytes, const PropertyListReader& reader);
// The catalogue file of `locations`, read and parsed as above.
Catalog catalog(const WallpaperLocations& locations, const PropertyListReader& reader);

// The first existing file named `name` (or `name` with a picture extension, when it has none) in the asset folders.
std::optional<QUrl> localFile(const WallpaperLocations& locations, const QString& name);

// Every choice, sorted by the locale's standard comparison of names (numbers by value, case ignored).
QList<SystemWallpaper> wallpapers(const WallpaperLocations& locations, const PropertyListReader& reader,
                                  const QLocale& locale = QLocale::system());
// Sorts as `wallpapers` does.
void sortByName(QList<SystemWallpaper>& list, const QLocale& locale);

// The system's default picture, when one is installed.
std::optional<QUrl> defaultWallpaperURL(const WallpaperLocations& locations);

}  // namespace WallpaperLibrary

}  // namespace tamsinvale
