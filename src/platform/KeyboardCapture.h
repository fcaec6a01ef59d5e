// Taking the whole keyboard for a moment (while a switcher panel is open), so that keys typed before our panel
// is on screen and focused still reach us; every press is reported with its key code, text and modifiers.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

namespace tamsinvale {

struct CapturedKey {
    std::uint32_t keyCode = 0xffff;  // macOS virtual key numbering; 0xffff for a key that has no such code
    QString text;                    // the characters the key types ignoring modifiers; empty for none
    std::uint32_t modifiers = 0;     // Carbon modifier mask
};

class KeyboardCapture {
public:
    virtual ~KeyboardCapture() = default;

    // Starts delivering every key press to `onKey` (on the main thread) until `end`. False when the keyboard
    // could not be taken (another program holds it); presses may then still arrive through our own windows.
    virtual bool begin(std::function<void(const CapturedKey&)> onKey) = 0;
    virtual void end() = 0;
    virtual bool isCapturing() const = 0;
};

}  // namespace tamsinvale
