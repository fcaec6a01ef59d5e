// The height of a screen's menu bar (on X11: a dock or panel along the monitor's top edge).
#pragma once

#include <QList>
#include <QRectF>
#include <optional>

#include "platform/Screens.h"
#include "platform/WindowList.h"

namespace tamsinvale {

class MenuBarGeometry {
public:
    // From a window list read just now: the first menu-bar entry lying along the screen's top edge (±1 point),
    // as wide as the screen, and 10 to 80 points tall; 0 when none matches or the list is empty. Without a
    // readable list, the larger of the top safe-area inset and the strip the visible frame leaves at the top.
    static double menuBarHeight(const ScreenInfo& screen, const QList<ScreenInfo>& screens,
                                const std::optional<WindowSnapshot>& windows);
    // The screen's frame less its menu bar strip at the top (screen coordinates, origin kept).
    static QRectF frameBelowMenuBar(const ScreenInfo& screen, double menuBarHeight);
};

}  // namespace tamsinvale
