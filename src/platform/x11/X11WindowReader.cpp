// Batched reads of window properties and geometry; every reply is checked, a vanished window is no error.
#include "X11WindowReader.h"

#include "X11Connection.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include <xcb/res.h>

namespace tamsinvale {

namespace {

// Property values come from other clients: never read more than this many 32-bit units.
constexpr uint32_t maxTextUnits = 1024;
constexpr uint32_t maxAtomUnits = 64;

template <typename Reply>
struct Owned {
    Reply* p = nullptr;
    Owned() = default;
    explicit Owned(Reply* r) : p(r) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    Owned(Owned&& o) noexcept : p(o.p) { o.p = nullptr; }
    ~Owned() { std::free(p); }
    Reply* operator->() const { return p; }
    explicit operator bool() const { return p != nullptr; }
};

// Errors are taken here so that they never reach Qt's event queue as warnings.
template <typename Reply, typename Cookie, typename Fn>
Owned<Reply> reply(xcb_connection_t* c, Fn fn, Cookie cookie)
{
    xcb_generic_error_t* error = nullptr;
    Reply* r = fn(c, cookie, &error);
    std::free(error);
    return Owned<Reply>(r);
}

Owned<xcb_get_property_reply_t> propertyReply(xcb_connection_t* c, xcb_get_property_cookie_t cookie)
{
    return reply<xcb_get_property_reply_t>(c, xcb_get_property_reply, cookie);
}

QString textValue(const xcb_get_property_reply_t* r, bool utf8)
{
    if (!r || r->format != 8 || r->type == XCB_ATOM_NONE)
        return {};
    const int length = xcb_get_property_value_length(r);
    const char* data = static_cast<const char*>(xcb_get_property_value(r));
    int end = 0;
    while (end < length && data[end] != '\0')
        ++end;
    return utf8 ? QString::fromUtf8(data, end) : QString::fromLatin1(data, end);
}

QList<uint32_t> cardinals(const xcb_get_property_reply_t* r)
{
    QList<uint32_t> out;
    if (!r || r->format != 32)
        return out;
    const int count = xcb_get_property_value_length(r) / 4;
    const auto* values = static_cast<const uint32_t*>(xcb_get_property_value(r));
    out.reserve(count);
    for (int i = 0; i < count; ++i)
        out.append(values[i]);
    return out;
}

struct Cookies {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    xcb_get_property_cookie_t pid, netName, wmName, wmClass, gtkId, type, state, desktop, extents, transient,
        strutPartial, strut;
};

}  // namespace

QList<X11Window> X11WindowReader::read(const QList<xcb_window_t>& windows) const
{
    xcb_connection_t* c = m_connection.xcb();
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    const xcb_window_t root = m_connection.root();
    const xcb_atom_t gtkIdAtom = m_connection.atoms().gtkApplicationId;

    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t w : windows) {
        Cookies k;
        k.attributes = xcb_get_window_attributes(c, w);
        k.geometry = xcb_get_geometry(c, w);
        k.origin = xcb_translate_coordinates(c, w, root, 0, 0);
        k.pid = xcb_get_property(c, 0, w, e->_NET_WM_PID, XCB_ATOM_CARDINAL, 0, 1);
        k.netName = xcb_get_property(c, 0, w, e->_NET_WM_NAME, e->UTF8_STRING, 0, maxTextUnits);
        k.wmName = xcb_get_property(c, 0, w, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, maxTextUnits);
        k.wmClass = xcb_get_property(c, 0, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, maxTextUnits);
        k.gtkId = xcb_get_property(c, 0, w, gtkIdAtom, e->UTF8_STRING, 0, maxTextUnits);
        k.type = xcb_get_property(c, 0, w, e->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 0, maxAtomUnits);
        k.state = xcb_get_property(c, 0, w, e->_NET_WM_STATE, XCB_ATOM_ATOM, 0, maxAtomUnits);
        k.desktop = xcb_get_property(c, 0, w, e->_NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
        k.extents = xcb_get_property(c, 0, w, e->_NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 0, 4);
        k.transient = xcb_get_property(c, 0, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 0, 1);
        k.strutPartial = xcb_get_property(c, 0, w, e->_NET_WM_STRUT_PARTIAL, XCB_ATOM_CARDINAL, 0, 12);
        k.strut = xcb_get_property(c, 0, w, e->_NET_WM_STRUT, XCB_ATOM_CARDINAL, 0, 4);
        cookies.push_back(k);
    }

    QList<X11Window> out;
    out.reserve(windows.size());
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const Cookies& k = cookies[static_cast<size_t>(i)];
        X11Window win;
        win.id = windows[i];
        auto attributes = reply<xcb_get_window_attributes_reply_t>(c, xcb_get_window_attributes_reply, k.attributes);
        auto geometry = reply<xcb_get_geometry_reply_t>(c, xcb_get_geometry_reply, k.geometry);
        auto origin = reply<xcb_translate_coordinates_reply_t>(c, xcb_translate_coordinates_reply, k.origin);
        auto pid = propertyReply(c, k.pid);
        auto netName = propertyReply(c, k.netName);
        auto wmName = propertyReply(c, k.wmName);
        auto wmClass = propertyReply(c, k.wmClass);
        auto gtkId = propertyReply(c, k.gtkId);
        auto type = propertyReply(c, k.type);
        auto state = propertyReply(c, k.state);
        auto desktop = propertyReply(c, k.desktop);
        auto extents = propertyReply(c, k.extents);
        auto transient = propertyReply(c, k.transient);
        auto strutPartial = propertyReply(c, k.strutPartial);
        auto strut = propertyReply(c, k.strut);

        if (!attributes || !geometry || !origin) {
            out.append(win);  // gone between listing and reading
            continue;
        }
        win.exists = true;
        win.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        win.overrideRedirect = attributes->override_redirect;
        win.clientRect = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);

