// The wallpaper list builder and the catalogue reader.
#include "WallpaperLibrary.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>
#include <algorithm>

#include "platform/Logging.h"

namespace tamsinvale {

QString SystemWallpaper::kindName(Kind kind)
{
    switch (kind) {
    case Kind::nature:
        return QStringLiteral("nature");
    case Kind::graphic:
        return QStringLiteral("graphic");
    case Kind::color:
        return QStringLiteral("color");
    }
    return {};
}

namespace WallpaperLibrary {

namespace {

const QString thumbnailSuffix = QStringLiteral(" Thumbnail.png");
const QString darkSuffix = QStringLiteral(" Dark.heic");
constexpr int maxWalkDepth = 4;          // deeper folders are not picture collections
constexpr int maxFilesPerFolder = 5000;  // a folder of more is not walked further

QString joinedAddress(const QString& base, const QString& relative)
{
    if (base.endsWith(QLatin1Char('/')) || relative.startsWith(QLatin1Char('/')) || base.isEmpty()
        || relative.isEmpty())
        return base + relative;
    return base + QLatin1Char('/') + relative;
}

// The picture's name: its file name without the last extension.
QString pictureName(const QString& fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}

SystemWallpaper::Kind kindOf(const QString& name, const QString& path)
{
    static const QRegularExpression graphic(QStringLiteral("\\bgraphic\\b"),
                                            QRegularExpression::CaseInsensitiveOption);
    if (path.contains(QStringLiteral("/Solid Colors/")))
        return SystemWallpaper::Kind::color;
    if (graphic.match(name).hasMatch())
        return SystemWallpaper::Kind::graphic;
    return SystemWallpaper::Kind::nature;
}

// Display names from gnome-background-properties lists: picture path → name, plus the dark variants.
struct BackgroundProperties {
    QHash<QString, QString> names;
    QSet<QString> darkVariants;
};

QString canonical(const QString& path)
{
    const QString c = QFileInfo(path).canonicalFilePath();
    return c.isEmpty() ? QDir::cleanPath(path) : c;
}

void readBackgroundProperties(const QString& file, BackgroundProperties& into)
{
    QFile f(file);
    if (f.size() > maxCatalogSize || !f.open(QIODevice::ReadOnly))
        return;
    QXmlStreamReader xml(&f);
    QString name, filename, dark;
    bool deleted = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            const auto tag = xml.name();
            if (tag == QLatin1String("wallpaper")) {
                name.clear();
                filename.clear();
                dark.clear();
                deleted = xml.attributes().value(QLatin1String("deleted")) == QLatin1String("true");
            } else if (tag == QLatin1String("name") && xml.attributes().value(QLatin1String("xml:lang")).isEmpty()) {
                name = xml.readElementText().trimmed();
            } else if (tag == QLatin1String("filename")) {
                filename = xml.readElementText().trimmed();
            } else if (tag == QLatin1String("filename-dark")) {
                dark = xml.readElementText().trimmed();
            }
        } else if (xml.isEndElement() && xml.name() == QLatin1String("wallpaper")) {
            if (deleted || filename.isEmpty())
                continue;
            const QString path = canonical(filename);
            if (!name.isEmpty() && !into.names.contains(path))
                into.names.insert(path, name);
            if (!dark.isEmpty() && canonical(dark) != path)
                into.darkVariants.insert(canonical(dark));
        }
    }
}

BackgroundProperties backgroundProperties(const WallpaperLocations& locations)
{
    BackgroundProperties properties;
    for (const QString& folder : locations.backgroundPropertiesFolders) {
        const QDir dir(folder);
        for (const QString& file : dir.entryList({QStringLiteral("*.xml")}, QDir::Files | QDir::Readable, QDir::Name))
            readBackgroundProperties(dir.filePath(file), properties);
    }
    return properties;
}

// The picture of a KDE wallpaper package: the largest "<W>x<H>.<ext>" in contents/images.
std::optional<QString> packagePicture(const QDir& package)
{
    static const QRegularExpression size(QStringLiteral("^(\\d+)x(\\d+)\\.[^.]+$"));
    const QDir images(package.filePath(QStringLiteral("contents/images")));
    std::optional<QString> best;
    qint64 bestArea = -1;
    for (const QString& file : images.entryList(QDir::Files | QDir::Readable, QDir::Name)) {
        if (!isPictureFile(file))
            continue;
        const auto m = size.match(file);
        const qint64 area = m.hasMatch() ? m.captured(1).toLongLong() * m.captured(2).toLongLong() : 0;
        if (area > bestArea) {
            bestArea = area;
            best = images.filePath(file);
        }
    }
    return best;
}

std::optional<QUrl> packageThumbnail(const QDir& package)
{
    for (const char* name : {"contents/screenshot.png", "contents/screenshot.jpg"})
        if (QFileInfo(package.filePath(QLatin1String(name))).isFile())
            return QUrl::fromLocalFile(package.filePath(QLatin1String(name)));
    return std::nullopt;
}

struct ListBuilder {
    const WallpaperLocations& locations;
    const PropertyListReader& reader;
    BackgroundProperties properties;
    Catalog catalogue;
    QList<SystemWallpaper> list;
    QSet<QString> ids;
    QSet<QString> paths;
    QStringList descriptions;  // .madesktop files found on the way

