// NSScreen records to ScreenInfo: the display ID read as the 32-bit CGDirectDisplayID it is, odd values made safe.
#include "MacScreenRecord.h"

#include "MacValueReading.h"

#include <cmath>
#include <limits>

namespace tamsinvale {

DisplayId displayIdFromScreenNumber(const QVariant& screenNumber)
{
    const auto n = MacValueReading::integerIn(screenNumber, 1, std::numeric_limits<DisplayId>::max());
    return n ? DisplayId(*n) : 0;
}

ScreenInfo screenInfoFromRecord(const MacScreenRecord& record)
{
    ScreenInfo info;
    info.displayId = displayIdFromScreenNumber(record.screenNumber);
    info.frame = record.frame;
    info.visibleFrame = record.visibleFrame;
    info.backingScale =
        std::isfinite(record.backingScaleFactor) && record.backingScaleFactor > 0 ? record.backingScaleFactor : 1.0;
    info.localizedName = record.localizedName;
    info.uuid = record.uuid;
    info.topSafeAreaInset = std::isfinite(record.safeAreaTop) && record.safeAreaTop > 0 ? record.safeAreaTop : 0.0;
    return info;
}

}  // namespace tamsinvale
