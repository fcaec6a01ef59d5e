// How our AppKit panels are set up for a window level, and where their Core Animation layers go: the decisions the
// overlay panel backend follows, in plain numbers.
#pragma once

#include <QColor>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>
#include <cstdint>

namespace tamsinvale::MacPanelStyle {

// NSWindowCollectionBehavior bits.
constexpr std::uint64_t canJoinAllSpaces = 1u << 0;
constexpr std::uint64_t fullScreenAuxiliary = 1u << 8;

// Every Space for every panel; the dimming overlays (normal level) may also stand beside a full-screen window,
// the strips and launch cards above the status level need not.
std::uint64_t collectionBehavior(int windowLevel);

// Frames in the content view's layer, origin bottom-left, y up (AppKit's unflipped views).
// The picture is laid out for the whole screen height: it reaches `topInset` above the view's top edge, where the
// view clips it (that strip lies under the menu bar).
QRectF pictureLayerFrame(const QSizeF& bounds, double topInset);
// The darkening layer and the content picture fill the view.
QRectF fillLayerFrame(const QSizeF& bounds);
// Darkening alpha within 0–1; NaN reads as none.
double darkeningAlpha(double darkening);

// Where a pointer position (screen coordinates, y up, as NSEvent.mouseLocation gives it) lies in top-level
// coordinates (origin top-left of the primary display, y down), to the pixel that contains it.
QPoint topLevelPoint(QPointF screenPoint, const QRectF& primaryScreenFrame);

}  // namespace tamsinvale::MacPanelStyle
