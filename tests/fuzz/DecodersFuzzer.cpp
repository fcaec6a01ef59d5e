// libFuzzer target: the decoders that read stored or imported data must never crash or hang.
#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

#include "platform/linux/PlistCodec.h"
#include "settings/HotKeyConfig.h"
#include "windows/SizeDimension.h"
#include "windows/WindowSizePreset.h"

using namespace tamsinvale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));

    if (const auto hotKey = HotKeyConfig::fromJsonData(bytes)) {
        // Whatever decodes must encode and decode to itself, and display without trouble.
        if (HotKeyConfig::fromJsonData(hotKey->toJsonData()) != hotKey)
            __builtin_trap();
        (void)hotKey->displayString();
    }

    if (const auto presets = WindowSizePreset::listFromJsonData(bytes)) {
        if (WindowSizePreset::listFromJsonData(WindowSizePreset::listToJsonData(*presets)) != presets)
            __builtin_trap();
        for (const WindowSizePreset& p : *presets) {
            (void)parseSizeDimension(p.width);
            (void)parseSizeDimension(p.height);
        }
    }

    if (const auto dimension = parseSizeDimension(QString::fromUtf8(bytes))) {
        const bool inRange = dimension->kind == SizeDimension::Kind::fraction
            ? dimension->value > 0 && dimension->value <= 1
            : dimension->value >= 50;
        if (!inRange)
            __builtin_trap();
    }

    (void)PlistCodec::parse(bytes);
    return 0;
}
