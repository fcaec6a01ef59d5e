// The services the application wires together, as callables; an empty one belongs to a subsystem that has
// not landed yet, and its menu item or action does nothing until it does.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

#include "windows/WindowSizePreset.h"

namespace tamsinvale {

struct AppServices {
    // Start-up and re-apply steps.
    std::function<void()> menuBarDimmerApply;
    std::function<void()> focusDimmerRefresh;
    std::function<void()> focusDimmerApplyEnabledSetting;  // re-evaluates the dimming mode after a change
    std::function<void()> focusDimmerDelayedStart;
    std::function<void()> discoveryRefresh;
    std::function<void()> wallpaperRotatorStart;
    std::function<void()> usageTrackerStart;
    std::function<void()> permissionsStartupCheck;

    // Actions behind hotkeys, the menu and `tamsinvale ctl`.
    std::function<void()> toggleAppSwitcher;
    std::function<void(std::int32_t pid, const QString& name)> showWindowSwitcher;
    std::function<void()> toggleQuickDim;
    std::function<void()> clearInactiveScreens;
    std::function<void(const WindowSizePreset&)> applyPreset;
    std::function<void()> moveToNextScreen;
    std::function<void(int side)> snap;  // 0 left, 1 right
    std::function<bool()> nextWallpaper;  // true when the picture changed
    std::function<bool()> wallpaperRotationConfigured;
    std::function<void()> showInactiveApps;
    std::function<void()> showSettings;
    std::function<void(const QString& page)> showSettingsPage;  // a page by its name ("hotkeys", "window-sizes" …)
    std::function<void()> showAbout;
    std::function<void()> checkForUpdates;  // none on Linux: updates come from the distribution
    std::function<bool()> launchAtLoginEnabled;
    std::function<void(bool)> setLaunchAtLogin;
};

}  // namespace tamsinvale
