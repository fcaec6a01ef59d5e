// Main thread: construct, register and unregister on the main thread; presses arrive through the Carbon
// application event target, so the main run loop (Qt's, on macOS) must be running.
// Global hotkeys on macOS: Carbon's RegisterEventHotKey with one press handler on the application event target.
#pragma once

#include <memory>
#include <vector>

#include "platform/Hotkeys.h"

namespace tamsinvale {

class MacHotkeys : public Hotkeys {
    Q_OBJECT
public:
    explicit MacHotkeys(QObject* parent = nullptr);
    // Unregisters what is still registered and removes the press handler.
    ~MacHotkeys() override;

    int installHandler() override;
    int registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                       std::unique_ptr<HotkeyRegistration>* out) override;
    void unregisterHotKey(HotkeyRegistration& registration) override;
    // Qt reports the virtual key code itself as the native virtual key.
    std::optional<std::uint32_t> keyCodeForNativeKey(std::uint32_t nativeScanCode,
                                                     std::uint32_t nativeVirtualKey) const override;
    // Qt's native modifiers on macOS are the event's NSEventModifierFlags.
    std::optional<std::uint32_t> modifiersForNativeModifiers(std::uint32_t nativeModifiers) const override;

    // Called by the Carbon handler for each press: hops to the main queue and emits `pressed` there.
    void pressArrived(std::uint32_t identifier);

private:
    struct Token;

    void* m_handler = nullptr;  // EventHandlerRef
    // Registrations not yet unregistered; a token the caller drops takes itself off the list.
    std::shared_ptr<std::vector<Token*>> m_live = std::make_shared<std::vector<Token*>>();
    std::vector<std::unique_ptr<Token>> m_unclaimed;  // registered without anyone taking the token
};

}  // namespace tamsinvale
