// Icons for desktop entries and other files on Linux: the entry's Icon as a path or a name in the icon themes.
#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

namespace tamsinvale {

class DesktopIconLoader {
public:
    // Icon theme base directories ($XDG_DATA_HOME/icons, each $XDG_DATA_DIRS/icons, /usr/share/pixmaps).
    explicit DesktopIconLoader(QStringList iconDirs = standardIconDirs());
    static QStringList standardIconDirs();

    // Thread-safe (images only): the icon for a .desktop file, a .py script or anything else, at `size` pixels.
    // Falls back to a generic drawn image, never null.
    QImage load(const QString& path, int size) const;
    // The file of a themed icon name, empty when none is installed.
    QString findThemedIcon(const QString& name, int size) const;

    static QImage genericIcon(int size, const QString& label);

private:
    QStringList m_iconDirs;
};

}  // namespace tamsinvale
