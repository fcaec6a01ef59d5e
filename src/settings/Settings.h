// Every persisted setting as one plain value, with the defaults a fresh user starts from.
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <optional>

#include "HotKeyConfig.h"
#include "MenuBarIconStyle.h"
#include "windows/WindowSizePreset.h"

namespace tamsinvale {

struct Settings {
    bool dimMenuBarEnabled = true;
    double dimMenuBarOpacity = 0.4;
    bool focusDimEnabled = true;
    double focusDimWallpaperDarkening = 0.1;
    std::optional<QByteArray> focusDimBackgroundImageBookmark;
    QMap<QString, QByteArray> focusDimPerScreenImageBookmarks;  // display UUID → bookmark
    QList<QByteArray> wallpaperHistoryBookmarks;
    QList<QByteArray> wallpaperRotationBookmarks;
    qint64 wallpaperRotationHours = 0;
    QSet<QString> focusDimExcludedApps;
    bool focusDimOtherScreensFully = false;
    bool focusDimBlackBackground = false;
    std::optional<QString> quickDimAppID;
    QSet<QString> inactiveAppsExcluded;
    double inactiveThresholdHours = 48;
    bool sleepOnLidCloseEnabled = true;
    MenuBarIconStyle menuBarIconStyle = MenuBarIconStyle::windows;
    // An empty hotkey means "use the default combination", not "disabled".
    std::optional<HotKeyConfig> appSwitcherHotKey;
    std::optional<HotKeyConfig> windowsSwitcherHotKey;
    std::optional<HotKeyConfig> quickDimHotKey;
    std::optional<HotKeyConfig> clearInactiveScreensHotKey;
    QList<WindowSizePreset> windowSizePresets = WindowSizePreset::defaultList();
    std::optional<HotKeyConfig> moveToNextScreenHotKey;
    std::optional<HotKeyConfig> insertDateHotKey;
    std::optional<HotKeyConfig> snapLeftHotKey;
    std::optional<HotKeyConfig> snapRightHotKey;

    bool operator==(const Settings&) const = default;
};

}  // namespace tamsinvale
