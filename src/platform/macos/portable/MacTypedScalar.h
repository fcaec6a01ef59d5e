// One Unicode scalar as the UTF-16 string a synthetic key event carries (CGEventKeyboardSetUnicodeString).
#pragma once

#include <optional>
#include <string>

namespace tamsinvale::MacTypedScalar {

// One code unit, or a surrogate pair above U+FFFF. Nothing for what is not a scalar that can be typed: zero,
// surrogate code points and anything beyond U+10FFFF.
std::optional<std::u16string> utf16(char32_t scalar);

}  // namespace tamsinvale::MacTypedScalar
