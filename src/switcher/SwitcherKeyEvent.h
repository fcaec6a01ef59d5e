// A key press as the switcher sees it: the key's code (macOS virtual key numbering), its characters ignoring
// modifiers, and the modifiers (Carbon mask) for the record.
#pragma once

#include <QString>
#include <cstdint>

namespace tamsinvale {

struct SwitcherKeyEvent {
    static constexpr std::uint32_t escape = 53;
    static constexpr std::uint32_t upArrow = 126;
    static constexpr std::uint32_t downArrow = 125;
    static constexpr std::uint32_t returnKey = 36;
    static constexpr std::uint32_t keypadEnter = 76;
    static constexpr std::uint32_t deleteKey = 51;  // backspace
    static constexpr std::uint32_t tab = 48;

    std::uint32_t keyCode = 0xffff;
    QString characters;
    std::uint32_t modifiers = 0;

    bool operator==(const SwitcherKeyEvent&) const = default;
    // For the log lines: the characters, or "?" for a key that types none.
    QString logText() const { return characters.isEmpty() ? QStringLiteral("?") : characters; }
};

}  // namespace tamsinvale
