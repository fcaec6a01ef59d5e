// The Wallpapers page as data: the library's pictures with their download and rotation state, and the clicks.
#include "WallpapersPageModel.h"

#include <QFileInfo>
#include <QSet>

#include "platform/Bookmarks.h"
#include "wallpapers/WallpaperDownloader.h"
#include "wallpapers/WallpaperRotator.h"
#include "wallpapers/WallpaperServices.h"

namespace tamsinvale {

namespace {

QString canonical(const QString& path)
{
    const QFileInfo info(path);
    const QString resolved = info.canonicalFilePath();
    return resolved.isEmpty() ? info.absoluteFilePath() : resolved;
}

QString percentText(double fraction)
{
    return QStringLiteral("Downloading… %1 %").arg(int(std::clamp(fraction, 0.0, 1.0) * 100));
}

}  // namespace

const QString WallpapersPageModel::pickerHelp = QStringLiteral(
    "Click a picture to show it behind the active window on every screen. Pictures marked ↓ are downloaded first.");
const QString WallpapersPageModel::rotationHelp =
    QStringLiteral("Pictures ticked \"Rotate\" take turns as the picture for all screens.");
const QString WallpapersPageModel::blackBackgroundNote = QStringLiteral(
    "Focus dimming shows a black background now; the picture chosen here shows once Black Background is off.");
const QString WallpapersPageModel::noPicturesText =
    QStringLiteral("No wallpapers found. Pictures in the desktop's backgrounds folders are listed here.");
const QString WallpapersPageModel::nextWallpaperText = QStringLiteral("Next Wallpaper");

QString WallpapersPageModel::groupTitle(SystemWallpaper::Kind kind)
{
    switch (kind) {
    case SystemWallpaper::Kind::nature: return QStringLiteral("Landscapes");
    case SystemWallpaper::Kind::graphic: return QStringLiteral("Graphics");
    case SystemWallpaper::Kind::color: return QStringLiteral("Colors");
    }
    return {};
}

WallpapersPageState WallpapersPageModel::state(const Settings& s, const QList<SystemWallpaper>& wallpapers,
                                               const WallpaperDownloader* downloader, const Bookmarks* bookmarks)
{
    WallpapersPageState state;
    state.blackBackground = s.focusDimBlackBackground;

    std::optional<QString> current;
    if (bookmarks && s.focusDimBackgroundImageBookmark && !s.focusDimBackgroundImageBookmark->isEmpty())
        current = bookmarks->resolve(*s.focusDimBackgroundImageBookmark);
    const QString currentPath = current ? canonical(*current) : QString();
    QStringList members;  // resolved, in the set's order
    QSet<QString> memberPaths;
    if (bookmarks) {
        for (const QByteArray& bookmark : s.wallpaperRotationBookmarks) {
            if (const auto path = bookmarks->resolve(bookmark)) {
                members << *path;
                memberPaths.insert(canonical(*path));
            }
        }
    }

    QSet<QString> shown;  // canonical paths of the library's pictures on disk
    const SystemWallpaper::Kind kinds[] = {SystemWallpaper::Kind::nature, SystemWallpaper::Kind::graphic,
                                           SystemWallpaper::Kind::color};
    for (SystemWallpaper::Kind kind : kinds) {
        WallpaperGroup group{groupTitle(kind), {}};
        for (const SystemWallpaper& w : wallpapers) {
            if (w.kind != kind)
                continue;
            WallpaperTile tile;
            tile.id = w.id;
            tile.title = w.id;
            const bool onDisk = w.isLocal() && QFileInfo(w.localPath()).isFile();
            if (onDisk) {
                tile.path = w.localPath();
                const QString path = canonical(w.localPath());
                shown.insert(path);
                tile.current = path == currentPath;
                tile.inRotation = memberPaths.contains(path);
                tile.canRotate = true;
            }
            if (w.thumbnailURL && w.thumbnailURL->isLocalFile())
                tile.thumbnailSource = w.thumbnailURL->toLocalFile();
            else if (tile.path)
                tile.thumbnailSource = tile.path;
            tile.downloadable = !onDisk && w.remote.has_value();
            if (downloader && downloader->isDownloading(w.id)) {
                tile.progress = downloader->progress().value(w.id);
                tile.status = percentText(*tile.progress);
            } else if (downloader && !onDisk && downloader->failed().contains(w.id)) {
                tile.failed = true;
                tile.status = QStringLiteral("Couldn't download wallpaper");
            } else if (!onDisk && !w.remote) {
                tile.missing = true;
                tile.status = QStringLiteral("Picture not found");
            }
            group.tiles.append(tile);
        }
        if (!group.tiles.isEmpty())
            state.groups.append(group);
    }

    // The current picture and members of the set that were chosen from elsewhere (a file given on the command
    // line), so that what is in use is always on the page.
    WallpaperGroup others{QStringLiteral("Other Pictures"), {}};
    QStringList extra;
    if (current)
        extra << *current;
    extra << members;
    QSet<QString> added;
    for (const QString& path : std::as_const(extra)) {
        const QString key = canonical(path);
        if (shown.contains(key) || added.contains(key))
            continue;
        added.insert(key);
        WallpaperTile tile;
        tile.id = path;
        tile.title = QFileInfo(path).completeBaseName();
        tile.current = key == currentPath;
        tile.inRotation = memberPaths.contains(key);
        if (QFileInfo(path).isFile()) {
            tile.path = path;
            tile.thumbnailSource = path;
            tile.canRotate = true;
        } else {
            tile.missing = true;
            tile.status = QStringLiteral("Picture not found");
        }
        others.tiles.append(tile);
    }
    if (!others.tiles.isEmpty())
        state.groups.append(others);

    const int hours = int(s.wallpaperRotationHours);
    for (const RotationInterval& choice : WallpaperRotator::intervals()) {
        state.intervalLabels << choice.label;
        state.intervalHours << choice.hours;
    }
    state.intervalIndex = int(state.intervalHours.indexOf(std::max(0, hours)));
    if (state.intervalIndex < 0) {  // a number of hours written by hand
        state.intervalLabels << WallpaperRotator::intervalLabel(hours);
        state.intervalHours << hours;
        state.intervalIndex = int(state.intervalHours.size()) - 1;
    }
    state.rotationCount = int(members.size());
    state.nextEnabled = members.size() > 1;
    if (members.isEmpty())
        state.rotationSummary = QStringLiteral("No pictures in the rotation.");
    else if (members.size() == 1)
        state.rotationSummary = QStringLiteral("1 picture in the rotation: it takes two or more to change.");
    else if (hours <= 0)
        state.rotationSummary =
            QStringLiteral("%1 pictures in the rotation; they change only with Next Wallpaper.").arg(members.size());
    else
        state.rotationSummary = QStringLiteral("%1 pictures in the rotation, changing %2.")
                                    .arg(members.size())
                                    .arg(WallpaperRotator::intervalLabel(hours).toLower());
    return state;
}

WallpapersPageModel::ChooseOutcome WallpapersPageModel::choose(WallpaperServices& services, const QString& id)
{
    WallpaperDownloader& downloader = services.downloader();
    // A picture chosen now replaces one chosen earlier that is still waiting for its download.
    auto dropEarlierChoice = [&] {
        if (const auto pending = downloader.pendingSelection(); pending && !pending->screenUUID)
            downloader.setPendingSelection(std::nullopt);
    };
    const std::optional<SystemWallpaper> wallpaper = services.list().find(id);
    if (!wallpaper) {
        const QFileInfo file(id);
        if (!file.isFile())
            return ChooseOutcome::unavailable;
        dropEarlierChoice();
        services.applySelection(file.absoluteFilePath());
        return ChooseOutcome::applied;
    }
    if (wallpaper->isLocal() && QFileInfo(wallpaper->localPath()).isFile()) {
        dropEarlierChoice();
        services.applySelection(wallpaper->localPath());
        return ChooseOutcome::applied;
    }
    if (!wallpaper->remote)
        return ChooseOutcome::unavailable;
    downloader.setPendingSelection(PendingSelection{wallpaper->id, std::nullopt});
    downloader.download(*wallpaper);
    services.panel().show(wallpaper->id);
    return ChooseOutcome::downloading;
}

void WallpapersPageModel::setInRotation(WallpaperRotator& rotator, const QString& path, bool inRotation)
{
    if (inRotation)
        rotator.add(path);
    else
        rotator.remove(path);
}

void WallpapersPageModel::setIntervalIndex(WallpaperRotator& rotator, const WallpapersPageState& state, int index)
{
    if (index >= 0 && index < state.intervalHours.size())
        rotator.setIntervalHours(state.intervalHours[index]);
}

}  // namespace tamsinvale
