// What the standard X tools (xprop, xwininfo, xdotool) report, parsed: the independent side of the assertions.
#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <optional>

#include <xcb/xcb.h>

namespace tamsinvale::x11test::xtools {

// `xprop -root NAME` for a list of windows (_NET_CLIENT_LIST_STACKING, _NET_CLIENT_LIST …).
std::optional<QList<xcb_window_t>> rootWindowList(const QString& property);
// `xdotool getactivewindow`.
std::optional<xcb_window_t> activeWindow();
// `xwininfo -id`: absolute position and size, the window's own border included.
std::optional<QRect> geometry(xcb_window_t window);
// `xprop -id WINDOW NAME` as its raw value text (after " = "), empty when the property is not set.
std::optional<QString> property(xcb_window_t window, const QString& name);
// `xdotool windowactivate`: asks the manager; the change shows later (XTestSession::activate waits for it).
bool activate(xcb_window_t window);

}  // namespace tamsinvale::x11test::xtools
