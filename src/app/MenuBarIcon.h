// The tray icon's picture for each icon style, drawn in black as a mask the desktop can tint.
#pragma once

#include <QImage>

#include "settings/MenuBarIconStyle.h"

namespace tamsinvale {

class MenuBarIcon {
public:
    // 18 × 18 points at `scale` device pixels per point. Built once per style and scale, then reused.
    static QImage image(MenuBarIconStyle style, double scale = 1.0);
};

}  // namespace tamsinvale