    void add(SystemWallpaper wallpaper)
    {
        if (wallpaper.id.isEmpty() || ids.contains(wallpaper.id))
            return;
        if (wallpaper.localURL) {
            const QString path = canonical(wallpaper.localURL->toLocalFile());
            if (paths.contains(path))
                return;
            paths.insert(path);
        }
        ids.insert(wallpaper.id);
        list.append(std::move(wallpaper));
    }

    // The pictures of one folder, thumbnails and dark variants folded into the picture they belong to.
    void addFolderPictures(const QDir& dir, const QStringList& files)
    {
        QSet<QString> names;
        for (const QString& file : files)
            if (isPictureFile(file))
                names.insert(pictureName(file));
        for (const QString& file : files) {
            if (file.endsWith(QLatin1String(".madesktop"), Qt::CaseInsensitive)) {
                descriptions << dir.filePath(file);
                continue;
            }
            if (!isPictureFile(file))
                continue;
            if (file.endsWith(thumbnailSuffix) || (file.endsWith(darkSuffix) && names.contains(file.chopped(darkSuffix.size()))))
                continue;
            const QString path = dir.filePath(file);
            if (properties.darkVariants.contains(canonical(path)))
                continue;
            const QString name = pictureName(file);
            SystemWallpaper w;
            w.id = properties.names.value(canonical(path), name);
            w.kind = kindOf(w.id, path);
            w.localURL = QUrl::fromLocalFile(path);
            const QString thumbnail = dir.filePath(name + thumbnailSuffix);
            if (files.contains(name + thumbnailSuffix))
                w.thumbnailURL = QUrl::fromLocalFile(thumbnail);
            add(std::move(w));
        }
    }

    void walk(const QString& folder, int depth, bool recursive)
    {
        const QDir dir(folder);
        if (!dir.exists())
            return;
        if (locations.linuxDesktopLayouts && QFileInfo(dir.filePath(QStringLiteral("contents/images"))).isDir()) {
            if (const auto picture = packagePicture(dir)) {
                SystemWallpaper w;
                w.id = dir.dirName();
                w.kind = kindOf(w.id, *picture);
                w.localURL = QUrl::fromLocalFile(*picture);
                w.thumbnailURL = packageThumbnail(dir);
                add(std::move(w));
            }
            return;
        }
        const QStringList files = dir.entryList(QDir::Files | QDir::Readable, QDir::Name);
        if (files.size() > maxFilesPerFolder)
            return;
        addFolderPictures(dir, files);
        if (!recursive || depth >= maxWalkDepth)
            return;
        for (const QString& sub : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name))
            walk(dir.filePath(sub), depth + 1, true);
    }

    void walkSystemFolders()
    {
        for (const QString& folder : locations.systemPictureFolders) {
            walk(folder, 0, locations.linuxDesktopLayouts);
            for (const QString& sub : locations.systemPictureSubfolders)
                walk(folder + QLatin1Char('/') + sub, 1, true);
        }
    }

    void addDescribedAssets()
    {
        for (const QString& path : std::as_const(descriptions)) {
            QFile f(path);
            if (f.size() > maxCatalogSize || !f.open(QIODevice::ReadOnly))
                continue;
            const auto description = reader ? reader(f.readAll()) : std::nullopt;
            if (!description)
                continue;
            const QString asset = description->value(QStringLiteral("mobileAssetID")).toString();
            if (asset.isEmpty())
                continue;
            SystemWallpaper w;
            w.id = asset;
            const QString thumbnail = description->value(QStringLiteral("thumbnailPath")).toString();
            if (!thumbnail.isEmpty()) {
                const QString thumbnailPath = QDir::isAbsolutePath(thumbnail)
                                                  ? thumbnail
                                                  : QFileInfo(path).dir().filePath(thumbnail);
                if (QFileInfo(thumbnailPath).isFile())
                    w.thumbnailURL = QUrl::fromLocalFile(thumbnailPath);
            }
            addAsset(std::move(w));
        }
    }

    // An asset of the catalogue: local when it lies in an asset folder, else downloadable, else left out.
    void addAsset(SystemWallpaper w)
    {
        w.localURL = localFile(locations, w.id);
        if (catalogue.contains(w.id))
            w.remote = catalogue.value(w.id);
        if (!w.localURL && !w.remote)
            return;
        w.kind = kindOf(w.id, w.localURL ? w.localURL->toLocalFile() : QString());
        add(std::move(w));
    }

    void addEveryCatalogueAsset()
    {
        for (auto it = catalogue.cbegin(); it != catalogue.cend(); ++it) {
            SystemWallpaper w;
            w.id = it.key();
            addAsset(std::move(w));
        }
    }
};

}  // namespace

