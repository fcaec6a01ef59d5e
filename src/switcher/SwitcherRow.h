// One row of the app switcher list: a discovered app, a custom shortcut, or the settings entry.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "AppShortcut.h"
#include "DiscoveredApp.h"

namespace tamsinvale {

struct SwitcherRow {
    enum class Kind { discovered, custom, settings };

    inline static const QString settingsTitle = QStringLiteral("Tamsinvale Settings");

    Kind kind = Kind::settings;
    std::optional<DiscoveredApp> app;
    std::optional<AppShortcut> shortcut;
    QStringList keys;  // key caps, in order

    static SwitcherRow discovered(const DiscoveredApp& app, QStringList keys) { return {Kind::discovered, app, {}, keys}; }
    static SwitcherRow custom(const AppShortcut& s, QStringList keys) { return {Kind::custom, {}, s, keys}; }
    static SwitcherRow settings() { return {}; }

    // Stable identity: "disc:<id>", "cust:<UUID>", "settings".
    QString identity() const
    {
        switch (kind) {
        case Kind::discovered: return QStringLiteral("disc:") + app->id;
        case Kind::custom: return QStringLiteral("cust:") + shortcut->idText();
        case Kind::settings: break;
        }
        return QStringLiteral("settings");
    }
    QString title() const
    {
        switch (kind) {
        case Kind::discovered: return app->name;
        case Kind::custom: return shortcut->name;
        case Kind::settings: break;
        }
        return settingsTitle;
    }
};

}  // namespace tamsinvale
