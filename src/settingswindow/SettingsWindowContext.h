// What the settings window's pages work on: the stores and services they edit, and the desktop's file chooser.
// A null service is one this desktop does not have (no login item backend, no updater); its controls are left out.
#pragma once

#include <QString>
#include <functional>
#include <optional>

#include "hotkeys/HotkeyCaptureTextField.h"
#include "platform/Platform.h"

namespace tamsinvale {

class AppDiscoveryStore;
class AppIconStore;
class HotKeyManager;
class LoginItem;
class PermissionsMonitor;
class SettingsStore;
class ShortcutStore;
class Updater;
class WallpaperRotator;
class WallpaperServices;
class WallpaperThumbnails;

struct SettingsWindowContext {
    Platform platform;
    SettingsStore* settings = nullptr;
    HotKeyManager* hotKeys = nullptr;
    ShortcutStore* shortcuts = nullptr;
    AppDiscoveryStore* discovery = nullptr;
    AppIconStore* icons = nullptr;
    LoginItem* loginItem = nullptr;
    PermissionsMonitor* permissions = nullptr;
    Updater* updater = nullptr;
    // The wallpaper picker's services: the list, downloads and their panel, the rotation, and the previews.
    WallpaperServices* wallpapers = nullptr;
    WallpaperRotator* rotator = nullptr;
    WallpaperThumbnails* thumbnails = nullptr;
    QString version;
    // Asks the user for a file (title, name filter such as "Pictures (*.png *.jpg)"); nothing when cancelled.
    std::function<std::optional<QString>(const QString& title, const QString& filter)> chooseFile;
    // The recorder fields' start and end of recording (the window suspends the global hotkeys in between).
    std::function<void()> recordingStarted;
    std::function<void()> recordingEnded;

    // A recorder field wired to this desktop's key translation and to the suspension of the hotkeys.
    HotkeyCaptureTextField* makeRecorder(QWidget* parent) const
    {
        auto* field = new HotkeyCaptureTextField(parent);
        if (platform.hotkeys) {
            const Hotkeys* hotkeys = platform.hotkeys;
            field->setKeyCodeTranslator([hotkeys](std::uint32_t scanCode, std::uint32_t virtualKey) {
                return hotkeys->keyCodeForNativeKey(scanCode, virtualKey);
            });
            field->setModifierTranslator([hotkeys](std::uint32_t nativeModifiers) {
                return hotkeys->modifiersForNativeModifiers(nativeModifiers);
            });
        }
        field->onStartCapture = recordingStarted;
        field->onEndCapture = recordingEnded;
        return field;
    }
};

}  // namespace tamsinvale
