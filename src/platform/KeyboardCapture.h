// Taking the whole keyboard for a moment (while a switcher panel is open), so that keys typed before our panel
// is on screen and focused still reach us; every press is reported with its key code, text and modifiers.
#pragma once

#include <QRect>
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

    // While capturing, a pointer button press (the wheel does not count) outside `panelArea` calls `onPressOutside`:
    // a click elsewhere means the user has moved on, as Escape would. The press is not taken; it still reaches the
    // window under the pointer. `panelArea` is in top-level coordinates and read at each press. Kept across
    // captures until replaced; an empty `onPressOutside` stops it. A capture that cannot see the pointer ignores it.
    virtual void setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside)
    {
        Q_UNUSED(panelArea);
        Q_UNUSED(onPressOutside);
    }
};

}  // namespace tamsinvale
