// Icon lookup through Qt's icon-theme engine (freedesktop icon themes, hicolor as the fallback theme).
#include "X11Icons.h"

#include <QFileInfo>
#include <QIcon>
#include <QMimeDatabase>

namespace tamsinvale {

namespace {

QImage render(const QIcon& icon, int pointSize)
{
    if (icon.isNull() || pointSize <= 0)
        return {};
    const QSize size(pointSize, pointSize);
    QImage image = icon.pixmap(size).toImage();
    // Themes ship a few sizes; the callers lay icons out at exactly the size they asked for.
    if (!image.isNull() && image.size() != size)
        image = image.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}

}  // namespace

QImage X11Icons::named(const QString& nameOrPath, int pointSize)
{
    const QString value = nameOrPath.trimmed();
    if (value.isEmpty())
        return {};
    if (QFileInfo(value).isAbsolute()) {
        if (!QFileInfo(value).isFile())
            return {};
        return render(QIcon(value), pointSize);
    }
    // Older entries name a theme icon together with its extension ("foo.png"); the theme knows it as "foo".
    QString name = value;
    for (const char* suffix : {".png", ".svg", ".xpm"})
        if (name.endsWith(QLatin1String(suffix), Qt::CaseInsensitive))
            name.chop(4);
    return render(QIcon::fromTheme(name), pointSize);
}

QImage X11Icons::forFile(const QString& path, int pointSize)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    const QMimeDatabase mimes;
    const QMimeType type = mimes.mimeTypeForFile(info);
    QStringList names;
    if (info.isDir())
        names << QStringLiteral("folder");
    if (type.isValid())
        names << type.iconName() << type.genericIconName();
    names << (info.isExecutable() && !info.isDir() ? QStringLiteral("application-x-executable")
                                                   : QStringLiteral("text-x-generic"));
    for (const QString& name : std::as_const(names)) {
        if (name.isEmpty())
            continue;
        const QImage image = render(QIcon::fromTheme(name), pointSize);
        if (!image.isNull())
            return image;
    }
    return {};
}

}  // namespace tamsinvale
