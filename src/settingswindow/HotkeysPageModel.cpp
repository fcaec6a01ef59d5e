// The Hotkeys page as data.
#include "HotkeysPageModel.h"

#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

struct HotkeyEntry {
    HotKeyKind kind;
    const char* title;
    const char* defaultHelp;
};

// The defaults are written in the order people say them (control before option), which is not the order the
// recorder shows the glyphs in.
constexpr HotkeyEntry entries[] = {
    {HotKeyKind::appSwitcher, "App Switcher", "Default: ⌘ Space"},
    {HotKeyKind::windowsSwitcher, "Window Switcher", "Default: ⌘ §"},
    {HotKeyKind::quickDim, "Quick Dim", "No default"},
    {HotKeyKind::clearInactiveScreens, "Clear Inactive Screens", "No default"},
    {HotKeyKind::moveToNextScreen, "Move to Next Display", "No default"},
    {HotKeyKind::insertDate, "Insert Date", "No default"},
    {HotKeyKind::snapLeft, "Snap Left", "Default: ⌃ ⌥ ←"},
    {HotKeyKind::snapRight, "Snap Right", "Default: ⌃ ⌥ →"},
};

}  // namespace

std::optional<HotKeyConfig> Settings::*HotkeysPageModel::property(HotKeyKind kind)
{
    switch (kind) {
    case HotKeyKind::appSwitcher: return &Settings::appSwitcherHotKey;
    case HotKeyKind::windowsSwitcher: return &Settings::windowsSwitcherHotKey;
    case HotKeyKind::quickDim: return &Settings::quickDimHotKey;
    case HotKeyKind::clearInactiveScreens: return &Settings::clearInactiveScreensHotKey;
    case HotKeyKind::moveToNextScreen: return &Settings::moveToNextScreenHotKey;
    case HotKeyKind::insertDate: return &Settings::insertDateHotKey;
    case HotKeyKind::snapLeft: return &Settings::snapLeftHotKey;
    case HotKeyKind::snapRight: return &Settings::snapRightHotKey;
    case HotKeyKind::windowSizePreset: return nullptr;
    }
    return nullptr;
}

QList<HotkeyRow> HotkeysPageModel::rows(const Settings& settings)
{
    QList<HotkeyRow> out;
    for (const HotkeyEntry& entry : entries)
        out.append(HotkeyRow{entry.kind, QString::fromUtf8(entry.title), settings.*property(entry.kind),
                             QString::fromUtf8(entry.defaultHelp)});
    return out;
}

std::optional<QString> HotkeysPageModel::failureWarning(const QStringList& failedRegistrations)
{
    if (failedRegistrations.isEmpty())
        return std::nullopt;
    return QStringLiteral("These hotkeys could not be registered, most likely because another app already uses the "
                          "same combination: ")
        + failedRegistrations.join(QStringLiteral(", "))
        + QStringLiteral(". Record a different combination or free it up in the other app.");
}

void HotkeysPageModel::setHotKey(SettingsStore& store, HotKeyKind kind, const std::optional<HotKeyConfig>& hotKey)
{
    if (const auto member = property(kind))
        store.set(member, hotKey);
}

}  // namespace tamsinvale
