// The key-name table and the JSON and display forms of a hotkey.
#include "HotKeyConfig.h"

#include <QJsonDocument>
#include <QStringList>
#include <cmath>
#include <vector>

namespace tamsinvale {

const std::vector<std::pair<std::uint32_t, const char*>>& HotKeyConfig::keyNameTable()
{
    static const std::vector<std::pair<std::uint32_t, const char*>> table = {
        // letters
        {0, "A"}, {11, "B"}, {8, "C"}, {2, "D"}, {14, "E"}, {3, "F"}, {5, "G"}, {4, "H"}, {34, "I"},
        {38, "J"}, {40, "K"}, {37, "L"}, {46, "M"}, {45, "N"}, {31, "O"}, {35, "P"}, {12, "Q"}, {15, "R"},
        {1, "S"}, {17, "T"}, {32, "U"}, {9, "V"}, {13, "W"}, {7, "X"}, {16, "Y"}, {6, "Z"},
        // digits
        {29, "0"}, {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {23, "5"}, {22, "6"}, {26, "7"}, {28, "8"},
        {25, "9"},
        // punctuation
        {27, "-"}, {24, "="}, {33, "["}, {30, "]"}, {42, "\\"}, {41, ";"}, {39, "'"}, {43, ","}, {47, "."},
        {44, "/"}, {50, "`"},
        // named keys
        {49, "Space"}, {36, "↩"}, {48, "⇥"}, {51, "⌫"}, {117, "⌦"}, {53, "⎋"}, {115, "↖"}, {119, "↘"},
        {116, "⇞"}, {121, "⇟"}, {123, "←"}, {124, "→"}, {126, "↑"}, {125, "↓"}, {76, "⌤"}, {10, "§"},
        // function keys
        {122, "F1"}, {120, "F2"}, {99, "F3"}, {118, "F4"}, {96, "F5"}, {97, "F6"}, {98, "F7"}, {100, "F8"},
        {101, "F9"}, {109, "F10"}, {103, "F11"}, {111, "F12"},
    };
    return table;
}

QString HotKeyConfig::keyName(std::uint32_t keyCode)
{
    for (const auto& [code, name] : keyNameTable())
        if (code == keyCode)
            return QString::fromUtf8(name);
    return QStringLiteral("KeyCode %1").arg(keyCode);
}

QString HotKeyConfig::displayString() const
{
    QStringList parts;
    if (modifiers & CarbonModifier::command)
        parts << QStringLiteral("⌘");
    if (modifiers & CarbonModifier::option)
        parts << QStringLiteral("⌥");
    if (modifiers & CarbonModifier::shift)
        parts << QStringLiteral("⇧");
    if (modifiers & CarbonModifier::control)
        parts << QStringLiteral("⌃");
    parts << keyName(keyCode);
    return parts.join(QLatin1Char(' '));
}

QJsonObject HotKeyConfig::toJson() const
{
    return QJsonObject{{QStringLiteral("keyCode"), static_cast<qint64>(keyCode)},
                       {QStringLiteral("modifiers"), static_cast<qint64>(modifiers)}};
}

QByteArray HotKeyConfig::toJsonData() const { return QJsonDocument(toJson()).toJson(QJsonDocument::Compact); }

namespace {
std::optional<std::uint32_t> unsigned32(const QJsonValue& v)
{
    if (!v.isDouble())
        return std::nullopt;
    const double d = v.toDouble();
    if (!(d >= 0.0 && d <= 4294967295.0) || std::floor(d) != d)
        return std::nullopt;
    return static_cast<std::uint32_t>(d);
}
}  // namespace

std::optional<HotKeyConfig> HotKeyConfig::fromJson(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    const auto code = unsigned32(o.value(QStringLiteral("keyCode")));
    const auto mods = unsigned32(o.value(QStringLiteral("modifiers")));
    if (!code || !mods)
        return std::nullopt;
    return HotKeyConfig{*code, *mods};
}

std::optional<HotKeyConfig> HotKeyConfig::fromJsonData(const QByteArray& data)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    return fromJson(doc.object());
}

}  // namespace tamsinvale
