// Names and identifiers of application files: .app bundles (Info.plist), desktop entries, and plain files.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <optional>

namespace tamsinvale {

// Parses property-list bytes (XML or binary) to a dictionary; nothing when they are not one.
using PropertyListReader = std::function<std::optional<QVariantMap>(const QByteArray&)>;

struct AppFileInfo {
    QString name;
    std::optional<QString> bundleIdentifier;
};

class AppInfoReader {
public:
    // Info.plist files of real bundles are a few kilobytes; anything far larger is not one we read.
    static constexpr qint64 maxInfoPlistSize = 1024 * 1024;

    // The Info dictionary of a bundle, nothing when it cannot be read.
    static std::optional<QVariantMap> infoDictionary(const QString& bundlePath, const PropertyListReader& reader);
    // Name chain CFBundleDisplayName → CFBundleName → file name without extension; identifier when declared.
    static AppFileInfo bundleInfo(const QString& bundlePath, const PropertyListReader& reader);
    // What a file the user chose stands for: a bundle, a desktop entry (id relative to `applicationDirs` when it
    // lies under one), or anything else named after the file.
    static AppFileInfo fileInfo(const QString& path, const PropertyListReader& reader,
                                const QStringList& applicationDirs);
    // The desktop-file id of an entry under one of the directories (sub-directories joined with '-'), else
    // the file name without ".desktop".
    static QString desktopFileId(const QString& path, const QStringList& applicationDirs);
};

}  // namespace tamsinvale
