// A keyboard capture that tests drive by typing into it.
#pragma once

#include <QList>

#include "platform/KeyboardCapture.h"

namespace tamsinvale {

class FakeKeyboardCapture : public KeyboardCapture {
public:
    bool begin(std::function<void(const CapturedKey&)> onKey) override;
    void end() override;
    bool isCapturing() const override { return bool(m_onKey); }
    void setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside) override;

    // Refuses the next begin, as when another program holds the keyboard.
    void refuseNextBegin() { m_refuse = true; }
    // Delivers a press while capturing; false when nobody is capturing (the key goes elsewhere).
    bool press(std::uint32_t keyCode, const QString& text, std::uint32_t modifiers = 0);
    // A press typed after the hotkey but before the capture began: handed over by the next begin, before it returns.
    void pressBeforeBegin(std::uint32_t keyCode, const QString& text, std::uint32_t modifiers = 0);
    int begins() const { return m_begins; }
    // A pointer press at a top-level position, seen while capturing as the desktop would report it; true when it
    // counted as a press outside the panel.
    bool pointerPress(QPoint topLevelPosition);

private:
    std::function<void(const CapturedKey&)> m_onKey;
    std::function<QRect()> m_panelArea;
    std::function<void()> m_onPressOutside;
    QList<CapturedKey> m_early;
    bool m_refuse = false;
    int m_begins = 0;
};

}  // namespace tamsinvale
