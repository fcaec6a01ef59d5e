// Wraps the xcb connection: atoms, root event selection, and turning X events into Qt signals.
#include "X11Connection.h"

#include <QCoreApplication>
#include <cstdlib>
#include <cstring>

#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

namespace tamsinvale {

namespace {

xcb_atom_t internAtom(xcb_connection_t* c, xcb_intern_atom_cookie_t cookie)
{
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(c, cookie, nullptr);
    if (!reply)
        return XCB_ATOM_NONE;
    const xcb_atom_t atom = reply->atom;
    std::free(reply);
    return atom;
}

xcb_intern_atom_cookie_t requestAtom(xcb_connection_t* c, const char* name)
{
    return xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name);
}

}  // namespace

X11Connection::X11Connection(xcb_connection_t* connection, int screenNumber, bool filterQtEvents, QObject* parent)
    : QObject(parent), m_connection(connection)
{
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; it.rem && i < screenNumber; ++i)
        xcb_screen_next(&it);
    if (it.rem)
        m_root = it.data->root;

    // Every round trip at start-up is paid once; ask for everything before reading any answer.
    xcb_intern_atom_cookie_t* ewmhCookies = xcb_ewmh_init_atoms(m_connection, &m_ewmh);
    const auto gtkId = requestAtom(m_connection, "_GTK_APPLICATION_ID");
    const auto wmS0 = requestAtom(m_connection, "WM_S0");
    const auto edid = requestAtom(m_connection, "EDID");
    const auto resources = requestAtom(m_connection, "RESOURCE_MANAGER");
    const auto randrVersion = xcb_randr_query_version(m_connection, 1, 5);
    const auto resVersion = xcb_res_query_version(m_connection, 1, 2);

    if (!xcb_ewmh_init_atoms_replies(&m_ewmh, ewmhCookies, nullptr))
        std::memset(&m_ewmh, 0, sizeof m_ewmh);
    m_ewmh.connection = m_connection;
    m_atoms.gtkApplicationId = internAtom(m_connection, gtkId);
    m_atoms.wmS0 = internAtom(m_connection, wmS0);
    m_atoms.edid = internAtom(m_connection, edid);
    m_atoms.resourceManager = internAtom(m_connection, resources);

    if (auto* reply = xcb_randr_query_version_reply(m_connection, randrVersion, nullptr)) {
        m_randr15 = reply->major_version > 1 || (reply->major_version == 1 && reply->minor_version >= 5);
        std::free(reply);
    }
    if (auto* reply = xcb_res_query_version_reply(m_connection, resVersion, nullptr)) {
        m_res = reply->server_major > 1 || (reply->server_major == 1 && reply->server_minor >= 2);
        std::free(reply);
    }
    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection, &xcb_randr_id);
        ext && ext->present)
        m_randrEventBase = ext->first_event;
    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection, &xcb_input_id);
        ext && ext->present) {
        m_xinputOpcode = ext->major_opcode;
        // Qt announces the XInput version it speaks on its own connection (announcing another is an error);
        // a connection of our own must announce one for raw events to come.
        if (!filterQtEvents)
            xcb_discard_reply(m_connection, xcb_input_xi_query_version(m_connection, 2, 2).sequence);
    }

    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection, &xcb_xfixes_id);
        ext && ext->present) {
        m_xfixesEventBase = ext->first_event;
        // As for XInput: Qt has announced its XFixes version on its own connection; ours must announce one.
        if (!filterQtEvents)
            xcb_discard_reply(m_connection, xcb_xfixes_query_version(m_connection, 5, 0).sequence);
        m_xfixesAnnounced = true;
    }

    selectRootEvents();

    m_ownsEvents = !filterQtEvents;
    if (filterQtEvents && QCoreApplication::instance()) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filterInstalled = true;
    }
}

X11Connection::~X11Connection()
{
    if (m_filterInstalled && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    if (m_ewmh.connection)
        xcb_ewmh_connection_wipe(&m_ewmh);
}

void X11Connection::selectRootEvents()
{
    if (m_root == XCB_WINDOW_NONE)
        return;
    // Qt selected its own events on the root through this very connection; a plain change would replace them.
    uint32_t mask = 0;
    if (auto* attributes = xcb_get_window_attributes_reply(m_connection,
                                                           xcb_get_window_attributes(m_connection, m_root), nullptr)) {
        mask = attributes->your_event_mask;
        std::free(attributes);
    }
    mask |= XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
    if (m_randrEventBase)
        xcb_randr_select_input(m_connection, m_root,
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE
                                   | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_PROPERTY
                                   | XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE);
    if (m_xinputOpcode) {
        // Raw presses reach every client that asks, whoever has the pointer grabbed and whichever window is under
        // it: a global monitor that takes nothing from anybody.
        struct {
            xcb_input_event_mask_t head;
            std::uint32_t mask;
        } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                    XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS
                        | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE};
        xcb_input_xi_select_events(m_connection, m_root, 1, &selection.head);
    }
    xcb_flush(m_connection);
}

