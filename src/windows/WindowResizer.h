// Moves and resizes the focused window of the frontmost application: size presets, halves of the screen, and the
// next display. Every operation looks its window up afresh and keeps nothing between calls.
#pragma once

#include <QRectF>
#include <functional>
#include <optional>

#include "platform/Platform.h"
#include "windows/WindowSizePreset.h"

namespace tamsinvale {

class FocusTracker;

// The window an operation acts on, with its frame in accessibility coordinates and the display it is on.
struct FocusedWindowContext {
    AXElement axApp;
    AXElement window;
    QRectF frame;
    ScreenInfo screen;
};

enum class SnapSide { left = 0, right = 1 };

class WindowResizer {
public:
    // `focusTracker` names the application to act on while Tamsinvale itself is frontmost; it may come later.
    explicit WindowResizer(const Platform& platform, const FocusTracker* focusTracker = nullptr);

    void setFocusTracker(const FocusTracker* focusTracker) { m_focusTracker = focusTracker; }
    // Asked to cover the display a window was moved away from (focus dimming); empty: nobody is.
    std::function<void(const ScreenInfo& previousScreen)> coverScreenAfterWindowMoved;

    // Centres the window at the preset's size on its display.
    void apply(const WindowSizePreset& preset);
    // The left or right half of the window's display: floor(width / 2) wide, the full visible height.
    void snap(SnapSide side);
    // The same place, relatively, on the next display in the platform's order (the last wraps to the first).
    void moveToNextScreen();

    std::optional<FocusedWindowContext> focusedWindowContext() const;

    inline static const QString enhancedUIAttribute = AXAttr::enhancedUserInterface;

private:
    std::optional<AXElement> focusedWindow(const AXElement& app) const;
    std::optional<QRectF> frame(const AXElement& window) const;
    void setFrame(const AXElement& window, const QRectF& rect);
    void applyFrame(const FocusedWindowContext& context, const QRectF& rect);
    // A display rectangle (screen coordinates, y up) in accessibility coordinates (y down from the primary's top).
    QRectF toAccessibility(const QRectF& screenRect) const;

    Platform m_platform;
    const FocusTracker* m_focusTracker;
};

}  // namespace tamsinvale
