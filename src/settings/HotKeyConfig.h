// One global key combination: macOS virtual key code plus Carbon modifier mask, with its JSON and display forms.
#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace tamsinvale {

namespace CarbonModifier {
constexpr std::uint32_t command = 0x100;
constexpr std::uint32_t shift = 0x200;
constexpr std::uint32_t option = 0x800;
constexpr std::uint32_t control = 0x1000;
}  // namespace CarbonModifier

struct HotKeyConfig {
    std::uint32_t keyCode = 0;
    std::uint32_t modifiers = 0;

    bool operator==(const HotKeyConfig&) const = default;

    QJsonObject toJson() const;
    // Both "keyCode" and "modifiers" must be present and unsigned 32-bit integers.
    static std::optional<HotKeyConfig> fromJson(const QJsonValue& value);
    static std::optional<HotKeyConfig> fromJsonData(const QByteArray& data);
    QByteArray toJsonData() const;

    // Modifier glyphs in the order ⌘ ⌥ ⇧ ⌃, then the key name, joined by single spaces.
    QString displayString() const;
    // The key's name, or "KeyCode N" for a code without one.
    static QString keyName(std::uint32_t keyCode);
    // Every named key code, in table order; used by the hotkey backends to check their key maps.
    static const std::vector<std::pair<std::uint32_t, const char*>>& keyNameTable();
};

}  // namespace tamsinvale
