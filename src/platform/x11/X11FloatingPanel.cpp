// _NET_WM_DESKTOP and _NET_WM_STATE of a floating panel, written before it is mapped.
#include "X11FloatingPanel.h"

#include "X11Connection.h"

#include <cstdlib>
#include <vector>

namespace tamsinvale::X11FloatingPanel {

void prepare(X11Connection& connection, xcb_window_t window)
{
    xcb_connection_t* c = connection.xcb();
    const xcb_ewmh_connection_t* e = connection.ewmh();
    constexpr std::uint32_t allDesktops = 0xFFFFFFFFu;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, e->_NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 32, 1, &allDesktops);

    // Merged with what is there: the states of an unmapped window are the client's to set.
    std::vector<xcb_atom_t> states;
    xcb_generic_error_t* error = nullptr;
    auto* reply = xcb_get_property_reply(c, xcb_get_property(c, 0, window, e->_NET_WM_STATE, XCB_ATOM_ATOM, 0, 64),
                                         &error);
    std::free(error);
    if (reply && reply->format == 32 && reply->type == XCB_ATOM_ATOM) {
        const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
        states.assign(values, values + xcb_get_property_value_length(reply) / 4);
    }
    std::free(reply);
    for (const xcb_atom_t wanted : {e->_NET_WM_STATE_STICKY, e->_NET_WM_STATE_ABOVE, e->_NET_WM_STATE_SKIP_TASKBAR,
                                    e->_NET_WM_STATE_SKIP_PAGER}) {
        bool present = false;
        for (const xcb_atom_t s : states)
            present = present || s == wanted;
        if (!present)
            states.push_back(wanted);
    }
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, e->_NET_WM_STATE, XCB_ATOM_ATOM, 32,
                        static_cast<std::uint32_t>(states.size()), states.data());
    xcb_flush(c);
}

}  // namespace tamsinvale::X11FloatingPanel