        if (const auto v = cardinals(pid.p); !v.isEmpty())
            win.pid = static_cast<std::int32_t>(v.first());
        win.name = textValue(netName.p, true);
        if (win.name.isEmpty() && wmName) {
            // WM_NAME is Latin-1 unless the client typed it UTF8_STRING.
            win.name = textValue(wmName.p, wmName->type == e->UTF8_STRING);
        }
        if (wmClass && wmClass->format == 8) {
            const int length = xcb_get_property_value_length(wmClass.p);
            const char* data = static_cast<const char*>(xcb_get_property_value(wmClass.p));
            const int firstEnd = static_cast<int>(strnlen(data, static_cast<size_t>(length)));
            win.wmInstance = QString::fromLatin1(data, firstEnd);
            if (firstEnd + 1 < length) {
                const char* second = data + firstEnd + 1;
                win.wmClass = QString::fromLatin1(second,
                                                  static_cast<int>(strnlen(second, static_cast<size_t>(length - firstEnd - 1))));
            }
        }
        win.gtkApplicationId = textValue(gtkId.p, true);

        // The first type this manager-independent list knows wins, as EWMH orders them by preference.
        bool typed = false;
        for (const uint32_t atom : cardinals(type.p)) {
            if (typed)
                break;
            typed = true;
            if (atom == e->_NET_WM_WINDOW_TYPE_NORMAL) win.type = X11WindowType::normal;
            else if (atom == e->_NET_WM_WINDOW_TYPE_DIALOG) win.type = X11WindowType::dialog;
            else if (atom == e->_NET_WM_WINDOW_TYPE_UTILITY) win.type = X11WindowType::utility;
            else if (atom == e->_NET_WM_WINDOW_TYPE_TOOLBAR) win.type = X11WindowType::toolbar;
            else if (atom == e->_NET_WM_WINDOW_TYPE_MENU) win.type = X11WindowType::menu;
            else if (atom == e->_NET_WM_WINDOW_TYPE_SPLASH) win.type = X11WindowType::splash;
            else if (atom == e->_NET_WM_WINDOW_TYPE_DOCK) win.type = X11WindowType::dock;
            else if (atom == e->_NET_WM_WINDOW_TYPE_DESKTOP) win.type = X11WindowType::desktop;
            else if (atom == e->_NET_WM_WINDOW_TYPE_NOTIFICATION) win.type = X11WindowType::notification;
            else if (atom == e->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU || atom == e->_NET_WM_WINDOW_TYPE_POPUP_MENU
                     || atom == e->_NET_WM_WINDOW_TYPE_TOOLTIP || atom == e->_NET_WM_WINDOW_TYPE_COMBO
                     || atom == e->_NET_WM_WINDOW_TYPE_DND)
                win.type = X11WindowType::popup;
            else
                typed = false;  // an extension type: look at the next one
        }
        for (const uint32_t atom : cardinals(state.p)) {
            if (atom == e->_NET_WM_STATE_ABOVE) win.above = true;
            else if (atom == e->_NET_WM_STATE_BELOW) win.below = true;
            else if (atom == e->_NET_WM_STATE_FULLSCREEN) win.fullScreen = true;
            else if (atom == e->_NET_WM_STATE_HIDDEN) win.hidden = true;
            else if (atom == e->_NET_WM_STATE_MAXIMIZED_VERT || atom == e->_NET_WM_STATE_MAXIMIZED_HORZ) win.maximized = true;
            else if (atom == e->_NET_WM_STATE_STICKY) win.sticky = true;
            else if (atom == e->_NET_WM_STATE_SKIP_TASKBAR) win.skipTaskbar = true;
        }
        if (const auto v = cardinals(desktop.p); !v.isEmpty())
            win.desktop = v.first();
        if (const auto v = cardinals(transient.p); !v.isEmpty())
            win.transient = v.first() != XCB_WINDOW_NONE && v.first() != win.id;
        win.frameRect = win.clientRect;
        if (const auto v = cardinals(extents.p); v.size() == 4) {
            // left, right, top, bottom; bounded so that a hostile value cannot overflow the rectangle
            const int left = static_cast<int>(qMin<uint32_t>(v[0], 4096)), right = static_cast<int>(qMin<uint32_t>(v[1], 4096));
            const int top = static_cast<int>(qMin<uint32_t>(v[2], 4096)), bottom = static_cast<int>(qMin<uint32_t>(v[3], 4096));
            win.frameRect = win.clientRect.adjusted(-left, -top, right, bottom);
        }
        if (const auto v = cardinals(strutPartial.p); v.size() == 12) {
            win.hasStrut = true;
            win.strutLeft = v[0]; win.strutRight = v[1]; win.strutTop = v[2]; win.strutBottom = v[3];
            win.strutLeftStartY = v[4]; win.strutLeftEndY = v[5]; win.strutRightStartY = v[6]; win.strutRightEndY = v[7];
            win.strutTopStartX = v[8]; win.strutTopEndX = v[9]; win.strutBottomStartX = v[10]; win.strutBottomEndX = v[11];
        } else if (const auto s = cardinals(strut.p); s.size() == 4) {
            // The old form reserves the whole edge.
            win.hasStrut = true;
            win.strutLeft = s[0]; win.strutRight = s[1]; win.strutTop = s[2]; win.strutBottom = s[3];
            win.strutLeftStartY = win.strutRightStartY = win.strutTopStartX = win.strutBottomStartX = 0;
            win.strutLeftEndY = win.strutRightEndY = win.strutTopEndX = win.strutBottomEndX = 0xFFFFFFFFu;
        }
        out.append(win);
    }

    // Clients that do not set _NET_WM_PID (Xt programs, for one) are found through the X-Resource extension.
    if (m_connection.hasRes()) {
        std::vector<std::pair<qsizetype, xcb_res_query_client_ids_cookie_t>> pidCookies;
        for (qsizetype i = 0; i < out.size(); ++i) {
            if (!out[i].exists || out[i].pid != 0)
                continue;
            xcb_res_client_id_spec_t spec{out[i].id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            pidCookies.emplace_back(i, xcb_res_query_client_ids(c, 1, &spec));
        }
        for (const auto& [index, cookie] : pidCookies) {
            auto r = reply<xcb_res_query_client_ids_reply_t>(c, xcb_res_query_client_ids_reply, cookie);
            if (!r)
                continue;
            for (auto it = xcb_res_query_client_ids_ids_iterator(r.p); it.rem; xcb_res_client_id_value_next(&it)) {
                if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && xcb_res_client_id_value_value_length(it.data) >= 1) {
                    out[index].pid = static_cast<std::int32_t>(*xcb_res_client_id_value_value(it.data));
                    break;
                }
            }
        }
    }
    return out;
}

