// The window-manager side of a floating panel of ours (a managed top-level window, not an overlay): shown on
// every desktop, above normal windows, out of taskbars and pagers.
#pragma once

#include <xcb/xcb.h>

namespace tamsinvale {

class X11Connection;

namespace X11FloatingPanel {

// Writes the hints on a window that is not mapped yet (the manager reads them when it maps the window, and
// forgets them when it is withdrawn, so this comes before every showing). Qt adds its own states to these.
void prepare(X11Connection& connection, xcb_window_t window);

}  // namespace X11FloatingPanel

}  // namespace tamsinvale
