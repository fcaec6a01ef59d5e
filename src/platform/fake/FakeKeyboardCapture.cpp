// The simulated keyboard capture.
#include "FakeKeyboardCapture.h"

namespace tamsinvale {

bool FakeKeyboardCapture::begin(std::function<void(const CapturedKey&)> onKey)
{
    ++m_begins;
    if (m_refuse) {
        m_refuse = false;
        return false;
    }
    m_onKey = std::move(onKey);
    return true;
}

void FakeKeyboardCapture::end() { m_onKey = nullptr; }

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