X11Window X11WindowReader::read(xcb_window_t window) const
{
    return read(QList<xcb_window_t>{window}).first();
}

namespace {

std::optional<QList<xcb_window_t>> windowListProperty(X11Connection& connection, xcb_atom_t atom)
{
    xcb_connection_t* c = connection.xcb();
    // 16384 windows is far more than any desktop shows; the bound keeps a hostile property small.
    auto r = propertyReply(c, xcb_get_property(c, 0, connection.root(), atom, XCB_ATOM_WINDOW, 0, 16384));
    if (!r || r->type != XCB_ATOM_WINDOW)
        return std::nullopt;
    QList<xcb_window_t> out;
    for (const uint32_t w : cardinals(r.p))
        out.append(w);
    return out;
}

}  // namespace

std::optional<QList<xcb_window_t>> X11WindowReader::clientListStacking() const
{
    return windowListProperty(m_connection, m_connection.ewmh()->_NET_CLIENT_LIST_STACKING);
}

std::optional<QList<xcb_window_t>> X11WindowReader::clientList() const
{
    return windowListProperty(m_connection, m_connection.ewmh()->_NET_CLIENT_LIST);
}

xcb_window_t X11WindowReader::activeWindow() const
{
    const auto list = windowListProperty(m_connection, m_connection.ewmh()->_NET_ACTIVE_WINDOW);
    return list && !list->isEmpty() ? list->first() : xcb_window_t(XCB_WINDOW_NONE);
}

