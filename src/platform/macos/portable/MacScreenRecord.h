// One NSScreen as read by the Objective-C++ screens backend, turned into the logic's ScreenInfo.
// NSScreen frames are already in screen coordinates (bottom-left of the primary display, y up): no flip here.
#pragma once

#include <QRectF>
#include <QString>
#include <QVariant>

#include "platform/Screens.h"

namespace tamsinvale {

struct MacScreenRecord {
    QVariant screenNumber;  // deviceDescription["NSScreenNumber"], as converted from its NSNumber (invalid when absent)
    QRectF frame;
    QRectF visibleFrame;
    double backingScaleFactor = 1.0;
    QString localizedName;
    QString uuid;           // CFUUIDCreateString of the display's UUID; empty when the display has none
    double safeAreaTop = 0.0;
};

// The display ID of a screen number: an unsigned 32-bit number other than 0; 0 (never a valid ID) for anything else.
DisplayId displayIdFromScreenNumber(const QVariant& screenNumber);

// A scale that is not a positive finite number reads as 1; a negative or non-finite inset as 0.
ScreenInfo screenInfoFromRecord(const MacScreenRecord& record);

}  // namespace tamsinvale
