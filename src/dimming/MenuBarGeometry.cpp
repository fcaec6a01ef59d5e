// Finds the menu bar strip of a screen in the window list, with the visible-frame fallback.
#include "MenuBarGeometry.h"

#include <QtMath>
#include <algorithm>

namespace tamsinvale {

namespace {
double maxY(const QRectF& r) { return r.y() + r.height(); }
}  // namespace

double MenuBarGeometry::menuBarHeight(const ScreenInfo& screen, const QList<ScreenInfo>& screens,
                                      const std::optional<WindowSnapshot>& windows)
{
    if (!windows)
        return std::max(screen.topSafeAreaInset, std::max(0.0, maxY(screen.frame) - maxY(screen.visibleFrame)));
    if (windows->isEmpty())
        return 0;
    const double primaryTop = screens.isEmpty() ? 0.0 : maxY(screens.first().frame);
    // Window-server y of this screen's top edge.
    const double topEdge = primaryTop - maxY(screen.frame);
    for (const WindowSnapshotEntry& e : *windows) {
        if (!e.isMenuBar || e.layer.value_or(-1) != WindowLevel::mainMenu)
            continue;
        const QRectF& b = e.bounds;
        if (qAbs(b.x() - screen.frame.x()) < 1.0 && qAbs(b.y() - topEdge) < 1.0
            && qAbs(b.width() - screen.frame.width()) < 1.0 && b.height() >= 10 && b.height() <= 80)
            return b.height();
    }
    return 0;
}

QRectF MenuBarGeometry::frameBelowMenuBar(const ScreenInfo& screen, double menuBarHeight)
{
    const QRectF& f = screen.frame;
    return QRectF(f.x(), f.y(), f.width(), std::max(0.0, f.height() - menuBarHeight));
}

}  // namespace tamsinvale
