// A named target size for the focused window, with an optional hotkey, and its stored JSON form.
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

#include "settings/HotKeyConfig.h"

namespace tamsinvale {

struct WindowSizePreset {
    QUuid id;
    QString name;
    QString width;   // as typed; parsed with parseSizeDimension when used
    QString height;
    std::optional<HotKeyConfig> hotKey;

    bool operator==(const WindowSizePreset&) const = default;

    // The default preset; its fixed identifier keeps it the same preset across launches.
    static const WindowSizePreset& full();
    static QList<WindowSizePreset> defaultList() { return {full()}; }
    // What "Add Size" appends.
    static WindowSizePreset makeNew();

    QJsonObject toJson() const;
    // Reads the current form and the older single-field form. Nothing when "id" or "name" is missing or
    // ill-typed, or a present field has the wrong type.
    static std::optional<WindowSizePreset> fromJson(const QJsonValue& value);

    static QByteArray listToJsonData(const QList<WindowSizePreset>& presets);
    static QJsonArray listToJson(const QList<WindowSizePreset>& presets);
    // Nothing when the data is not an array of valid presets: one bad preset fails the whole list.
    static std::optional<QList<WindowSizePreset>> listFromJson(const QJsonValue& value);
    static std::optional<QList<WindowSizePreset>> listFromJsonData(const QByteArray& data);
};

// Upper-case 36-character form used in JSON and logs.
QString uuidText(const QUuid& id);

}  // namespace tamsinvale
