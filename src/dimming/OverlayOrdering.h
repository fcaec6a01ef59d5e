// Where windows are, screen by screen: the geometry the ordering engine decides from, over one window snapshot.
#pragma once

#include <QList>
#include <QRectF>
#include <cstdint>
#include <map>
#include <optional>

#include "platform/Screens.h"
#include "platform/WindowList.h"

namespace tamsinvale {

struct ScreenFrame {
    DisplayId displayId = 0;
    QRectF frame;  // screen coordinates
};

// The screens of one pass (ordered by display id, which is the overlay map's own order) and the questions the
// engine asks about a snapshot. Windows owned by `ownPid` are our own overlays and never count as targets.
class OverlayOrdering {
public:
    OverlayOrdering(QList<ScreenFrame> frames, double primaryHeight, std::int32_t ownPid);
    // Every screen with a usable display id; the flip uses the first screen's height.
    static OverlayOrdering fromScreens(const QList<ScreenInfo>& screens, std::int32_t ownPid);

    const QList<ScreenFrame>& frames() const { return m_frames; }
    std::optional<QRectF> frame(DisplayId id) const;
    bool contains(DisplayId id) const { return frame(id).has_value(); }

    // Window-server bounds (y down from the primary's top) to screen coordinates (y up from its bottom).
    QRectF flip(const QRectF& bounds) const;
    // The screen sharing the largest area with `rect`; an earlier screen keeps the place on a tie.
    // `taken` screens are not candidates.
    std::optional<DisplayId> bestScreen(const QRectF& rect, const std::map<DisplayId, WindowNumber>* taken = nullptr) const;

    // Each screen's frontmost normal window of `pid` (at least 50 × 50), with floating windows as the fallback.
    std::map<DisplayId, WindowNumber> frontmostWindowNumbersPerScreen(const WindowSnapshot& windows, std::int32_t pid,
                                                                      bool quiet) const;
    // The screen of the frontmost normal window of `pid`.
    std::optional<DisplayId> focusedScreen(const WindowSnapshot& windows, std::int32_t pid) const;
    // The frontmost normal window of any other application whose larger part lies on the screen.
    std::optional<WindowNumber> topmostWindowOnScreen(DisplayId id, const WindowSnapshot& windows) const;
    // Whether the window is still listed on screen and overlaps the screen at all.
    bool isWindowStillOnScreen(WindowNumber number, const WindowSnapshot& windows, DisplayId id) const;

    static constexpr double minimumTargetSide = 50.0;

private:
    static bool isNormalSized(const WindowSnapshotEntry& e);

    QList<ScreenFrame> m_frames;
    double m_primaryHeight = 0;
    std::int32_t m_ownPid = 0;
};

}  // namespace tamsinvale
