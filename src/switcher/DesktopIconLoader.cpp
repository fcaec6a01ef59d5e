// Icon lookup in the hicolor theme and the pixmaps folder; enough for launcher icons without a theme engine.
#include "DesktopIconLoader.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

#include "DesktopEntryFile.h"

namespace tamsinvale {

namespace {

constexpr qint64 maxIconFileSize = 4 * 1024 * 1024;

QImage readImage(const QString& file, int size)
{
    if (file.isEmpty() || QFileInfo(file).size() > maxIconFileSize)
        return {};
    QImageReader reader(file);
    // Vector icons render straight at the wanted size.
    if (reader.format() == "svg" || file.endsWith(QLatin1String(".svg")))
        reader.setScaledSize(QSize(size, size));
    QImage image = reader.read();
    if (image.isNull())
        return {};
    return image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

DesktopIconLoader::DesktopIconLoader(QStringList iconDirs) : m_iconDirs(std::move(iconDirs)) {}

QStringList DesktopIconLoader::standardIconDirs()
{
    QStringList out;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/share");
    out.append(home + QStringLiteral("/icons"));
    QString dirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString& d : dirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        out.append(d + QStringLiteral("/icons"));
    out.append(QStringLiteral("/usr/share/pixmaps"));
    return out;
}

QString DesktopIconLoader::findThemedIcon(const QString& name, int size) const
{
    if (name.isEmpty() || name.contains(QLatin1Char('/')))
        return {};
    const QStringList sizes = {QStringLiteral("%1x%1").arg(size), QStringLiteral("scalable"),
                               QStringLiteral("128x128"), QStringLiteral("256x256"), QStringLiteral("48x48"),
                               QStringLiteral("32x32")};
    const QStringList extensions = {QStringLiteral(".png"), QStringLiteral(".svg"), QStringLiteral(".xpm")};
    for (const QString& base : m_iconDirs) {
        for (const QString& s : sizes) {
            for (const QString& ext : extensions) {
                const QString candidate = base + QStringLiteral("/hicolor/") + s + QStringLiteral("/apps/") + name + ext;
                if (QFileInfo::exists(candidate))
                    return candidate;
            }
        }
        for (const QString& ext : extensions) {
            const QString flat = base + QLatin1Char('/') + name + ext;
            if (QFileInfo::exists(flat))
                return flat;
        }
    }
    return {};
}

QImage DesktopIconLoader::load(const QString& path, int size) const
{
    QString label = QFileInfo(path).completeBaseName();
    if (path.endsWith(QLatin1String(".desktop"))) {
        if (auto entry = DesktopEntryFile::read(path)) {
            const QString icon = entry->value(QStringLiteral("Icon"));
            label = entry->value(QStringLiteral("Name"));
            QImage image = readImage(icon.startsWith(QLatin1Char('/')) ? icon : findThemedIcon(icon, size), size);
            if (!image.isNull())
                return image;
        }
    } else if (path.endsWith(QLatin1String(".py"))) {
        QImage image = readImage(findThemedIcon(QStringLiteral("text-x-python"), size), size);
        if (!image.isNull())
            return image;
    }
    return genericIcon(size, label);
}

QImage DesktopIconLoader::genericIcon(int size, const QString& label)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    // A colour of its own per name keeps rows apart at a glance.
    const QColor colour = QColor::fromHsv(int(qHash(label) % 360), 110, 200);
    p.setBrush(colour);
    p.setPen(Qt::NoPen);
    p.drawRoundedRect(QRectF(2, 2, size - 4, size - 4), size * 0.22, size * 0.22);
    p.setPen(Qt::white);
    QFont font;
    font.setPixelSize(size / 2);
    font.setBold(true);
    p.setFont(font);
    p.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, label.left(1).toUpper());
    return image;
}

}  // namespace tamsinvale
