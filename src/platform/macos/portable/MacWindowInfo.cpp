// Window-info dictionaries to snapshot entries: types checked, ranges checked, levels renumbered.
#include "MacWindowInfo.h"

#include "MacValueReading.h"

#include <QRectF>
#include <limits>

namespace tamsinvale {

int portableWindowLevel(int systemLevel, const MacWindowLevels& levels)
{
    if (systemLevel == levels.normal)
        return WindowLevel::normal;
    if (systemLevel == levels.floating)
        return WindowLevel::floating;
    if (systemLevel == levels.mainMenu)
        return WindowLevel::mainMenu;
    if (systemLevel == levels.status)
        return WindowLevel::status;
    return systemLevel;
}

WindowSnapshotEntry windowSnapshotEntry(const QVariantMap& info, const MacWindowLevels& levels)
{
    using namespace MacValueReading;
    WindowSnapshotEntry e;
    if (const auto pid = integerIn(info.value(MacWindowInfoKey::ownerPid), std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()))
        e.ownerPid = std::int32_t(*pid);
    // Window number 0 is the null window: ordering relative to it would mean relative to every window.
    if (const auto number = integerIn(info.value(MacWindowInfoKey::number), 1, std::numeric_limits<WindowNumber>::max()))
        e.number = WindowNumber(*number);
    std::optional<int> systemLevel;
    if (const auto layer = integerIn(info.value(MacWindowInfoKey::layer), std::numeric_limits<int>::min(),
                                     std::numeric_limits<int>::max())) {
        systemLevel = int(*layer);
        e.layer = portableWindowLevel(*systemLevel, levels);
    }
    e.onScreen = flag(info.value(MacWindowInfoKey::onScreen));
    const QVariant bounds = info.value(MacWindowInfoKey::bounds);
    if (bounds.typeId() == QMetaType::QRectF)
        e.bounds = bounds.toRectF();
    const QVariant name = info.value(MacWindowInfoKey::name);
    if (name.typeId() == QMetaType::QString)
        e.name = name.toString();
    const QVariant ownerName = info.value(MacWindowInfoKey::ownerName);
    if (ownerName.typeId() == QMetaType::QString)
        e.ownerName = ownerName.toString();
    e.isMenuBar = e.ownerName == macWindowServerOwner && systemLevel == levels.mainMenu;
    return e;
}

WindowSnapshot windowSnapshot(const QList<QVariantMap>& infos, const MacWindowLevels& levels)
{
    WindowSnapshot out;
    out.reserve(infos.size());
    for (const QVariantMap& info : infos)
        out.append(windowSnapshotEntry(info, levels));
    return out;
}

}  // namespace tamsinvale
