// The pages of the settings window, in sidebar order, with their titles and the names `tamsinvale ctl settings`
// accepts.
#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace tamsinvale {

enum class SettingsPage { dimming, wallpapers, hotkeys, appShortcuts, windowSizes, inactiveApps, general };

inline const QList<SettingsPage>& allSettingsPages()
{
    static const QList<SettingsPage> pages{SettingsPage::dimming,      SettingsPage::wallpapers,
                                           SettingsPage::hotkeys,      SettingsPage::appShortcuts,
                                           SettingsPage::windowSizes,  SettingsPage::inactiveApps,
                                           SettingsPage::general};
    return pages;
}

inline QString settingsPageTitle(SettingsPage page)
{
    switch (page) {
    case SettingsPage::dimming: return QStringLiteral("Dimming");
    case SettingsPage::wallpapers: return QStringLiteral("Wallpapers");
    case SettingsPage::hotkeys: return QStringLiteral("Hotkeys");
    case SettingsPage::appShortcuts: return QStringLiteral("App Shortcuts");
    case SettingsPage::windowSizes: return QStringLiteral("Window Sizes");
    case SettingsPage::inactiveApps: return QStringLiteral("Inactive Apps");
    case SettingsPage::general: return QStringLiteral("General");
    }
    return {};
}

// "dimming", "wallpapers", "hotkeys", "app-shortcuts", "window-sizes", "inactive-apps", "general".
inline QString settingsPageName(SettingsPage page)
{
    return settingsPageTitle(page).toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
}

inline std::optional<SettingsPage> settingsPageNamed(const QString& name)
{
    for (SettingsPage page : allSettingsPages())
        if (settingsPageName(page) == name.trimmed().toLower())
            return page;
    return std::nullopt;
}

}  // namespace tamsinvale
