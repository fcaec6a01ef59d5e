// Desktop entry icons: the Icon value resolved through the icon themes, the picture decoded at the wanted size,
// and a drawn placeholder for entries without one.
#include "DesktopIconLoader.h"

#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QImageReader>
#include <QPainter>
#include <filesystem>
#include <system_error>

#include "DesktopEntryFile.h"
#include "IconThemeIndex.h"

namespace tamsinvale {

namespace {

constexpr qint64 maxIconFileSize = 4 * 1024 * 1024;

qint64 modifiedAt(const QString& path)
{
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path.toStdString(), error);
    return error ? -1 : qint64(std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
}

}  // namespace

DesktopIconLoader::DesktopIconLoader(QStringList iconDirs, QString themeName)
    : m_index(std::make_unique<IconThemeIndex>(std::move(iconDirs), std::move(themeName)))
{
}

DesktopIconLoader::~DesktopIconLoader() = default;

QStringList DesktopIconLoader::standardIconDirs()
{
    QStringList out;
    out.append(QDir::homePath() + QStringLiteral("/.icons"));
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
    out.removeDuplicates();
    return out;
}

QString DesktopIconLoader::currentThemeName()
{
    return QIcon::themeName();
}

QString DesktopIconLoader::themeName() const
{
    return m_index->themeName();
}

QString DesktopIconLoader::findIcon(const QString& iconValue, int size) const
{
    const QString value = iconValue.trimmed();
    if (value.isEmpty())
        return {};
    if (QFileInfo(value).isAbsolute())
        return QFileInfo(value).isFile() ? value : QString();
    QString name = value;
    QString file = m_index->find(name, size);
    // Older entries name a theme icon with its extension ("foo.png"); the themes know it as "foo".
    if (file.isEmpty()) {
        for (const char* suffix : {".png", ".svg", ".xpm"}) {
            if (name.endsWith(QLatin1String(suffix), Qt::CaseInsensitive)) {
                name.chop(4);
                file = m_index->find(name, size);
                break;
            }
        }
    }
    return file;
}

QString DesktopIconLoader::pictureFor(const IconRequest& request, int size) const
{
    if (request.path.endsWith(QLatin1String(".desktop"))) {
        if (request.declared)
            return findIcon(*request.declared, size);
        if (const auto entry = DesktopEntryFile::read(request.path))
            return findIcon(entry->value(QStringLiteral("Icon")), size);
        return {};
    }
    if (request.path.endsWith(QLatin1String(".py")))
        return findIcon(QStringLiteral("text-x-python"), size);
    return {};
}

QString DesktopIconLoader::labelFor(const IconRequest& request)
{
    if (!request.label.isEmpty())
        return request.label;
    if (request.path.endsWith(QLatin1String(".desktop"))) {
        if (const auto entry = DesktopEntryFile::read(request.path))
            return entry->value(QStringLiteral("Name"));
    }
    return QFileInfo(request.path).completeBaseName();
}

void DesktopIconLoader::rescan() const
{
    m_index->rescan();
}

QString DesktopIconLoader::sourceOf(const IconRequest& request, int size) const
{
    const QString picture = pictureFor(request, size);
    if (picture.isEmpty())
        return QStringLiteral("placeholder:") + labelFor(request);
    std::error_code error;
    const auto bytes = std::filesystem::file_size(picture.toStdString(), error);
    return picture + QLatin1Char('@') + QString::number(modifiedAt(picture)) + QLatin1Char('/')
        + QString::number(error ? 0 : qulonglong(bytes));
}

QImage DesktopIconLoader::load(const IconRequest& request, int size) const
{
    const QImage image = readPicture(pictureFor(request, size), size);
    return image.isNull() ? genericIcon(size, labelFor(request)) : image;
}

QImage DesktopIconLoader::readPicture(const QString& file, int size)
{
    if (file.isEmpty() || QFileInfo(file).size() > maxIconFileSize)
        return {};
    QImageReader reader(file);
    // Vector icons render straight at the wanted size.
    const QByteArray format = reader.format();
    if (format == "svg" || format == "svgz") {
        QSize scaled = reader.size().isValid() ? reader.size() : QSize(size, size);
        scaled.scale(size, size, Qt::KeepAspectRatio);
        reader.setScaledSize(scaled);
    }
    QImage image = reader.read();
    if (image.isNull())
        return {};
    if (image.size() != QSize(size, size))
        image = image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
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
