// Screen, window-server and top-level coordinates: the conversions every panel and window command shares.
#include "ScreenCoordinates.h"

#include "Screens.h"

#include <cmath>

namespace tamsinvale {

namespace {
double maxY(const QRectF& r) { return r.y() + r.height(); }
}  // namespace

ScreenCoordinates::ScreenCoordinates(const QRectF& primaryFrame, QPointF windowSystemOrigin)
    : m_primaryMaxY(maxY(primaryFrame)), m_origin(windowSystemOrigin)
{
}

ScreenCoordinates ScreenCoordinates::of(const Screens& screens)
{
    const QList<ScreenInfo> all = screens.screens();
    return ScreenCoordinates(all.isEmpty() ? QRectF() : all.first().frame, screens.windowSystemOrigin());
}

QRectF ScreenCoordinates::toWindowServer(const QRectF& r) const
{
    return QRectF(r.x(), m_primaryMaxY - maxY(r), r.width(), r.height());
}

QRectF ScreenCoordinates::toScreen(const QRectF& r) const
{
    // The same reflection: applying it twice gives the rectangle back.
    return QRectF(r.x(), m_primaryMaxY - maxY(r), r.width(), r.height());
}

QRect ScreenCoordinates::toTopLevel(const QRectF& screenRect) const
{
    const QRectF ws = toWindowServer(screenRect);
    const QPointF topLeft = windowServerToTopLevel(ws.topLeft());
    return QRect(int(std::lround(topLeft.x())), int(std::lround(topLeft.y())),
                 std::max(1, int(std::lround(ws.width()))), std::max(1, int(std::lround(ws.height()))));
}

}  // namespace tamsinvale
