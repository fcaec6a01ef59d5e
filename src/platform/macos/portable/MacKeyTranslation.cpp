// Modifier bits and key text between AppKit and our stored form.
#include "MacKeyTranslation.h"

#include "MacCarbonHotKeys.h"

namespace tamsinvale::MacKeyTranslation {

namespace {
struct ModifierPair {
    std::uint64_t flag;
    std::uint32_t carbon;
};
constexpr ModifierPair modifierPairs[] = {
    {flagCommand, MacCarbon::cmdKey},
    {flagShift, MacCarbon::shiftKey},
    {flagOption, MacCarbon::optionKey},
    {flagControl, MacCarbon::controlKey},
};

bool isFunctionKeyCharacter(char16_t c) { return c >= 0xF700 && c <= 0xF8FF; }
}  // namespace

std::uint32_t carbonModifiers(std::uint64_t flags)
{
    std::uint32_t mask = 0;
    for (const ModifierPair& pair : modifierPairs)
        if (flags & pair.flag)
            mask |= pair.carbon;
    return mask;
}

std::uint64_t modifierFlags(std::uint32_t carbon)
{
    std::uint64_t flags = 0;
    for (const ModifierPair& pair : modifierPairs)
        if (carbon & pair.carbon)
            flags |= pair.flag;
    return flags;
}

QString plainText(const QString& characters)
{
    QString out;
    out.reserve(characters.size());
    for (const QChar c : characters) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7f || isFunctionKeyCharacter(u))
            continue;
        out.append(c);
    }
    return out;
}

CapturedKey capturedKey(std::uint32_t virtualKeyCode, const QString& charactersWithoutModifiers,
                        std::uint64_t flags)
{
    CapturedKey key;
    key.keyCode = virtualKeyCode <= maxVirtualKeyCode ? virtualKeyCode : 0xffff;
    key.text = plainText(charactersWithoutModifiers);
    key.modifiers = carbonModifiers(flags);
    return key;
}

std::optional<std::uint32_t> keyCodeForQtNativeKey(std::uint32_t nativeScanCode, std::uint32_t nativeVirtualKey)
{
    (void)nativeScanCode;  // always 0 on macOS: AppKit does not report one
    if (nativeVirtualKey > maxVirtualKeyCode)
        return std::nullopt;
    return nativeVirtualKey;
}

}  // namespace tamsinvale::MacKeyTranslation
