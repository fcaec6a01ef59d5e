// Icons for desktop entries and other files on Linux: an entry's Icon as an absolute path, or as a name in the
// current icon theme, its parents, hicolor and the pixmaps folder; PNG, SVG and XPM.
#pragma once

#include <QImage>
#include <QString>
#include <QStringList>
#include <memory>

#include "IconProvider.h"

namespace tamsinvale {

class IconThemeIndex;

class DesktopIconLoader : public IconProvider {
public:
    // `themeName` empty: hicolor only.
    explicit DesktopIconLoader(QStringList iconDirs = standardIconDirs(), QString themeName = currentThemeName());
    ~DesktopIconLoader() override;

    // ~/.icons, $XDG_DATA_HOME/icons, each $XDG_DATA_DIRS/icons, /usr/share/pixmaps.
    static QStringList standardIconDirs();
    // The icon theme the session uses, as Qt reads it from the desktop. Main thread.
    static QString currentThemeName();
    // The theme looked in first ("hicolor" when none is chosen).
    QString themeName() const;

    // The picture file an Icon value names (an absolute path, or a theme name, with or without an old-style
    // extension); empty when none is installed. Thread-safe.
    QString findIcon(const QString& iconValue, int size) const;
    // The picture a file's icon comes from: a desktop entry's Icon (as declared, or read from the file), the
    // Python icon for a script. Empty when there is none and a placeholder is drawn instead.
    QString pictureFor(const IconRequest& request, int size) const;

    void rescan() const override;
    QString sourceOf(const IconRequest& request, int size) const override;
    QImage load(const IconRequest& request, int size) const override;
    // The icon for a .desktop file, a .py script or anything else. Never null.
    QImage load(const QString& path, int size) const { return load(IconRequest{{}, path, {}, {}}, size); }

    static QImage readPicture(const QString& file, int size);
    static QImage genericIcon(int size, const QString& label);

private:
    static QString labelFor(const IconRequest& request);

    std::unique_ptr<IconThemeIndex> m_index;
};

}  // namespace tamsinvale
