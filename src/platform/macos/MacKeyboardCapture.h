// Main thread: construct, begin and end on the main thread; keys and clicks arrive through AppKit's event dispatch
// on the main run loop (Qt's, on macOS).
// The keyboard capture on macOS: a small invisible non-activating panel of ours becomes the key window, so that
// every key typed while a switcher is open comes to us while the application in front stays active; a local
// monitor takes the key-downs, local and global monitors watch for pointer presses outside the switcher.
#pragma once

#include <memory>

#include "platform/KeyboardCapture.h"

namespace tamsinvale {

class MacKeyboardCapture : public KeyboardCapture {
public:
    MacKeyboardCapture();
    ~MacKeyboardCapture() override;

    // False when the key panel could not become the key window; keys then reach us only through our own windows.
    bool begin(std::function<void(const CapturedKey&)> onKey) override;
    void end() override;
    bool isCapturing() const override;
    void setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside) override;

    struct State;

private:
    std::shared_ptr<State> m_state;
};

}  // namespace tamsinvale
