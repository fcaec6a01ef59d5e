// Looks for the installed default wallpaper in the places distributions and desktops put it.
#include "DesktopDefaultPicture.h"

#include <QFileInfo>

namespace tamsinvale {

QStringList DesktopDefaultPicture::candidates(const QStringList& dataDirectories)
{
    static const QStringList relative = {
        QStringLiteral("images/desktop-base/default"),  // Debian: the theme's picture, chosen by alternatives
        QStringLiteral("backgrounds/default.png"),
        QStringLiteral("backgrounds/default.jpg"),
        QStringLiteral("backgrounds/gnome/adwaita-l.jpg"),
        QStringLiteral("backgrounds/gnome/adwaita-l.webp"),
        QStringLiteral("backgrounds/gnome/adwaita-l.png"),
        QStringLiteral("wallpapers/Next/contents/images/1920x1080.png"),
        QStringLiteral("wallpapers/Next/contents/images/1920x1080.jpg"),
    };
    QStringList out;
    for (const QString& name : relative)
        for (const QString& dir : dataDirectories)
            if (!dir.isEmpty())
                out.append(dir + QLatin1Char('/') + name);
    return out;
}

std::optional<QString> DesktopDefaultPicture::find(const QStringList& dataDirectories)
{
    for (const QString& path : candidates(dataDirectories)) {
        const QFileInfo info(path);
        if (info.isFile() && info.isReadable())
            return info.canonicalFilePath();
    }
    return std::nullopt;
}

QStringList DesktopDefaultPicture::dataDirectoriesFromEnvironment()
{
    const QString env = qEnvironmentVariable("XDG_DATA_DIRS");
    QStringList dirs = env.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (dirs.isEmpty())
        dirs = {QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")};
    return dirs;
}

}  // namespace tamsinvale
