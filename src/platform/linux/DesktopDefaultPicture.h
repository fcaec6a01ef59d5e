// The picture a Linux desktop shows when nobody chose one: the distribution's or the desktop's default wallpaper.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace tamsinvale {

class DesktopDefaultPicture {
public:
    // Where default wallpapers are installed, most specific first, under each data directory
    // ($XDG_DATA_DIRS, in order): Debian's desktop-base choice, a distribution-wide default, then the stock
    // pictures of GNOME and KDE Plasma.
    static QStringList candidates(const QStringList& dataDirectories);
    // The first candidate that is a readable file (a link is followed); nothing when none is installed.
    static std::optional<QString> find(const QStringList& dataDirectories);
    // $XDG_DATA_DIRS, or its documented default.
    static QStringList dataDirectoriesFromEnvironment();
};

}  // namespace tamsinvale
