// The table of persisted settings: property name, defaults key, and how each is read, written and exchanged.
#pragma once

#include <QJsonValue>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

#include "Settings.h"

namespace tamsinvale {

class DefaultsDomain;

struct SettingField {
    QString property;  // e.g. "dimMenuBarOpacity"
    QString key;       // e.g. "tamsinvale.settings.dim.opacity"
    // Reads the key into the field; a missing or ill-typed value gives the field's default.
    std::function<void(const DefaultsDomain&, Settings&)> load;
    std::function<void(const Settings&, DefaultsDomain&)> save;
    std::function<QJsonValue(const Settings&)> toJson;
    // Sets the field from JSON; an error text (naming no property) when the value is ill-typed.
    std::function<std::optional<QString>(const QJsonValue&, Settings&)> fromJson;
    std::function<bool(const Settings&, const Settings&)> equal;
    std::function<void(const Settings& from, Settings& to)> copy;
};

// Declaration order, which is also load and save order.
const QList<SettingField>& settingsSchema();
const SettingField* settingField(const QString& property);

// Keys of settings that no longer exist; removed from the defaults on every load.
const QStringList& retiredSettingsKeys();

}  // namespace tamsinvale
