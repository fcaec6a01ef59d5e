// What the menu bar (tray) menu shows, computed from the settings and the services; the tray view renders it.
#pragma once

#include <QList>
#include <QString>

#include "settings/MenuBarIconStyle.h"

namespace tamsinvale {

enum class MenuCommand {
    none,
    about,
    checkForUpdates,
    settings,
    showAppSwitcher,
    showWindowSwitcher,
    closeInactiveApps,
    toggleDimMenuBar,
    toggleFocusDim,
    toggleFullyDimOtherScreens,
    toggleBlackBackground,
    nextWallpaper,
    toggleLaunchAtLogin,
    iconStyleWindows,
    iconStyleLine,
    quit,
};

struct MenuItem {
    enum class Kind { action, toggle, heading, separator, submenu };
    Kind kind = Kind::action;
    QString title;
    MenuCommand command = MenuCommand::none;
    bool checked = false;
    bool enabled = true;
    QList<MenuItem> children;  // submenu entries

    static MenuItem separator() { return MenuItem{Kind::separator, {}, MenuCommand::none, false, true, {}}; }
};

}  // namespace tamsinvale
