// Path bookmarks: stored as UTF-8 absolute paths.
#include "PathBookmarks.h"

#include <QDir>
#include <QFileInfo>

namespace tamsinvale {

QByteArray PathBookmarks::create(const QString& path) const
{
    return QFileInfo(path).absoluteFilePath().toUtf8();
}

std::optional<QString> PathBookmarks::resolve(const QByteArray& bookmark) const
{
    const QString path = QString::fromUtf8(bookmark);
    if (path.isEmpty() || !QDir::isAbsolutePath(path) || !QFileInfo::exists(path))
        return std::nullopt;
    return QDir::cleanPath(path);
}

}  // namespace tamsinvale
