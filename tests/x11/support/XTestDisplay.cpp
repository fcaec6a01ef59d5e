// Independent X reads for assertions, RandR monitor setup, and predicate waits with deadlines.
#include "XTestDisplay.h"

#include <QCoreApplication>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <vector>

#include <xcb/randr.h>
#include <xcb/xcbext.h>

namespace tamsinvale::x11test {

XTestDisplay::XTestDisplay(const QString& display)
{
    int screen = 0;
    m_connection = xcb_connect(display.toLocal8Bit().constData(), &screen);
    if (xcb_connection_has_error(m_connection))
        return;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; it.rem && i < screen; ++i)
        xcb_screen_next(&it);
    m_root = it.data->root;
    // Property changes and structure changes on the root are what window managers announce themselves by.
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(m_connection);
}

XTestDisplay::~XTestDisplay()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

xcb_atom_t XTestDisplay::atom(const char* name)
{
    auto* r = xcb_intern_atom_reply(m_connection, xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name),
                                    nullptr);
    const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(r);
    return a;
}

QList<uint32_t> XTestDisplay::cardinals(xcb_window_t window, const char* property)
{
    QList<uint32_t> out;
    xcb_generic_error_t* error = nullptr;
    auto* r = xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096), &error);
    std::free(error);
    if (r && r->format == 32) {
        const auto* v = static_cast<const uint32_t*>(xcb_get_property_value(r));
        for (int i = 0; i < xcb_get_property_value_length(r) / 4; ++i)
            out.append(v[i]);
    }
    std::free(r);
    return out;
}

QString XTestDisplay::text(xcb_window_t window, const char* property)
{
    xcb_generic_error_t* error = nullptr;
    auto* r = xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096), &error);
    std::free(error);
    QString out;
    if (r && r->format == 8)
        out = QString::fromUtf8(static_cast<const char*>(xcb_get_property_value(r)), xcb_get_property_value_length(r));
    std::free(r);
    return out;
}

xcb_window_t XTestDisplay::selectionOwner(const char* selection)
{
    auto* r = xcb_get_selection_owner_reply(m_connection, xcb_get_selection_owner(m_connection, atom(selection)), nullptr);
    const xcb_window_t owner = r ? r->owner : xcb_window_t(XCB_WINDOW_NONE);
    std::free(r);
    return owner;
}

bool XTestDisplay::keyGrabbedByAnother(xcb_keycode_t keycode, std::uint16_t modifiers)
{
    xcb_generic_error_t* error = xcb_request_check(
        m_connection,
        xcb_grab_key_checked(m_connection, 0, m_root, modifiers, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    if (error) {
        std::free(error);
        return true;
    }
    xcb_ungrab_key(m_connection, keycode, m_root, modifiers);
    xcb_flush(m_connection);
    return false;
}

bool XTestDisplay::keyboardGrabbedByAnother()
{
    auto* reply = xcb_grab_keyboard_reply(
        m_connection,
        xcb_grab_keyboard(m_connection, 0, m_root, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
        nullptr);
    const bool held = reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
    const bool ours = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
    std::free(reply);
    if (ours)
        xcb_ungrab_keyboard(m_connection, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
    return held;
}

xcb_window_t XTestDisplay::topLevelAncestor(xcb_window_t window)
{
    xcb_window_t current = window;
    for (int depth = 0; depth < 16; ++depth) {
        xcb_generic_error_t* error = nullptr;
        auto* r = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, current), &error);
        std::free(error);
        if (!r)
            return XCB_WINDOW_NONE;
        const xcb_window_t parent = r->parent;
        std::free(r);
        if (parent == m_root || parent == XCB_WINDOW_NONE)
            return current;
        current = parent;
    }
    return XCB_WINDOW_NONE;
}

bool XTestDisplay::windowExists(xcb_window_t window)
{
    xcb_generic_error_t* error = nullptr;
    auto* r = xcb_get_window_attributes_reply(m_connection, xcb_get_window_attributes(m_connection, window), &error);
    std::free(error);
    const bool exists = r != nullptr;
    std::free(r);
    return exists;
}

bool XTestDisplay::setMonitors(const QList<MonitorSpec>& monitors)
{
    xcb_generic_error_t* error = nullptr;
    auto* version = xcb_randr_query_version_reply(m_connection, xcb_randr_query_version(m_connection, 1, 5), &error);
    std::free(error);
    std::free(version);
    auto* resources = xcb_randr_get_screen_resources_current_reply(
        m_connection, xcb_randr_get_screen_resources_current(m_connection, m_root), nullptr);
    if (!resources)
        return false;
    const xcb_randr_output_t output =
        xcb_randr_get_screen_resources_current_outputs_length(resources) > 0
            ? xcb_randr_get_screen_resources_current_outputs(resources)[0]
            : xcb_randr_output_t(XCB_NONE);
    std::free(resources);
    for (const xcb_atom_t name : std::as_const(m_monitorNames))
        xcb_randr_delete_monitor(m_connection, m_root, name);
    m_monitorNames.clear();

    for (qsizetype i = 0; i < monitors.size(); ++i) {
        const MonitorSpec& m = monitors[i];
        const xcb_atom_t name = atom(m.name.toLatin1().constData());
        m_monitorNames.append(name);
        // libxcb 1.15 miscomputes this request's length (the connection is then closed), so it is sent by hand.
        struct {
            uint32_t window;
            xcb_randr_monitor_info_t info;
            uint32_t output;
        } __attribute__((packed)) request{};
        request.window = m_root;
        request.info.name = name;
        request.info.primary = m.primary;
        request.info.x = static_cast<int16_t>(m.rect.x());
        request.info.y = static_cast<int16_t>(m.rect.y());
        request.info.width = static_cast<uint16_t>(m.rect.width());
        request.info.height = static_cast<uint16_t>(m.rect.height());
        request.info.width_in_millimeters = static_cast<uint32_t>(m.rect.width() * 254 / 960);
        request.info.height_in_millimeters = static_cast<uint32_t>(m.rect.height() * 254 / 960);
        const bool withOutput = i == 0 && output != XCB_NONE;
        request.info.nOutput = withOutput ? 1 : 0;
        request.output = output;
        static const xcb_protocol_request_t protocol{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
        // xcb writes the request header over the first four bytes of parts[0]; parts[-2]/[-1] are its own.
        struct {
            uint32_t header;
            decltype(request) body;
        } __attribute__((packed)) whole{0, request};
        iovec parts[3];
        parts[2].iov_base = &whole;
        parts[2].iov_len = withOutput ? sizeof whole : sizeof whole - sizeof(uint32_t);
        xcb_void_cookie_t cookie{xcb_send_request(m_connection, XCB_REQUEST_CHECKED, parts + 2, &protocol)};
        if (xcb_generic_error_t* e = xcb_request_check(m_connection, cookie)) {
            std::free(e);
            return false;
        }
    }
    return !xcb_connection_has_error(m_connection);
}

void XTestDisplay::drain()
{
    while (xcb_generic_event_t* e = xcb_poll_for_event(m_connection))
        std::free(e);
}

bool XTestDisplay::waitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        if (QCoreApplication::instance())
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        if (predicate())
            return true;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        xcb_flush(m_connection);
        pollfd p{xcb_get_file_descriptor(m_connection), POLLIN, 0};
        poll(&p, 1, static_cast<int>(std::min<long long>(left, 50)));
        drain();
    }
}

}  // namespace tamsinvale::x11test