std::optional<std::uint32_t> X11WindowReader::currentDesktop() const
{
    xcb_connection_t* c = m_connection.xcb();
    auto r = propertyReply(c, xcb_get_property(c, 0, m_connection.root(), m_connection.ewmh()->_NET_CURRENT_DESKTOP,
                                               XCB_ATOM_CARDINAL, 0, 1));
    const auto v = cardinals(r.p);
    if (v.isEmpty())
        return std::nullopt;
    return v.first();
}

QList<xcb_window_t> X11WindowReader::topLevelAncestors(const QList<xcb_window_t>& windows) const
{
    xcb_connection_t* c = m_connection.xcb();
    const xcb_window_t root = m_connection.root();
    QList<xcb_window_t> current = windows;
    QList<bool> done(windows.size(), false);
    // Reparenting managers nest a client one or two levels deep; each level is one batch of requests.
    for (int depth = 0; depth < 8; ++depth) {
        std::vector<std::pair<qsizetype, xcb_query_tree_cookie_t>> pending;
        for (qsizetype i = 0; i < current.size(); ++i)
            if (!done[i] && current[i] != XCB_WINDOW_NONE)
                pending.emplace_back(i, xcb_query_tree(c, current[i]));
        if (pending.empty())
            break;
        for (const auto& [i, cookie] : pending) {
            auto r = reply<xcb_query_tree_reply_t>(c, xcb_query_tree_reply, cookie);
            if (!r) {
                current[i] = XCB_WINDOW_NONE;
                done[i] = true;
            } else if (r->parent == root || r->parent == XCB_WINDOW_NONE) {
                done[i] = true;
            } else {
                current[i] = r->parent;
            }
        }
    }
    return current;
}

QList<xcb_window_t> X11WindowReader::rootChildren() const
{
    xcb_connection_t* c = m_connection.xcb();
    auto r = reply<xcb_query_tree_reply_t>(c, xcb_query_tree_reply, xcb_query_tree(c, m_connection.root()));
    QList<xcb_window_t> out;
    if (!r)
        return out;
    const xcb_window_t* children = xcb_query_tree_children(r.p);
    const int count = xcb_query_tree_children_length(r.p);
    out.reserve(count);
    for (int i = 0; i < count; ++i)
        out.append(children[i]);
    return out;
}

}  // namespace tamsinvale
