// The simulated keyboard capture.
#include "FakeKeyboardCapture.h"

namespace tamsinvale {

bool FakeKeyboardCapture::begin(std::function<void(const CapturedKey&)> onKey)
{
    ++m_begins;
    const QList<CapturedKey> early = std::exchange(m_early, {});
    if (m_refuse) {
        m_refuse = false;
        return false;
    }
    m_onKey = std::move(onKey);
    for (const CapturedKey& key : early) {
        // A copy: the handler may end the capture while it runs.
        if (auto handler = m_onKey)
            handler(key);
    }
    return true;
}

void FakeKeyboardCapture::end() { m_onKey = nullptr; }

void FakeKeyboardCapture::setPressOutsideHandler(std::function<QRect()> panelArea, std::function<void()> onPressOutside)
{
    m_panelArea = std::move(panelArea);
    m_onPressOutside = std::move(onPressOutside);
}

bool FakeKeyboardCapture::pointerPress(QPoint topLevelPosition)
{
    if (!m_onKey || !m_onPressOutside || (m_panelArea && m_panelArea().contains(topLevelPosition)))
        return false;
    auto onOutside = m_onPressOutside;
    onOutside();
    return true;
}

void FakeKeyboardCapture::pressBeforeBegin(std::uint32_t keyCode, const QString& text, std::uint32_t modifiers)
{
    m_early.append(CapturedKey{keyCode, text, modifiers});
}

bool FakeKeyboardCapture::press(std::uint32_t keyCode, const QString& text, std::uint32_t modifiers)
{
    if (!m_onKey)
        return false;
    // A copy: the handler may end the capture while it runs.
    auto onKey = m_onKey;
    onKey(CapturedKey{keyCode, text, modifiers});
    return true;
}

}  // namespace tamsinvale
