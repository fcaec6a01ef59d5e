// How the menu bar (tray) item looks: a drawn "windows" picture or the text " | ".
#pragma once

#include <QString>
#include <QStringList>
#include <array>

namespace tamsinvale {

enum class MenuBarIconStyle { windows, line };

inline constexpr std::array<MenuBarIconStyle, 2> allMenuBarIconStyles = {MenuBarIconStyle::windows,
                                                                         MenuBarIconStyle::line};

inline QString rawValue(MenuBarIconStyle style)
{
    return style == MenuBarIconStyle::line ? QStringLiteral("line") : QStringLiteral("windows");
}

inline QString displayName(MenuBarIconStyle style)
{
    return style == MenuBarIconStyle::line ? QStringLiteral("Line") : QStringLiteral("Windows");
}

// Exactly "line" is the line style; any other text (also "Line") is the default.
inline MenuBarIconStyle menuBarIconStyleFromRaw(const QString& raw)
{
    return raw == QLatin1String("line") ? MenuBarIconStyle::line : MenuBarIconStyle::windows;
}

}  // namespace tamsinvale