void X11Connection::watchWindow(xcb_window_t window)
{
    if (m_watched.contains(window))
        return;
    m_watched.insert(window);
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    // A window that is already gone answers with BadWindow; the checked form keeps that error off Qt's handler.
    xcb_discard_reply(m_connection,
                      xcb_change_window_attributes_checked(m_connection, window, XCB_CW_EVENT_MASK, &mask).sequence);
}

bool X11Connection::watchSelectionOwner(xcb_atom_t selection)
{
    if (!m_xfixesAnnounced || m_root == XCB_WINDOW_NONE || selection == XCB_ATOM_NONE)
        return false;
    xcb_xfixes_select_selection_input(m_connection, m_root, selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    xcb_flush(m_connection);
    return true;
}

void X11Connection::dispatchPendingEvents()
{
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
        handleEvent(event);
        std::free(event);
    }
}

void X11Connection::noteInput(xcb_timestamp_t time)
{
    m_lastInputTime = time;
    m_lastInputSeen = std::chrono::steady_clock::now();
}

std::optional<xcb_timestamp_t> X11Connection::recentInputTime(std::chrono::milliseconds within) const
{
    if (m_lastInputTime == XCB_CURRENT_TIME || std::chrono::steady_clock::now() - m_lastInputSeen > within)
        return std::nullopt;
    return m_lastInputTime;
}

bool X11Connection::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (eventType == "xcb_generic_event_t" && message)
        handleEvent(static_cast<const xcb_generic_event_t*>(message));
    return false;  // Qt keeps seeing everything
}

void X11Connection::handleEvent(const xcb_generic_event_t* event)
{
    const uint8_t type = event->response_type & 0x7f;
    switch (type) {
    case XCB_PROPERTY_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_property_notify_event_t*>(event);
        m_lastPropertyTime = e->time;
        emit propertyChanged(e->window, e->atom);
        return;
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_configure_notify_event_t*>(event);
        if (e->window == m_root)
            emit screenLayoutChanged();
        else
            emit windowConfigured(e->window);
        return;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        m_watched.remove(e->window);
        emit windowDestroyed(e->window);
        return;
    }
    case XCB_KEY_PRESS:  // when one of our windows or grabs gets it (without XInput, the only presses seen)
        noteInput(reinterpret_cast<const xcb_key_press_event_t*>(event)->time);
        return;
    case XCB_BUTTON_PRESS:
        noteInput(reinterpret_cast<const xcb_button_press_event_t*>(event)->time);
        return;
    case XCB_MAP_NOTIFY:
        emit windowMapped(reinterpret_cast<const xcb_map_notify_event_t*>(event)->window, true);
        return;
    case XCB_UNMAP_NOTIFY:
        emit windowMapped(reinterpret_cast<const xcb_unmap_notify_event_t*>(event)->window, false);
        return;
    default:
        break;
    }
    if (m_xfixesEventBase && type == m_xfixesEventBase + XCB_XFIXES_SELECTION_NOTIFY) {
        const auto* e = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
        emit selectionOwnerChanged(e->selection, e->owner);
        return;
    }
    if (type == XCB_GE_GENERIC && m_xinputOpcode) {
        const auto* ge = reinterpret_cast<const xcb_ge_generic_event_t*>(event);
        if (ge->extension == m_xinputOpcode && ge->event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
            const auto* e = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event);
            noteInput(e->time);
            emit buttonPressed(e->detail);
        } else if (ge->extension == m_xinputOpcode && ge->event_type == XCB_INPUT_RAW_KEY_PRESS) {
            const auto* e = reinterpret_cast<const xcb_input_raw_key_press_event_t*>(event);
            noteInput(e->time);
            emit keyPressedAnywhere(xcb_keycode_t(e->detail), e->time);
        } else if (ge->extension == m_xinputOpcode && ge->event_type == XCB_INPUT_RAW_KEY_RELEASE) {
            const auto* e = reinterpret_cast<const xcb_input_raw_key_release_event_t*>(event);
            emit keyReleasedAnywhere(xcb_keycode_t(e->detail));
        }
        return;
    }
    if (m_randrEventBase
        && (type == m_randrEventBase + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == m_randrEventBase + XCB_RANDR_NOTIFY))
        emit screenLayoutChanged();
}

}  // namespace tamsinvale
