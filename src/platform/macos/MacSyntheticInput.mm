// One scalar as a key-down and key-up whose Unicode string overrides what the key would type; posted at the HID
// level, so the frontmost application receives it as if typed. The flags are cleared: the modifiers of the hotkey
// that asked for the text may still be held, and must not turn the character into a shortcut.
#include "MacSyntheticInput.h"

#include <ApplicationServices/ApplicationServices.h>

#include "platform/Logging.h"
#include "platform/macos/portable/MacTypedScalar.h"

namespace tamsinvale {

namespace {

struct EventHolder {
    CGEventRef event = nullptr;
    ~EventHolder()
    {
        if (event)
            CFRelease(event);
    }
};

}  // namespace

bool MacSyntheticInput::typeScalar(char32_t scalar)
{
    const std::optional<std::u16string> text = MacTypedScalar::utf16(scalar);
    if (!text) {
        qCWarning(lcApp, "not typing U+%X: not a character that can be typed", unsigned(scalar));
        return false;
    }
    if (!CGPreflightPostEventAccess()) {
        qCWarning(lcApp, "not typing: this process may not post keyboard events (Accessibility permission)");
        return false;
    }
    // The virtual key is a placeholder; the Unicode string decides what the application receives.
    constexpr CGKeyCode placeholderKey = 0;
    EventHolder down{CGEventCreateKeyboardEvent(nullptr, placeholderKey, true)};
    EventHolder up{CGEventCreateKeyboardEvent(nullptr, placeholderKey, false)};
    if (!down.event || !up.event)
        return false;
    const auto* units = reinterpret_cast<const UniChar*>(text->data());
    for (CGEventRef event : {down.event, up.event}) {
        CGEventKeyboardSetUnicodeString(event, UniCharCount(text->size()), units);
        CGEventSetFlags(event, CGEventFlags(0));
    }
    CGEventPost(kCGHIDEventTap, down.event);
    CGEventPost(kCGHIDEventTap, up.event);
    return true;
}

}  // namespace tamsinvale
