// The global hotkeys of Tamsinvale: identifiers, registration names and default combinations.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

#include "HotKeyConfig.h"

namespace tamsinvale {

enum class HotKeyKind {
    appSwitcher,
    windowsSwitcher,
    quickDim,
    clearInactiveScreens,
    moveToNextScreen,
    insertDate,
    snapLeft,
    snapRight,
    windowSizePreset,
};

namespace HotKeyIds {
constexpr std::uint32_t appSwitcher = 1;
constexpr std::uint32_t windowsSwitcher = 2;
constexpr std::uint32_t quickDim = 4;
constexpr std::uint32_t clearInactiveScreens = 6;
constexpr std::uint32_t moveToNextScreen = 7;
constexpr std::uint32_t insertDate = 8;
constexpr std::uint32_t snapLeft = 9;
constexpr std::uint32_t snapRight = 10;
constexpr std::uint32_t firstWindowSizePreset = 100;
}  // namespace HotKeyIds

// The kind behind an identifier: 1–10 through a fixed table (3 and 5 are retired), 100 and up are presets.
std::optional<HotKeyKind> hotKeyKindForIdentifier(std::uint32_t identifier);
std::uint32_t identifierOf(HotKeyKind kind);  // presets answer the first preset identifier
std::optional<HotKeyConfig> defaultCombination(HotKeyKind kind);
// Names used in logs and in the list of failed registrations; empty for kinds registered without a name.
QString registrationName(HotKeyKind kind);
QString presetRegistrationName(const QString& presetName);

}  // namespace tamsinvale
