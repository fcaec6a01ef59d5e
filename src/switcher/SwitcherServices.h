// The app switcher's long-lived objects, created together over a platform and hooked into the application's
// services (the start-up scan and the app-switcher action).
#pragma once

#include <QStringList>
#include <functional>
#include <memory>

#include "AppDiscoveryStore.h"
#include "AppIconStore.h"
#include "platform/KeyboardCapture.h"
#include "platform/Platform.h"

namespace tamsinvale {

struct AppServices;
class BackgroundQueue;
class LaunchOverlayController;
class ShortcutStore;
class SwitcherWindowController;

struct SwitcherOptions {
    DiscoveryConfiguration discovery = DiscoveryConfiguration::freedesktopFromEnvironment();
    AppIconStore::IconFetcher iconFetcher;               // empty: the desktop-entry icon loader
    KeyboardCapture* keyboardCapture = nullptr;          // empty: keys only through the panel's own window
    PropertyListReader plistReader;                      // Info.plist of chosen bundles
    std::function<void(const QString& title, const QString& message)> alert;  // empty: logged only
    std::function<std::optional<QString>(const QString& title)> fileChooser;  // "Choose an app"
};

class SwitcherServices {
public:
    SwitcherServices(const Platform& platform, SwitcherOptions options);
    ~SwitcherServices();

    // Fills `discoveryRefresh` and `toggleAppSwitcher`, and sends the panel's settings row to `showSettings`
    // (as it stands in `services` at this call).
    void install(AppServices& services);

    AppDiscoveryStore& discovery() { return *m_discovery; }
    AppIconStore& icons() { return *m_icons; }
    ShortcutStore& shortcuts() { return *m_shortcuts; }
    LaunchOverlayController& launchOverlay() { return *m_overlay; }
    SwitcherWindowController& controller() { return *m_controller; }

private:
    Platform m_platform;
    std::unique_ptr<BackgroundQueue> m_background;
    std::unique_ptr<AppDiscoveryStore> m_discovery;
    std::unique_ptr<AppIconStore> m_icons;
    std::unique_ptr<LaunchOverlayController> m_overlay;
    std::unique_ptr<ShortcutStore> m_shortcuts;
    std::unique_ptr<SwitcherWindowController> m_controller;
};

}  // namespace tamsinvale
