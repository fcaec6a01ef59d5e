// Panel set-up and layer geometry for the AppKit overlay panels.
#include "MacPanelStyle.h"

#include <algorithm>
#include <cmath>

#include "platform/ScreenCoordinates.h"
#include "platform/WindowList.h"

namespace tamsinvale::MacPanelStyle {

std::uint64_t collectionBehavior(int windowLevel)
{
    if (windowLevel == WindowLevel::normal)
        return canJoinAllSpaces | fullScreenAuxiliary;
    return canJoinAllSpaces;
}

QRectF pictureLayerFrame(const QSizeF& bounds, double topInset)
{
    return QRectF(0, 0, bounds.width(), bounds.height() + std::max(0.0, topInset));
}

QRectF fillLayerFrame(const QSizeF& bounds) { return QRectF(QPointF(0, 0), bounds); }

double darkeningAlpha(double darkening)
{
    if (std::isnan(darkening))
        return 0.0;
    return std::clamp(darkening, 0.0, 1.0);
}

QPoint topLevelPoint(QPointF screenPoint, const QRectF& primaryScreenFrame)
{
    // On macOS top-level coordinates are the window server's.
    const QPointF p = ScreenCoordinates(primaryScreenFrame).toWindowServer(QRectF(screenPoint, QSizeF(0, 0))).topLeft();
    return QPoint(int(std::floor(p.x())), int(std::floor(p.y())));
}

}  // namespace tamsinvale::MacPanelStyle
