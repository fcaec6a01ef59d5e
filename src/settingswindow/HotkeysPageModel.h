// What the Hotkeys page shows: one recorder row per global hotkey with its default, and the warning about
// combinations that could not be registered; and what an edit writes.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

#include "settings/HotKeyKind.h"
#include "settings/Settings.h"

namespace tamsinvale {

class SettingsStore;

struct HotkeyRow {
    HotKeyKind kind = HotKeyKind::appSwitcher;
    QString title;
    std::optional<HotKeyConfig> hotKey;  // none: the default applies (or nothing, without a default)
    QString defaultHelp;                 // "Default: ⌘ Space", "No default"
    bool operator==(const HotkeyRow&) const = default;
};

namespace HotkeysPageModel {

// App switcher, window switcher, quick dim, clear inactive screens, move to next display, insert date, snap left,
// snap right.
QList<HotkeyRow> rows(const Settings& settings);
// The warning shown while some registrations failed; nothing while all succeeded.
std::optional<QString> failureWarning(const QStringList& failedRegistrations);
// A recorded combination, or none when the field was cleared (the default applies again).
void setHotKey(SettingsStore& store, HotKeyKind kind, const std::optional<HotKeyConfig>& hotKey);
// The settings property behind a kind; null for presets, which live in their own rows.
std::optional<HotKeyConfig> Settings::*property(HotKeyKind kind);

}  // namespace HotkeysPageModel

}  // namespace tamsinvale
