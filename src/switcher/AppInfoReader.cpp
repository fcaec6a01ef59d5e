// Reading what an application file calls itself, shared by discovery and by adding a custom shortcut.
#include "AppInfoReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "DesktopEntryFile.h"

namespace tamsinvale {

namespace {

std::optional<QString> stringValue(const QVariantMap& info, const QString& key)
{
    const auto it = info.constFind(key);
    // A value of another type (a number, a dictionary) counts as missing, as does an empty string.
    if (it == info.cend() || it->typeId() != QMetaType::QString || it->toString().isEmpty())
        return std::nullopt;
    return it->toString();
}

QString baseNameWithoutExtension(const QString& path)
{
    QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot > 0)
        name.truncate(dot);
    return name;
}

}  // namespace

std::optional<QVariantMap> AppInfoReader::infoDictionary(const QString& bundlePath, const PropertyListReader& reader)
{
    if (!reader)
        return std::nullopt;
    QFile file(bundlePath + QStringLiteral("/Contents/Info.plist"));
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxInfoPlistSize)
        return std::nullopt;
    return reader(file.read(maxInfoPlistSize));
}

AppFileInfo AppInfoReader::bundleInfo(const QString& bundlePath, const PropertyListReader& reader)
{
    AppFileInfo out;
    const std::optional<QVariantMap> info = infoDictionary(bundlePath, reader);
    if (info) {
        out.bundleIdentifier = stringValue(*info, QStringLiteral("CFBundleIdentifier"));
        if (auto n = stringValue(*info, QStringLiteral("CFBundleDisplayName")))
            out.name = *n;
        else if (auto n = stringValue(*info, QStringLiteral("CFBundleName")))
            out.name = *n;
    }
    if (out.name.isEmpty())
        out.name = baseNameWithoutExtension(bundlePath);
    return out;
}

QString AppInfoReader::desktopFileId(const QString& path, const QStringList& applicationDirs)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    for (const QString& dir : applicationDirs) {
        const QString root = QDir(dir).absolutePath() + QLatin1Char('/');
        if (absolute.startsWith(root)) {
            QString relative = absolute.mid(root.size());
            relative.chop(8);  // ".desktop"
            return relative.replace(QLatin1Char('/'), QLatin1Char('-'));
        }
    }
    return baseNameWithoutExtension(path);
}

AppFileInfo AppInfoReader::fileInfo(const QString& path, const PropertyListReader& reader,
                                    const QStringList& applicationDirs)
{
    const QString suffix = QFileInfo(path).suffix();
    if (suffix == QLatin1String("app"))
        return bundleInfo(path, reader);
    if (suffix == QLatin1String("desktop")) {
        AppFileInfo out;
        out.bundleIdentifier = desktopFileId(path, applicationDirs);
        if (auto entry = DesktopEntryFile::read(path))
            out.name = entry->localizedName(DesktopEntryFile::currentLocaleNames());
        if (out.name.isEmpty())
            out.name = baseNameWithoutExtension(path);
        return out;
    }
    return AppFileInfo{baseNameWithoutExtension(path), std::nullopt};
}

}  // namespace tamsinvale
