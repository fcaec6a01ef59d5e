// The wallpaper list the picker and the downloader share: built on first use, kept until refreshed, and told
// when a download installs a picture.
#pragma once

#include <QList>
#include <QObject>
#include <functional>
#include <optional>

#include "SystemWallpaper.h"

namespace tamsinvale {

class WallpaperList : public QObject {
    Q_OBJECT
public:
    using Builder = std::function<QList<SystemWallpaper>()>;
    explicit WallpaperList(Builder builder, QObject* parent = nullptr);

    const QList<SystemWallpaper>& wallpapers();
    std::optional<SystemWallpaper> find(const QString& id);
    // Walks the folders and reads the catalogue again.
    void refresh();
    // A download installed `id` at `path`: it is local from now on.
    void setLocalFile(const QString& id, const QString& path);

signals:
    void changed();

private:
    Builder m_builder;
    std::optional<QList<SystemWallpaper>> m_list;
};

}  // namespace tamsinvale
