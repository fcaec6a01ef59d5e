// `tamsinvale wallpapers`: list the desktop pictures, download one, make one the background, edit the rotation.
#pragma once

#include <QDateTime>
#include <QStringList>
#include <QTextStream>
#include <functional>

namespace tamsinvale {

class Bookmarks;
class SettingsStore;
class WallpaperDownloader;
class WallpaperList;

struct WallpapersCommandContext {
    WallpaperList& list;
    SettingsStore& store;
    const Bookmarks& bookmarks;
    WallpaperDownloader* downloader = nullptr;  // none: downloading is not possible here
    // Runs the main queue until `done` holds.
    std::function<void(const std::function<bool()>& done)> runUntil;
    bool progressBar = false;  // draw a progress bar on `err` (a terminal)
    QDateTime now;
};

// `arguments` are the words after "wallpapers". Returns the exit code.
int runWallpapersCommand(WallpapersCommandContext& context, const QStringList& arguments, QTextStream& out,
                         QTextStream& err);

// The whole command on this machine: the user's data folders, defaults file and network.
int runWallpapersMain(int argc, char** argv, const QStringList& arguments);

}  // namespace tamsinvale
