// libFuzzer target: an application bundle's Info.plist (XML or binary), read as discovery reads it.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>

#include "platform/linux/PlistCodec.h"
#include "switcher/AppInfoReader.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static QTemporaryDir root;
    static const QString bundle = root.path() + QStringLiteral("/Fuzzed App.app");
    static const bool made = QDir().mkpath(bundle + QStringLiteral("/Contents"));
    if (!made)
        return 0;
    QFile file(bundle + QStringLiteral("/Contents/Info.plist"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    file.close();
    const PropertyListReader reader = [](const QByteArray& bytes) { return PlistCodec::parseDictionary(bytes); };
    const AppFileInfo info = AppInfoReader::bundleInfo(bundle, reader);
    // The name chain always ends in the bundle's file name.
    if (info.name.isEmpty())
        __builtin_trap();
    if (info.bundleIdentifier && info.bundleIdentifier->isNull())
        __builtin_trap();
    return 0;
}
