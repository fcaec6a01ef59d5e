// Main thread: create, change, order and destroy panels on the main thread only (they are AppKit windows).
// Our overlay panels on macOS: borderless, click-through NSPanels whose content is drawn by Core Animation layers.
#pragma once

#include "platform/OverlayPanels.h"

namespace tamsinvale {

class MacOverlayPanels : public OverlayPanels {
public:
    MacOverlayPanels() = default;

    std::unique_ptr<OverlayPanel> createPanel(const QRectF& frame, int level) override;
    // The window server composites every window: a translucent layer is always see-through.
    bool translucencyAvailable() const override { return true; }
};

}  // namespace tamsinvale
