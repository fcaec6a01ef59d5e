// The Carbon hotkey interface's numbers in plain C++: modifier bits, status codes and four-character codes, so that
// the hotkey backend's translations and log texts can be checked without Apple's headers.
#pragma once

#include <QString>
#include <cstdint>

namespace tamsinvale::MacCarbon {

// Modifier bits of RegisterEventHotKey (cmdKey, shiftKey, alphaLock, optionKey, controlKey).
constexpr std::uint32_t cmdKey = 1u << 8;
constexpr std::uint32_t shiftKey = 1u << 9;
constexpr std::uint32_t alphaLock = 1u << 10;
constexpr std::uint32_t optionKey = 1u << 11;
constexpr std::uint32_t controlKey = 1u << 12;
// The only bits a registration may carry.
constexpr std::uint32_t hotKeyModifierMask = cmdKey | shiftKey | optionKey | controlKey;

// OSStatus values the hotkey calls return.
constexpr int noErr = 0;
constexpr int paramErr = -50;
constexpr int eventHandlerAlreadyInstalledErr = -9866;
constexpr int eventInternalErr = -9868;
constexpr int eventParameterNotFoundErr = -9870;
constexpr int eventNotHandledErr = -9874;
constexpr int eventHotKeyExistsErr = -9878;
constexpr int eventHotKeyInvalidErr = -9879;

// A four-character code as Carbon reads it: the first character in the most significant byte.
constexpr std::uint32_t fourCharCode(const char (&code)[5])
{
    return (std::uint32_t(std::uint8_t(code[0])) << 24) | (std::uint32_t(std::uint8_t(code[1])) << 16)
        | (std::uint32_t(std::uint8_t(code[2])) << 8) | std::uint32_t(std::uint8_t(code[3]));
}

// The signature of every EventHotKeyID we register; a press carrying another signature is not ours.
constexpr std::uint32_t hotKeySignature = fourCharCode("ATHK");
// The event the press handler is installed for: class kEventClassKeyboard, kind kEventHotKeyPressed.
constexpr std::uint32_t eventClassKeyboard = fourCharCode("keyb");
constexpr std::uint32_t eventHotKeyPressed = 5;

// "eventHotKeyExistsErr (-9878)" for the codes above, "OSStatus -1234" for any other.
QString statusText(int status);

}  // namespace tamsinvale::MacCarbon