QString describe(InstallError error)
{
    switch (error) {
    case InstallError::checksumMismatch:
        return QStringLiteral("the archive's checksum does not match the catalogue");
    case InstallError::unzipFailed:
        return QStringLiteral("the archive could not be unpacked");
    case InstallError::noImage:
        return QStringLiteral("the archive holds no picture");
    }
    return {};
}

const QStringList& pictureExtensions()
{
    static const QStringList extensions{QStringLiteral("heic"), QStringLiteral("jpg"), QStringLiteral("jpeg"),
                                        QStringLiteral("png"),  QStringLiteral("tif"), QStringLiteral("tiff")};
    return extensions;
}

bool isPictureFile(const QString& fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && pictureExtensions().contains(fileName.mid(dot + 1).toLower());
}

Catalog parseCatalog(const QByteArray& bytes, const PropertyListReader& reader)
{
    const std::optional<QVariantMap> root = reader && !bytes.isEmpty() ? reader(bytes) : std::nullopt;
    if (!root) {
        qCInfo(lcWallpapers, "wallpaper catalog not available");
        return {};
    }
    Catalog out;
    for (const QVariant& item : root->value(QStringLiteral("Assets")).toList()) {
        if (item.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap asset = item.toMap();
        const QVariant id = asset.value(QStringLiteral("DesktopPictureID"));
        // The id names the installed file: one that is not a plain file name is not taken.
        if (id.typeId() != QMetaType::QString || id.toString().isEmpty() || id.toString().contains(QLatin1Char('/'))
            || id.toString().startsWith(QLatin1Char('.')))
            continue;
        const QUrl url(joinedAddress(asset.value(QStringLiteral("__BaseURL")).toString(),
                                     asset.value(QStringLiteral("__RelativePath")).toString()),
                       QUrl::StrictMode);
        if (!url.isValid() || url.scheme() != QLatin1String("https") || url.host().isEmpty())
            continue;
        SystemWallpaper::Remote remote;
        remote.url = url;
        if (asset.value(QStringLiteral("_MeasurementAlgorithm")).toString() == QLatin1String("SHA-1")) {
            const QVariant measurement = asset.value(QStringLiteral("_Measurement"));
            if (measurement.typeId() == QMetaType::QByteArray && !measurement.toByteArray().isEmpty())
                remote.sha1 = QString::fromLatin1(measurement.toByteArray().toHex());
        }
        const QVariant size = asset.value(QStringLiteral("_DownloadSize"));
        if (size.typeId() == QMetaType::LongLong || size.typeId() == QMetaType::Int)
            remote.size = size.toLongLong();
        out.insert(id.toString(), remote);
    }
    return out;
}

Catalog catalog(const WallpaperLocations& locations, const PropertyListReader& reader)
{
    QFile file(locations.catalogueFile);
    QByteArray bytes;
    if (!locations.catalogueFile.isEmpty() && file.size() <= maxCatalogSize && file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    return parseCatalog(bytes, reader);
}

std::optional<QUrl> localFile(const WallpaperLocations& locations, const QString& name)
{
    if (name.isEmpty() || name.contains(QLatin1Char('/')) || name == QLatin1String("..")
        || name == QLatin1String("."))
        return std::nullopt;
    QStringList fileNames;
    if (isPictureFile(name))
        fileNames << name;
    for (const QString& extension : pictureExtensions())
        fileNames << name + QLatin1Char('.') + extension;
    for (const QString& folder : locations.assetFolders)
        for (const QString& fileName : fileNames) {
            const QString path = folder + QLatin1Char('/') + fileName;
            if (QFileInfo(path).isFile())
                return QUrl::fromLocalFile(path);
        }
    return std::nullopt;
}

void sortByName(QList<SystemWallpaper>& list, const QLocale& locale)
{
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(list.begin(), list.end(), [&](const SystemWallpaper& a, const SystemWallpaper& b) {
        return collator.compare(a.id, b.id) < 0;
    });
}

QList<SystemWallpaper> wallpapers(const WallpaperLocations& locations, const PropertyListReader& reader,
                                  const QLocale& locale)
{
    ListBuilder builder{locations, reader, backgroundProperties(locations), catalog(locations, reader), {}, {}, {},
                        {}};
    builder.walkSystemFolders();
    builder.addDescribedAssets();
    if (locations.listEveryCatalogueAsset)
        builder.addEveryCatalogueAsset();
    // Pictures installed earlier stay choices even when the catalogue no longer lists them.
    if (!locations.applicationWallpaperFolder.isEmpty())
        builder.walk(locations.applicationWallpaperFolder, maxWalkDepth, false);
    sortByName(builder.list, locale);
    return builder.list;
}

std::optional<QUrl> defaultWallpaperURL(const WallpaperLocations& locations)
{
    for (const QString& path : locations.defaultPictureCandidates) {
        const QFileInfo info(path);
        if (info.isFile() && info.isReadable())
            return QUrl::fromLocalFile(info.canonicalFilePath());
    }
    return std::nullopt;
}

}  // namespace WallpaperLibrary

}  // namespace tamsinvale
