// Files written into temporary trees, and the property-list reader the app uses: shared by the switcher and
// wallpaper tests.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QVariantMap>

#include "platform/linux/PlistCodec.h"

#include <functional>
#include <optional>

namespace tamsinvale::test {

inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(bytes);
}

inline std::function<std::optional<QVariantMap>(const QByteArray&)> plistReader()
{
    return [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); };
}

} // namespace tamsinvale::test
