// What the App Shortcuts page shows (every installed app with its keys, the custom targets, the bindings left by
// apps no longer installed) and the key edits it makes: applied at once, or refused with a message that says why.
#pragma once

#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

#include "switcher/DiscoveredApp.h"

namespace tamsinvale {

class ShortcutStore;

struct ShortcutRow {
    QString appId;      // discovered rows: the app's id
    QUuid shortcutId;   // custom rows
    QString name;
    QString detail;     // custom rows: "Python script" or "Application", and where it is
    QString iconPath;
    QString firstKey;
    QString secondKey;
    bool operator==(const ShortcutRow&) const = default;
};

struct OrphanRow {
    QString bindingKey;  // the bundle identifier (or name) the keys are stored under
    QString keysText;    // "x" or "c a"
    bool operator==(const OrphanRow&) const = default;
};

namespace AppShortcutsPageModel {

extern const QString explanation;
extern const QString filterKeyMessage;
extern const QString secondWithoutFirstMessage;
extern const QString orphansHelp;

QList<ShortcutRow> discoveredRows(const ShortcutStore& store, const QList<DiscoveredApp>& apps);
QList<ShortcutRow> customRows(const ShortcutStore& store);
QList<OrphanRow> orphanRows(const ShortcutStore& store, const QList<DiscoveredApp>& apps);

// The name of whatever holds the sequence, leaving out one custom shortcut or one discovered binding.
std::optional<QString> holder(const ShortcutStore& store, const QList<DiscoveredApp>& apps, const QString& firstKey,
                              const std::optional<QString>& secondKey, const std::optional<QUuid>& excludingShortcut,
                              const std::optional<QString>& excludingBindingKey);
// `The keys "c a" are already used by Calculator.`
QString conflictMessage(const QString& firstKey, const std::optional<QString>& secondKey, const QString& holderName);

// Both keys as typed (empty for none; an empty first key removes the binding). Nothing when applied; otherwise
// the reason, and nothing changed.
std::optional<QString> setDiscoveredKeys(ShortcutStore& store, const QList<DiscoveredApp>& apps,
                                         const DiscoveredApp& app, const QString& firstKey, const QString& secondKey);
std::optional<QString> setCustomKeys(ShortcutStore& store, const QList<DiscoveredApp>& apps, const QUuid& id,
                                     const QString& firstKey, const QString& secondKey);

}  // namespace AppShortcutsPageModel

}  // namespace tamsinvale
