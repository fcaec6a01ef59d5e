// One row as the window switcher panel draws it: the application's icon, the window's title and the app's name.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

namespace tamsinvale {

struct WindowSwitcherRow {
    std::int64_t windowId = 0;
    QString title;
    QString appName;
    QString iconKey;                  // the application's identity in the icon store
    std::optional<QString> iconPath;  // its bundle or desktop entry, for loading the icon
    bool selected = false;

    bool operator==(const WindowSwitcherRow&) const = default;
};

}  // namespace tamsinvale
