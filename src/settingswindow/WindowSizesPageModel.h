// What the Window Sizes page shows: one editable row per size preset with its validation, and the reordering
// the page offers beside the store's add, remove and field edits.
#pragma once

#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

#include "settings/Settings.h"

namespace tamsinvale {

class SettingsStore;

struct PresetRow {
    QUuid id;
    QString name;
    QString width;
    QString height;
    std::optional<QString> widthWarning;   // the warning symbol's help text, while the width does not parse
    std::optional<QString> heightWarning;
    std::optional<HotKeyConfig> hotKey;
    bool canMoveUp = false;
    bool canMoveDown = false;
    bool operator==(const PresetRow&) const = default;
};

namespace WindowSizesPageModel {

extern const QString explanation;
extern const QString fieldHelp;      // help of every width and height field
extern const QString emptyText;      // "No window sizes yet."
extern const QString warningSymbol;  // "exclamationmark.triangle.fill"

QList<PresetRow> rows(const Settings& settings);
// "Not a valid width. Use "full", a fraction like .95, or points like 1440." for the label "Width".
QString invalidHelp(const QString& fieldLabel);
// Moves a preset one place up (-1) or down (+1); nothing at either end.
void move(SettingsStore& store, const QUuid& id, int step);

}  // namespace WindowSizesPageModel

}  // namespace tamsinvale
