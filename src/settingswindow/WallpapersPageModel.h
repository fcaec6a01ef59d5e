// What the Wallpapers page shows (the pictures grouped by kind with their state, the rotation set, the interval)
// and what its clicks do.
#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "settings/Settings.h"
#include "wallpapers/SystemWallpaper.h"

namespace tamsinvale {

class Bookmarks;
class WallpaperDownloader;
class WallpaperRotator;
class WallpaperServices;

struct WallpaperTile {
    QString id;                               // the library's id; a file path for a picture from elsewhere
    QString title;                            // the name shown under it
    std::optional<QString> path;              // the full picture, when it is on disk
    std::optional<QString> thumbnailSource;   // the file its preview is made from
    bool downloadable = false;                // "↓": in the catalogue, not here yet
    std::optional<double> progress;           // while its download runs, 0…1
    bool failed = false;                      // its last download failed
    bool missing = false;                     // neither on disk nor downloadable
    bool current = false;                     // the picture for all screens
    bool inRotation = false;
    bool canRotate = false;                   // only pictures on disk can take turns
    QString status;                           // what the tile says about its state, empty when nothing
    bool operator==(const WallpaperTile&) const = default;
};

struct WallpaperGroup {
    QString title;
    QList<WallpaperTile> tiles;
    bool operator==(const WallpaperGroup&) const = default;
};

struct WallpapersPageState {
    QList<WallpaperGroup> groups;  // nature, graphic, colour, then pictures chosen from elsewhere; empty ones left out
    QStringList intervalLabels;
    QList<int> intervalHours;      // parallel to the labels
    int intervalIndex = 0;
    int rotationCount = 0;         // pictures of the set that resolve
    bool nextEnabled = false;      // "Next Wallpaper" has somewhere to go
    QString rotationSummary;
    bool blackBackground = false;  // the picture is not shown at all
};

namespace WallpapersPageModel {

extern const QString pickerHelp;
extern const QString rotationHelp;
extern const QString blackBackgroundNote;
extern const QString noPicturesText;
extern const QString nextWallpaperText;  // "Next Wallpaper"

QString groupTitle(SystemWallpaper::Kind kind);

// `downloader` may be null (no downloads on this desktop).
WallpapersPageState state(const Settings& settings, const QList<SystemWallpaper>& wallpapers,
                          const WallpaperDownloader* downloader, const Bookmarks* bookmarks);

enum class ChooseOutcome { applied, downloading, unavailable };
// A click on a picture: one on disk becomes the picture for all screens at once; one still to be downloaded is
// downloaded with the progress panel shown, and becomes the picture once installed; a failed one is tried again.
ChooseOutcome choose(WallpaperServices& services, const QString& id);
// The per-picture rotation toggle.
void setInRotation(WallpaperRotator& rotator, const QString& path, bool inRotation);
// One of `state.intervalHours`, by index.
void setIntervalIndex(WallpaperRotator& rotator, const WallpapersPageState& state, int index);

}  // namespace WallpapersPageModel

}  // namespace tamsinvale
