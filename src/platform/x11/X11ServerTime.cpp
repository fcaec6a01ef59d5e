// A zero-length append to a property of our own unmapped window: the PropertyNotify it causes carries the time.
#include "X11ServerTime.h"

#include <cstdlib>
#include <cstring>
#include <poll.h>

namespace tamsinvale {

X11ServerTime::X11ServerTime(xcb_connection_t* connection, xcb_window_t root) : m_connection(connection)
{
    if (!m_connection || xcb_connection_has_error(m_connection) || root == XCB_WINDOW_NONE)
        return;
    static const char name[] = "_TAMSINVALE_TIMESTAMP";
    const auto atomCookie = xcb_intern_atom(m_connection, 0, sizeof name - 1, name);
    m_window = xcb_generate_id(m_connection);
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    // Input-only and never mapped: invisible to the window manager and to every list of windows.
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    if (auto* reply = xcb_intern_atom_reply(m_connection, atomCookie, nullptr)) {
        m_property = reply->atom;
        std::free(reply);
    }
    xcb_flush(m_connection);
}

X11ServerTime::~X11ServerTime()
{
    if (m_window != XCB_WINDOW_NONE && m_connection && !xcb_connection_has_error(m_connection)) {
        xcb_destroy_window(m_connection, m_window);
        xcb_flush(m_connection);
    }
}

xcb_timestamp_t X11ServerTime::now(const EventSink& others, std::chrono::milliseconds timeout)
{
    if (m_window == XCB_WINDOW_NONE || m_property == XCB_ATOM_NONE || xcb_connection_has_error(m_connection))
        return XCB_CURRENT_TIME;
    xcb_change_property(m_connection, XCB_PROP_MODE_APPEND, m_window, m_property, XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(m_connection);

    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
            const auto* property = reinterpret_cast<const xcb_property_notify_event_t*>(event);
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && property->window == m_window
                && property->atom == m_property) {
                const xcb_timestamp_t time = property->time;
                std::free(event);
                return time;
            }
            if (others)
                others(event);
            std::free(event);
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0 || xcb_connection_has_error(m_connection))
            return XCB_CURRENT_TIME;
        pollfd p{xcb_get_file_descriptor(m_connection), POLLIN, 0};
        ::poll(&p, 1, static_cast<int>(left));
    }
}

}  // namespace tamsinvale
