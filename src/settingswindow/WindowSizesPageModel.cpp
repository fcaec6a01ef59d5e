// The Window Sizes page as data.
#include "WindowSizesPageModel.h"

#include "settings/SettingsStore.h"
#include "windows/SizeDimension.h"

namespace tamsinvale {

const QString WindowSizesPageModel::explanation = QStringLiteral(
    "Each hotkey resizes the focused window of the frontmost app and centers it on its screen. Width and height are "
    "each either a fraction of the screen's available space (\"full\", \"1\", \".95\") or an absolute size in points "
    "(\"1440\"). Mixing is fine, e.g. width 1440 with height .9.");
const QString WindowSizesPageModel::fieldHelp =
    QStringLiteral("\"full\", a fraction of the available space like .95, or points like 1440");
const QString WindowSizesPageModel::emptyText = QStringLiteral("No window sizes yet.");
const QString WindowSizesPageModel::warningSymbol = QStringLiteral("exclamationmark.triangle.fill");

QString WindowSizesPageModel::invalidHelp(const QString& fieldLabel)
{
    return QStringLiteral("Not a valid ") + fieldLabel.toLower()
        + QStringLiteral(". Use \"full\", a fraction like .95, or points like 1440.");
}

QList<PresetRow> WindowSizesPageModel::rows(const Settings& settings)
{
    QList<PresetRow> out;
    const QList<WindowSizePreset>& presets = settings.windowSizePresets;
    for (qsizetype i = 0; i < presets.size(); ++i) {
        const WindowSizePreset& p = presets[i];
        PresetRow row;
        row.id = p.id;
        row.name = p.name;
        row.width = p.width;
        row.height = p.height;
        if (!parseSizeDimension(p.width))
            row.widthWarning = invalidHelp(QStringLiteral("Width"));
        if (!parseSizeDimension(p.height))
            row.heightWarning = invalidHelp(QStringLiteral("Height"));
        row.hotKey = p.hotKey;
        row.canMoveUp = i > 0;
        row.canMoveDown = i + 1 < presets.size();
        out.append(row);
    }
    return out;
}

void WindowSizesPageModel::move(SettingsStore& store, const QUuid& id, int step)
{
    QList<WindowSizePreset> presets = store.settings().windowSizePresets;
    for (qsizetype i = 0; i < presets.size(); ++i) {
        if (presets[i].id != id)
            continue;
        const qsizetype to = i + step;
        if (to < 0 || to >= presets.size())
            return;
        presets.swapItemsAt(i, to);
        store.set(&Settings::windowSizePresets, presets);
        return;
    }
}

}  // namespace tamsinvale
