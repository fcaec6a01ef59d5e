// libFuzzer target: desktop-picture catalogue bytes (XML or binary property list), parsed as the wallpaper library
// parses them. Whatever the bytes, every asset taken is an https address under a plain file name.
#include <QByteArray>
#include <cstddef>
#include <cstdint>

#include "platform/linux/PlistCodec.h"
#include "wallpapers/WallpaperLibrary.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const PropertyListReader reader = [](const QByteArray& in) { return PlistCodec::parseDictionary(in); };
    const WallpaperLibrary::Catalog catalog = WallpaperLibrary::parseCatalog(bytes, reader);
    for (auto it = catalog.cbegin(); it != catalog.cend(); ++it) {
        // The id becomes the installed file's name.
        if (it.key().isEmpty() || it.key().contains(QLatin1Char('/')) || it.key().startsWith(QLatin1Char('.')))
            __builtin_trap();
        if (it->url.scheme() != QLatin1String("https") || it->url.host().isEmpty())
            __builtin_trap();
        if (it->sha1 && (it->sha1->isEmpty() || it->sha1->size() % 2 != 0))
            __builtin_trap();
    }
    return 0;
}
