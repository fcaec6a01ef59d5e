// AppKit's key events in our stored form: NSEventModifierFlags to and from Carbon modifier masks, the typed text
// as the switchers expect it, and the key code of a Qt key event on macOS.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

#include "platform/KeyboardCapture.h"

namespace tamsinvale::MacKeyTranslation {

// NSEventModifierFlags bits (the same bits as CGEventFlags' masks).
constexpr std::uint64_t flagCapsLock = 1ull << 16;
constexpr std::uint64_t flagShift = 1ull << 17;
constexpr std::uint64_t flagControl = 1ull << 18;
constexpr std::uint64_t flagOption = 1ull << 19;
constexpr std::uint64_t flagCommand = 1ull << 20;
constexpr std::uint64_t flagNumericPad = 1ull << 21;
constexpr std::uint64_t flagFunction = 1ull << 23;

// Command, shift, option and control; Caps Lock, Fn, the numeric-pad bit and device-dependent bits are dropped.
std::uint32_t carbonModifiers(std::uint64_t modifierFlags);
std::uint64_t modifierFlags(std::uint32_t carbonModifiers);

// Virtual key codes are 7 bits wide; a larger number is no key.
constexpr std::uint32_t maxVirtualKeyCode = 0x7f;

// The text a key types, as the switchers take it: the characters the key produces with no modifier held. Control
// characters (Return, Escape, Tab, Delete) and AppKit's function-key characters (arrows, F-keys, Home, End, in
// U+F700–U+F8FF) are no text: the switchers recognise those keys by their code.
QString plainText(const QString& charactersWithoutModifiers);

// One key-down as the capture reports it.
CapturedKey capturedKey(std::uint32_t virtualKeyCode, const QString& charactersWithoutModifiers,
                        std::uint64_t modifierFlags);

// The stored key code of a Qt key event on macOS: Qt reports the virtual key code as the native virtual key and
// no scan code.
std::optional<std::uint32_t> keyCodeForQtNativeKey(std::uint32_t nativeScanCode, std::uint32_t nativeVirtualKey);

}  // namespace tamsinvale::MacKeyTranslation
