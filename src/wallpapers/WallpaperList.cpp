#include "WallpaperList.h"

namespace tamsinvale {

WallpaperList::WallpaperList(Builder builder, QObject* parent) : QObject(parent), m_builder(std::move(builder)) {}

const QList<SystemWallpaper>& WallpaperList::wallpapers()
{
    if (!m_list)
        m_list = m_builder();
    return *m_list;
}

std::optional<SystemWallpaper> WallpaperList::find(const QString& id)
{
    for (const SystemWallpaper& w : wallpapers())
        if (w.id == id)
            return w;
    return std::nullopt;
}

void WallpaperList::refresh()
{
    m_list = m_builder();
    emit changed();
}

void WallpaperList::setLocalFile(const QString& id, const QString& path)
{
    wallpapers();
    for (SystemWallpaper& w : *m_list)
        if (w.id == id)
            w.localURL = QUrl::fromLocalFile(path);
    emit changed();
}

}  // namespace tamsinvale
