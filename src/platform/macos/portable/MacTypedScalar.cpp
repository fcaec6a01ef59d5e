// UTF-16 encoding of one scalar for the keyboard event's Unicode string.
#include "MacTypedScalar.h"

namespace tamsinvale::MacTypedScalar {

std::optional<std::u16string> utf16(char32_t scalar)
{
    if (scalar == 0 || (scalar >= 0xD800 && scalar <= 0xDFFF) || scalar > 0x10FFFF)
        return std::nullopt;
    if (scalar < 0x10000)
        return std::u16string(1, char16_t(scalar));
    const char32_t v = scalar - 0x10000;
    return std::u16string{char16_t(0xD800 + (v >> 10)), char16_t(0xDC00 + (v & 0x3FF))};
}

}  // namespace tamsinvale::MacTypedScalar
