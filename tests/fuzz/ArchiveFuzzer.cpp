// libFuzzer target: a downloaded archive (any format libarchive reads) unpacked as a wallpaper download is. Whatever
// the bytes, nothing appears beside the destination folder, and inside it there are only folders and plain files.
#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>

#include "platform/linux/LibarchiveUnpacker.h"

using namespace tamsinvale;

namespace {

// Every entry under `folder`, links included and never followed.
QStringList entriesUnder(const QString& folder)
{
    QStringList out;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        out << it.next();
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static QTemporaryDir root;
    // The archive and the destination sit in a folder of their own, so that anything written beside them shows.
    const QString cage = root.path() + QStringLiteral("/cage");
    const QString destination = cage + QStringLiteral("/wallpaper-fuzz");
    const QString archive = root.path() + QStringLiteral("/archive.zip");
    QDir(cage).removeRecursively();
    if (!QDir().mkpath(destination))
        return 0;
    QFile file(archive);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    file.close();

    // Small caps, so that an input cannot make the run write gigabytes.
    LibarchiveUnpacker unpacker({.maxEntries = 64, .maxBytes = 1 << 20});
    const UnpackResult result = unpacker.unpack(archive, destination);
    (void)result;

    for (const QString& path : entriesUnder(cage)) {
        if (path != destination && !path.startsWith(destination + QLatin1Char('/')))
            __builtin_trap();
        const QFileInfo info(path);
        if (info.isSymLink() || !(info.isDir() || info.isFile()))
            __builtin_trap();
    }
    if (QFileInfo::exists(root.path() + QStringLiteral("/escaped")) || QFileInfo::exists(QStringLiteral("/tmp/escaped")))
        __builtin_trap();
    return 0;
}
