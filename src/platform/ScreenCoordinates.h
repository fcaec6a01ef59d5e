// The one place that converts between screen coordinates, window-server coordinates and where a top-level
// window is placed, so that every panel lands on the right monitor wherever the primary one stands.
#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>

namespace tamsinvale {

class Screens;

// Screen coordinates: origin at the primary display's bottom-left, y up (every ScreenInfo frame).
// Window-server (and accessibility) coordinates: origin at the primary display's top-left, y down; a rectangle
// converts with y' = maxY(primary frame) − maxY(rect).
// Top-level coordinates: where the window system places a top-level window (a Qt window's geometry). They
// equal window-server coordinates on macOS; on X11 they are root coordinates, and the primary monitor need
// not stand at the root's origin.
class ScreenCoordinates {
public:
    // primaryFrame: the primary display's frame in screen coordinates. windowSystemOrigin: where the primary
    // display's top-left lies in top-level coordinates.
    explicit ScreenCoordinates(const QRectF& primaryFrame, QPointF windowSystemOrigin = {});
    // The conversion for the displays as they are now (identity-like when there is no display).
    static ScreenCoordinates of(const Screens& screens);

    QRectF toWindowServer(const QRectF& screenRect) const;
    QRectF toScreen(const QRectF& windowServerRect) const;

    QPointF windowServerToTopLevel(QPointF windowServerPoint) const { return windowServerPoint + m_origin; }
    // The integer geometry a top-level window must be given to cover screenRect.
    QRect toTopLevel(const QRectF& screenRect) const;

private:
    double m_primaryMaxY;
    QPointF m_origin;
};

}  // namespace tamsinvale
