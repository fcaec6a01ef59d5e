// Global hotkeys in the stored form: macOS virtual key code plus Carbon modifier mask.
#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>

namespace tamsinvale {

// Status codes of a registration, numbered as on macOS so that logs read the same on both desktops.
namespace HotkeyStatus {
constexpr int noErr = 0;
constexpr int paramErr = -50;                 // a key code or modifier the backend cannot express
constexpr int eventHotKeyExistsErr = -9878;   // someone else owns the combination
constexpr int eventInternalErr = -9868;       // the window system is not reachable
}  // namespace HotkeyStatus

// One live registration; destroying it does not unregister (the manager unregisters explicitly, in order).
class HotkeyRegistration {
public:
    virtual ~HotkeyRegistration() = default;
};

class Hotkeys : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Installs the press handler once; a non-zero status means presses cannot be delivered yet.
    virtual int installHandler() = 0;
    virtual int registerHotKey(std::uint32_t keyCode, std::uint32_t modifiers, std::uint32_t identifier,
                               std::unique_ptr<HotkeyRegistration>* out) = 0;
    virtual void unregisterHotKey(HotkeyRegistration& registration) = 0;

    // The stored (macOS) key code of a key press as the window system reported it to one of our windows
    // (Qt's native scan code and virtual key), whatever modifiers were held; nothing when this desktop cannot
    // tell, and the caller falls back on the portable key.
    virtual std::optional<std::uint32_t> keyCodeForNativeKey(std::uint32_t nativeScanCode,
                                                             std::uint32_t nativeVirtualKey) const
    {
        (void)nativeScanCode;
        (void)nativeVirtualKey;
        return std::nullopt;
    }
    // The Carbon modifier mask of such a key press from the modifiers the window system reported (Qt's native
    // modifiers); nothing when this desktop leaves it to Qt's portable modifiers.
    virtual std::optional<std::uint32_t> modifiersForNativeModifiers(std::uint32_t nativeModifiers) const
    {
        (void)nativeModifiers;
        return std::nullopt;
    }

signals:
    // A registered hotkey was pressed; emitted on the main queue, once per press.
    void pressed(std::uint32_t identifier);
    // A registered hotkey's combination was pressed on the keyboard but its press never reached us: another
    // program (typically the window manager) takes it first although the registration succeeded. Emitted once per
    // identifier.
    void notDelivered(std::uint32_t identifier);
};

}  // namespace tamsinvale
