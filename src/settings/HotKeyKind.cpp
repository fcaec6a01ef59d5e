// Identifier table, defaults and registration names of the global hotkeys.
#include "HotKeyKind.h"

#include <array>

namespace tamsinvale {

std::optional<HotKeyKind> hotKeyKindForIdentifier(std::uint32_t identifier)
{
    // Identifiers 3 and 5 belonged to hotkeys that no longer exist; events carrying them are ignored.
    static const std::array<std::optional<HotKeyKind>, 10> table = {
        HotKeyKind::appSwitcher,      HotKeyKind::windowsSwitcher, std::nullopt,
        HotKeyKind::quickDim,         std::nullopt,                HotKeyKind::clearInactiveScreens,
        HotKeyKind::moveToNextScreen, HotKeyKind::insertDate,      HotKeyKind::snapLeft,
        HotKeyKind::snapRight,
    };
    if (identifier >= HotKeyIds::firstWindowSizePreset)
        return HotKeyKind::windowSizePreset;
    if (identifier >= 1 && identifier <= 10)
        return table[identifier - 1];
    return std::nullopt;
}

std::uint32_t identifierOf(HotKeyKind kind)
{
    switch (kind) {
    case HotKeyKind::appSwitcher: return HotKeyIds::appSwitcher;
    case HotKeyKind::windowsSwitcher: return HotKeyIds::windowsSwitcher;
    case HotKeyKind::quickDim: return HotKeyIds::quickDim;
    case HotKeyKind::clearInactiveScreens: return HotKeyIds::clearInactiveScreens;
    case HotKeyKind::moveToNextScreen: return HotKeyIds::moveToNextScreen;
    case HotKeyKind::insertDate: return HotKeyIds::insertDate;
    case HotKeyKind::snapLeft: return HotKeyIds::snapLeft;
    case HotKeyKind::snapRight: return HotKeyIds::snapRight;
    case HotKeyKind::windowSizePreset: return HotKeyIds::firstWindowSizePreset;
    }
    return 0;
}

std::optional<HotKeyConfig> defaultCombination(HotKeyKind kind)
{
    using namespace CarbonModifier;
    switch (kind) {
    case HotKeyKind::appSwitcher: return HotKeyConfig{49, command};                 // ⌘ Space
    case HotKeyKind::windowsSwitcher: return HotKeyConfig{10, command};             // ⌘ §
    case HotKeyKind::snapLeft: return HotKeyConfig{123, control | option};          // ⌃ ⌥ ←
    case HotKeyKind::snapRight: return HotKeyConfig{124, control | option};         // ⌃ ⌥ →
    default: return std::nullopt;
    }
}

QString registrationName(HotKeyKind kind)
{
    switch (kind) {
    case HotKeyKind::appSwitcher: return QStringLiteral("App Switcher");
    case HotKeyKind::windowsSwitcher: return QStringLiteral("Window Switcher");
    case HotKeyKind::moveToNextScreen: return QStringLiteral("Move to Next Display");
    case HotKeyKind::snapLeft: return QStringLiteral("Snap Left");
    case HotKeyKind::snapRight: return QStringLiteral("Snap Right");
    default: return {};
    }
}

QString presetRegistrationName(const QString& presetName)
{
    return QStringLiteral("Window Size '") + presetName + QStringLiteral("'");
}

}  // namespace tamsinvale
