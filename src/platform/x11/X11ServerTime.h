// The X server's own clock, read from a PropertyNotify on a window only we use: what focus requests must carry.
#pragma once

#include <chrono>
#include <functional>

#include <xcb/xcb.h>

namespace tamsinvale {

class X11ServerTime {
public:
    using EventSink = std::function<void(const xcb_generic_event_t*)>;

    // On a connection nobody else reads events from; `root` is that connection's root window.
    X11ServerTime(xcb_connection_t* connection, xcb_window_t root);
    ~X11ServerTime();
    X11ServerTime(const X11ServerTime&) = delete;
    X11ServerTime& operator=(const X11ServerTime&) = delete;

    // The server time now; XCB_CURRENT_TIME when the server did not answer in time (a broken connection).
    // Other events read meanwhile go to `others` rather than being lost.
    xcb_timestamp_t now(const EventSink& others = {}, std::chrono::milliseconds timeout = std::chrono::milliseconds(1000));

    xcb_window_t window() const { return m_window; }

private:
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_window = XCB_WINDOW_NONE;
    xcb_atom_t m_property = XCB_ATOM_NONE;
};

}  // namespace tamsinvale
