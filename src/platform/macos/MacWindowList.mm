// CGWindowListCopyWindowInfo dictionaries into plain maps; portable/MacWindowInfo makes the snapshot entries.
#include "MacWindowList.h"

#import <CoreGraphics/CoreGraphics.h>

#include <QRectF>

#include "MacCFRef.h"
#include "MacCFValues.h"
#include "portable/MacWindowInfo.h"

namespace tamsinvale {

namespace {

MacWindowLevels systemLevels()
{
    MacWindowLevels levels;
    levels.normal = CGWindowLevelForKey(kCGNormalWindowLevelKey);
    levels.floating = CGWindowLevelForKey(kCGFloatingWindowLevelKey);
    levels.mainMenu = CGWindowLevelForKey(kCGMainMenuWindowLevelKey);
    levels.status = CGWindowLevelForKey(kCGStatusWindowLevelKey);
    return levels;
}

QVariantMap plainInfo(CFDictionaryRef info)
{
    // The scalar entries, under our own key names; the bounds dictionary is made a rectangle here.
    const struct {
        CFStringRef systemKey;
        const QString& key;
    } scalars[] = {
        {kCGWindowNumber, MacWindowInfoKey::number},       {kCGWindowOwnerPID, MacWindowInfoKey::ownerPid},
        {kCGWindowLayer, MacWindowInfoKey::layer},         {kCGWindowIsOnscreen, MacWindowInfoKey::onScreen},
        {kCGWindowName, MacWindowInfoKey::name},           {kCGWindowOwnerName, MacWindowInfoKey::ownerName},
    };
    QVariantMap out;
    for (const auto& entry : scalars) {
        const QVariant value = MacCFValues::scalar(CFDictionaryGetValue(info, entry.systemKey));
        if (value.isValid())
            out.insert(entry.key, value);
    }
    const CFTypeRef bounds = CFDictionaryGetValue(info, kCGWindowBounds);
    if (bounds && CFGetTypeID(bounds) == CFDictionaryGetTypeID()) {
        CGRect rect = CGRectNull;
        if (CGRectMakeWithDictionaryRepresentation(static_cast<CFDictionaryRef>(bounds), &rect))
            out.insert(MacWindowInfoKey::bounds, QRectF::fromCGRect(rect));
    }
    return out;
}

std::optional<WindowSnapshot> readList()
{
    // NULL outside a GUI session or without a window server: the list cannot be read.
    const auto list = MacCFRef<CFArrayRef>::adopt(
        CGWindowListCopyWindowInfo(kCGWindowListOptionOnScreenOnly | kCGWindowListExcludeDesktopElements, kCGNullWindowID));
    if (!list)
        return std::nullopt;
    // Entries that are not dictionaries are skipped; the rest keep the server's front-to-back order.
    const MacWindowLevels levels = systemLevels();
    QList<QVariantMap> infos;
    const CFIndex count = CFArrayGetCount(list.get());
    infos.reserve(count);
    for (CFIndex i = 0; i < count; ++i) {
        const CFTypeRef item = CFArrayGetValueAtIndex(list.get(), i);
        if (item && CFGetTypeID(item) == CFDictionaryGetTypeID())
            infos.append(plainInfo(static_cast<CFDictionaryRef>(item)));
    }
    return windowSnapshot(infos, levels);
}

}  // namespace

MacWindowList::MacWindowList() : m_list(readList) {}

std::optional<WindowSnapshot> MacWindowList::onScreenWindows() const { return m_list.get(); }

void MacWindowList::beginReadBatch() const { m_list.begin(); }

void MacWindowList::endReadBatch() const { m_list.end(); }

}  // namespace tamsinvale
