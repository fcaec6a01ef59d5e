// Batched reads of window properties and geometry; every reply is checked, a vanished window is no error.
#include "X11WindowReader.h"

#include "X11Connection.h"

#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <unistd.h>
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
    Owned& operator=(Owned&& o) noexcept
    {
        std::swap(p, o.p);
        return *this;
    }
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

// Requests of one window; the fixed ones only when nothing is kept for it.
struct Cookies {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    bool changing = false;      // title, state, desktop and extents asked for
    bool keepChanging = false;  // and kept: the window was watched before the request went out
    xcb_get_property_cookie_t netName, wmName, state, desktop, extents;
    bool fixed = false;
    xcb_get_property_cookie_t pid, wmClass, gtkId, type, transient, strutPartial, strut;
};

void applyChanging(X11Window& win, const auto& g)
{
    win.name = g.name;
    win.above = g.above;
    win.below = g.below;
    win.fullScreen = g.fullScreen;
    win.hidden = g.hidden;
    win.maximized = g.maximized;
    win.sticky = g.sticky;
    win.skipTaskbar = g.skipTaskbar;
    win.desktop = g.desktop;
    win.frameRect = g.hasExtents ? win.clientRect.adjusted(-g.extents[0], -g.extents[2], g.extents[1], g.extents[3])
                                 : win.clientRect;
}

}  // namespace

X11WindowReader::X11WindowReader(X11Connection& connection) : m_connection(connection)
{
    QObject::connect(&m_connection, &X11Connection::propertyChanged, &m_context,
                     [this](xcb_window_t window, xcb_atom_t atom) { forget(window, atom); });
    QObject::connect(&m_connection, &X11Connection::windowDestroyed, &m_context,
                     [this](xcb_window_t window) { forget(window); });
}

void X11WindowReader::forget(xcb_window_t window, xcb_atom_t atom) const
{
    if (m_batchDepth > 0) {
        m_batchWindows.remove(window);
        if (window == m_connection.root()) {
            m_batchRootLists.remove(atom);
            m_batchDesktop.reset();
        }
    }
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    if (atom == XCB_ATOM_NONE || atom == e->_NET_WM_PID || atom == XCB_ATOM_WM_CLASS
        || atom == m_connection.atoms().gtkApplicationId || atom == e->_NET_WM_WINDOW_TYPE
        || atom == XCB_ATOM_WM_TRANSIENT_FOR || atom == e->_NET_WM_STRUT_PARTIAL || atom == e->_NET_WM_STRUT)
        m_fixed.remove(window);
    if (atom == XCB_ATOM_NONE || atom == e->_NET_WM_NAME || atom == XCB_ATOM_WM_NAME || atom == e->_NET_WM_STATE
        || atom == e->_NET_WM_DESKTOP || atom == e->_NET_FRAME_EXTENTS)
        m_changing.remove(window);
}

void X11WindowReader::beginBatch() const
{
    ++m_batchDepth;
}

void X11WindowReader::endBatch() const
{
    if (m_batchDepth > 0 && --m_batchDepth == 0)
        dropBatchAnswers();
}

void X11WindowReader::dropBatchAnswers() const
{
    m_batchWindows.clear();
    m_batchRootLists.clear();
    m_batchDesktop.reset();
    m_batchTopLevels.clear();
}

QList<X11Window> X11WindowReader::read(const QList<xcb_window_t>& windows) const
{
    if (m_batchDepth == 0)
        return readFromServer(windows);
    QList<xcb_window_t> missing;
    for (const xcb_window_t w : windows)
        if (!m_batchWindows.contains(w) && !missing.contains(w))
            missing.append(w);
    if (!missing.isEmpty())
        for (const X11Window& w : readFromServer(missing))
            m_batchWindows.insert(w.id, w);
    QList<X11Window> out;
    out.reserve(windows.size());
    for (const xcb_window_t w : windows)
        out.append(m_batchWindows.value(w));
    return out;
}

QList<X11Window> X11WindowReader::readFromServer(const QList<xcb_window_t>& windows) const
{
    xcb_connection_t* c = m_connection.xcb();
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    const xcb_window_t root = m_connection.root();
    const xcb_atom_t gtkIdAtom = m_connection.atoms().gtkApplicationId;
    // Changes that have arrived must drop what is kept before it is used.
    if (m_connection.ownsEvents())
        m_connection.dispatchPendingEvents();

    std::vector<Cookies> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t w : windows) {
        Cookies k;
        k.attributes = xcb_get_window_attributes(c, w);
        k.geometry = xcb_get_geometry(c, w);
        k.origin = xcb_translate_coordinates(c, w, root, 0, 0);
        if (!m_changing.contains(w)) {
            k.changing = true;
            k.keepChanging = m_connection.isWatched(w);
            k.netName = xcb_get_property(c, 0, w, e->_NET_WM_NAME, e->UTF8_STRING, 0, maxTextUnits);
            k.wmName = xcb_get_property(c, 0, w, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, maxTextUnits);
            k.state = xcb_get_property(c, 0, w, e->_NET_WM_STATE, XCB_ATOM_ATOM, 0, maxAtomUnits);
            k.desktop = xcb_get_property(c, 0, w, e->_NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
            k.extents = xcb_get_property(c, 0, w, e->_NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 0, 4);
        }
        if (!m_fixed.contains(w)) {
            k.fixed = true;
            k.pid = xcb_get_property(c, 0, w, e->_NET_WM_PID, XCB_ATOM_CARDINAL, 0, 1);
            k.wmClass = xcb_get_property(c, 0, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, maxTextUnits);
            k.gtkId = xcb_get_property(c, 0, w, gtkIdAtom, e->UTF8_STRING, 0, maxTextUnits);
            k.type = xcb_get_property(c, 0, w, e->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 0, maxAtomUnits);
            k.transient = xcb_get_property(c, 0, w, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW, 0, 1);
            k.strutPartial = xcb_get_property(c, 0, w, e->_NET_WM_STRUT_PARTIAL, XCB_ATOM_CARDINAL, 0, 12);
            k.strut = xcb_get_property(c, 0, w, e->_NET_WM_STRUT, XCB_ATOM_CARDINAL, 0, 4);
        }
        cookies.push_back(k);
    }

    QList<X11Window> out;
    out.reserve(windows.size());
    QList<qsizetype> needPid, needOutline;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        const Cookies& k = cookies[static_cast<size_t>(i)];
        X11Window win;
        win.id = windows[i];
        auto attributes = reply<xcb_get_window_attributes_reply_t>(c, xcb_get_window_attributes_reply, k.attributes);
        auto geometry = reply<xcb_get_geometry_reply_t>(c, xcb_get_geometry_reply, k.geometry);
        auto origin = reply<xcb_translate_coordinates_reply_t>(c, xcb_translate_coordinates_reply, k.origin);
        Owned<xcb_get_property_reply_t> netName, wmName, state, desktop, extents;
        if (k.changing) {
            netName = propertyReply(c, k.netName);
            wmName = propertyReply(c, k.wmName);
            state = propertyReply(c, k.state);
            desktop = propertyReply(c, k.desktop);
            extents = propertyReply(c, k.extents);
        }
        Owned<xcb_get_property_reply_t> pid, wmClass, gtkId, type, transient, strutPartial, strut;
        if (k.fixed) {
            pid = propertyReply(c, k.pid);
            wmClass = propertyReply(c, k.wmClass);
            gtkId = propertyReply(c, k.gtkId);
            type = propertyReply(c, k.type);
            transient = propertyReply(c, k.transient);
            strutPartial = propertyReply(c, k.strutPartial);
            strut = propertyReply(c, k.strut);
        }

        if (!attributes || !geometry || !origin) {
            m_fixed.remove(win.id);
            m_changing.remove(win.id);
            out.append(win);  // gone between listing and reading
            continue;
        }
        win.exists = true;
        win.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        win.overrideRedirect = attributes->override_redirect;
        win.clientRect = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);

        if (k.fixed) {
            Fixed f;
            if (const auto v = cardinals(pid.p); !v.isEmpty())
                f.pid = static_cast<std::int32_t>(v.first());
            if (wmClass && wmClass->format == 8) {
                const int length = xcb_get_property_value_length(wmClass.p);
                const char* data = static_cast<const char*>(xcb_get_property_value(wmClass.p));
                const int firstEnd = static_cast<int>(strnlen(data, static_cast<size_t>(length)));
                f.wmInstance = QString::fromLatin1(data, firstEnd);
                if (firstEnd + 1 < length) {
                    const char* second = data + firstEnd + 1;
                    f.wmClass = QString::fromLatin1(
                        second, static_cast<int>(strnlen(second, static_cast<size_t>(length - firstEnd - 1))));
                }
            }
            f.gtkApplicationId = textValue(gtkId.p, true);
            // The first type this reader knows wins, as EWMH lists them by preference.
            bool typed = false;
            for (const uint32_t atom : cardinals(type.p)) {
                if (typed)
                    break;
                typed = true;
                if (atom == e->_NET_WM_WINDOW_TYPE_NORMAL) f.type = X11WindowType::normal;
                else if (atom == e->_NET_WM_WINDOW_TYPE_DIALOG) f.type = X11WindowType::dialog;
                else if (atom == e->_NET_WM_WINDOW_TYPE_UTILITY) f.type = X11WindowType::utility;
                else if (atom == e->_NET_WM_WINDOW_TYPE_TOOLBAR) f.type = X11WindowType::toolbar;
                else if (atom == e->_NET_WM_WINDOW_TYPE_MENU) f.type = X11WindowType::menu;
                else if (atom == e->_NET_WM_WINDOW_TYPE_SPLASH) f.type = X11WindowType::splash;
                else if (atom == e->_NET_WM_WINDOW_TYPE_DOCK) f.type = X11WindowType::dock;
                else if (atom == e->_NET_WM_WINDOW_TYPE_DESKTOP) f.type = X11WindowType::desktop;
                else if (atom == e->_NET_WM_WINDOW_TYPE_NOTIFICATION) f.type = X11WindowType::notification;
                else if (atom == e->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU || atom == e->_NET_WM_WINDOW_TYPE_POPUP_MENU
                         || atom == e->_NET_WM_WINDOW_TYPE_TOOLTIP || atom == e->_NET_WM_WINDOW_TYPE_COMBO
                         || atom == e->_NET_WM_WINDOW_TYPE_DND)
                    f.type = X11WindowType::popup;
                else
                    typed = false;  // an extension type: look at the next one
            }
            if (const auto v = cardinals(transient.p); !v.isEmpty())
                f.transient = v.first() != XCB_WINDOW_NONE && v.first() != win.id;
            if (const auto v = cardinals(strutPartial.p); v.size() == 12) {
                f.hasStrut = true;
                std::copy(v.cbegin(), v.cend(), f.strut);
            } else if (const auto old = cardinals(strut.p); old.size() == 4) {
                // The old form reserves whole edges.
                f.hasStrut = true;
                std::copy(old.cbegin(), old.cend(), f.strut);
                for (int j = 5; j < 12; j += 2)
                    f.strut[j] = 0xFFFFFFFFu;
            }
            m_fixed.insert(win.id, f);
        }
        applyFixed(win, m_fixed[win.id]);
        if (win.pid == 0 && k.fixed)
            needPid.append(i);

        if (k.changing) {
            Changing g;
            g.name = textValue(netName.p, true);
            if (g.name.isEmpty() && wmName) {
                // WM_NAME is Latin-1 unless the client typed it UTF8_STRING.
                g.name = textValue(wmName.p, wmName->type == e->UTF8_STRING);
            }
            for (const uint32_t atom : cardinals(state.p)) {
                if (atom == e->_NET_WM_STATE_ABOVE) g.above = true;
                else if (atom == e->_NET_WM_STATE_BELOW) g.below = true;
                else if (atom == e->_NET_WM_STATE_FULLSCREEN) g.fullScreen = true;
                else if (atom == e->_NET_WM_STATE_HIDDEN) g.hidden = true;
                else if (atom == e->_NET_WM_STATE_MAXIMIZED_VERT || atom == e->_NET_WM_STATE_MAXIMIZED_HORZ) g.maximized = true;
                else if (atom == e->_NET_WM_STATE_STICKY) g.sticky = true;
                else if (atom == e->_NET_WM_STATE_SKIP_TASKBAR) g.skipTaskbar = true;
            }
            if (const auto v = cardinals(desktop.p); !v.isEmpty())
                g.desktop = v.first();
            if (const auto v = cardinals(extents.p); v.size() == 4) {
                // Bounded so that a hostile value cannot overflow the rectangle.
                g.hasExtents = true;
                for (int j = 0; j < 4; ++j)
                    g.extents[j] = static_cast<int>(qMin<uint32_t>(v[j], 4096));
            }
            if (k.keepChanging)
                m_changing.insert(win.id, g);
            applyChanging(win, g);
        } else {
            applyChanging(win, m_changing[win.id]);
        }
        if (win.frameRect == win.clientRect && !win.overrideRedirect)
            needOutline.append(i);
        out.append(win);
    }

    // A manager that announces no decorations (i3) still draws them, in the window it reparented the client into:
    // that window's outline is the frame the user sees, and the one overlays and window commands go by.
    if (!needOutline.isEmpty()) {
        std::vector<std::pair<qsizetype, xcb_query_tree_cookie_t>> trees;
        for (const qsizetype i : std::as_const(needOutline))
            trees.emplace_back(i, xcb_query_tree(c, out[i].id));
        struct Parent {
            qsizetype index;
            xcb_get_geometry_cookie_t geometry;
            xcb_translate_coordinates_cookie_t origin;
        };
        std::vector<Parent> parents;
        for (const auto& [index, cookie] : trees) {
            auto tree = reply<xcb_query_tree_reply_t>(c, xcb_query_tree_reply, cookie);
            if (tree && tree->parent != root && tree->parent != XCB_WINDOW_NONE)
                parents.push_back({index, xcb_get_geometry(c, tree->parent),
                                   xcb_translate_coordinates(c, tree->parent, root, 0, 0)});
        }
        for (const Parent& p : parents) {
            auto geometry = reply<xcb_get_geometry_reply_t>(c, xcb_get_geometry_reply, p.geometry);
            auto origin = reply<xcb_translate_coordinates_reply_t>(c, xcb_translate_coordinates_reply, p.origin);
            if (!geometry || !origin)
                continue;
            const QRect outline(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
            X11Window& win = out[p.index];
            if (outline.contains(win.clientRect))
                win.frameRect = outline;
        }
    }

    // Clients that do not set _NET_WM_PID are found through the X-Resource extension, once per window.
    if (m_connection.hasRes() && !needPid.isEmpty()) {
        std::vector<std::pair<qsizetype, xcb_res_query_client_ids_cookie_t>> pidCookies;
        for (const qsizetype i : std::as_const(needPid)) {
            xcb_res_client_id_spec_t spec{out[i].id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            pidCookies.emplace_back(i, xcb_res_query_client_ids(c, 1, &spec));
        }
        for (const auto& [index, cookie] : pidCookies) {
            auto r = reply<xcb_res_query_client_ids_reply_t>(c, xcb_res_query_client_ids_reply, cookie);
            if (!r)
                continue;
            for (auto it = xcb_res_query_client_ids_ids_iterator(r.p); it.rem; xcb_res_client_id_value_next(&it)) {
                if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
                    && xcb_res_client_id_value_value_length(it.data) >= 1) {
                    out[index].pid = static_cast<std::int32_t>(*xcb_res_client_id_value_value(it.data));
                    if (auto f = m_fixed.find(out[index].id); f != m_fixed.end())
                        f->pid = out[index].pid;
                    break;
                }
            }
        }
    }
    // From now on this connection hears of their changes, so the next read can keep what it asks for.
    const std::int32_t ownPid = static_cast<std::int32_t>(::getpid());
    bool watched = false;
    for (const X11Window& w : std::as_const(out)) {
        if (w.exists && w.pid > 0 && w.pid != ownPid && !m_connection.isWatched(w.id)) {
            m_connection.watchWindow(w.id);
            watched = true;
        }
    }
    if (watched)
        xcb_flush(c);
    return out;
}

void X11WindowReader::applyFixed(X11Window& win, const Fixed& f)
{
    win.pid = f.pid;
    win.wmInstance = f.wmInstance;
    win.wmClass = f.wmClass;
    win.gtkApplicationId = f.gtkApplicationId;
    win.type = f.type;
    win.transient = f.transient;
    win.hasStrut = f.hasStrut;
    win.strutLeft = f.strut[0]; win.strutRight = f.strut[1]; win.strutTop = f.strut[2]; win.strutBottom = f.strut[3];
    win.strutLeftStartY = f.strut[4]; win.strutLeftEndY = f.strut[5];
    win.strutRightStartY = f.strut[6]; win.strutRightEndY = f.strut[7];
    win.strutTopStartX = f.strut[8]; win.strutTopEndX = f.strut[9];
    win.strutBottomStartX = f.strut[10]; win.strutBottomEndX = f.strut[11];
}

QList<X11Window> X11WindowReader::readWithoutGeometry(const QList<xcb_window_t>& windows) const
{
    if (m_connection.ownsEvents())
        m_connection.dispatchPendingEvents();
    // Kept is as good as asked for where this connection hears of every change, the window's end included.
    auto known = [this](xcb_window_t w) {
        return m_connection.isWatched(w) && m_fixed.contains(w) && m_changing.contains(w);
    };
    QList<xcb_window_t> missing;
    for (const xcb_window_t w : windows)
        if (!known(w) && !missing.contains(w))
            missing.append(w);
    QHash<xcb_window_t, X11Window> asked;
    if (!missing.isEmpty())
        for (const X11Window& w : read(missing))
            asked.insert(w.id, w);
    QList<X11Window> out;
    out.reserve(windows.size());
    for (const xcb_window_t w : windows) {
        if (const auto it = asked.constFind(w); it != asked.cend()) {
            out.append(*it);
            continue;
        }
        X11Window win;
        win.id = w;
        win.exists = true;
        applyFixed(win, m_fixed[w]);
        applyChanging(win, m_changing[w]);
        out.append(win);
    }
    return out;
}

X11Window X11WindowReader::read(xcb_window_t window) const
{
    return read(QList<xcb_window_t>{window}).first();
}

namespace {

xcb_get_property_cookie_t requestWindowList(X11Connection& connection, xcb_atom_t atom)
{
    // 16384 windows is far more than any desktop shows; the bound keeps a hostile property small.
    return xcb_get_property(connection.xcb(), 0, connection.root(), atom, XCB_ATOM_WINDOW, 0, 16384);
}

std::optional<QList<xcb_window_t>> windowListReply(X11Connection& connection, xcb_get_property_cookie_t cookie)
{
    auto r = propertyReply(connection.xcb(), cookie);
    if (!r || r->type != XCB_ATOM_WINDOW)
        return std::nullopt;
    QList<xcb_window_t> out;
    for (const uint32_t w : cardinals(r.p))
        out.append(w);
    return out;
}

std::optional<QList<xcb_window_t>> windowListProperty(X11Connection& connection, xcb_atom_t atom)
{
    return windowListReply(connection, requestWindowList(connection, atom));
}

}  // namespace

std::optional<QList<xcb_window_t>> X11WindowReader::rootWindowList(xcb_atom_t atom) const
{
    if (m_batchDepth == 0)
        return windowListProperty(m_connection, atom);
    if (const auto it = m_batchRootLists.constFind(atom); it != m_batchRootLists.cend())
        return *it;
    const auto list = windowListProperty(m_connection, atom);
    m_batchRootLists.insert(atom, list);
    return list;
}

std::optional<QList<xcb_window_t>> X11WindowReader::clientListStacking() const
{
    return rootWindowList(m_connection.ewmh()->_NET_CLIENT_LIST_STACKING);
}

std::optional<QList<xcb_window_t>> X11WindowReader::clientList() const
{
    return rootWindowList(m_connection.ewmh()->_NET_CLIENT_LIST);
}

xcb_window_t X11WindowReader::activeWindow() const
{
    const auto list = rootWindowList(m_connection.ewmh()->_NET_ACTIVE_WINDOW);
    return list && !list->isEmpty() ? list->first() : xcb_window_t(XCB_WINDOW_NONE);
}

std::pair<std::optional<QList<xcb_window_t>>, std::optional<std::uint32_t>> X11WindowReader::stackingAndDesktop() const
{
    const xcb_atom_t stackingAtom = m_connection.ewmh()->_NET_CLIENT_LIST_STACKING;
    if (m_batchDepth > 0 && m_batchDesktop && m_batchRootLists.contains(stackingAtom))
        return {m_batchRootLists.value(stackingAtom), *m_batchDesktop};
    xcb_connection_t* c = m_connection.xcb();
    const auto stacking = requestWindowList(m_connection, m_connection.ewmh()->_NET_CLIENT_LIST_STACKING);
    const auto desktop = xcb_get_property(c, 0, m_connection.root(), m_connection.ewmh()->_NET_CURRENT_DESKTOP,
                                          XCB_ATOM_CARDINAL, 0, 1);
    auto list = windowListReply(m_connection, stacking);
    auto r = propertyReply(c, desktop);
    const auto v = cardinals(r.p);
    const std::optional<std::uint32_t> current = v.isEmpty() ? std::nullopt : std::optional<std::uint32_t>(v.first());
    if (m_batchDepth > 0) {
        m_batchRootLists.insert(stackingAtom, list);
        m_batchDesktop = current;
    }
    return {std::move(list), current};
}

std::optional<std::uint32_t> X11WindowReader::currentDesktop() const
{
    if (m_batchDepth > 0 && m_batchDesktop)
        return *m_batchDesktop;
    xcb_connection_t* c = m_connection.xcb();
    auto r = propertyReply(c, xcb_get_property(c, 0, m_connection.root(), m_connection.ewmh()->_NET_CURRENT_DESKTOP,
                                               XCB_ATOM_CARDINAL, 0, 1));
    const auto v = cardinals(r.p);
    const std::optional<std::uint32_t> current = v.isEmpty() ? std::nullopt : std::optional<std::uint32_t>(v.first());
    if (m_batchDepth > 0)
        m_batchDesktop = current;
    return current;
}

QList<xcb_window_t> X11WindowReader::topLevelAncestors(const QList<xcb_window_t>& windows) const
{
    xcb_connection_t* c = m_connection.xcb();
    const xcb_window_t root = m_connection.root();
    QList<xcb_window_t> current = windows;
    QList<bool> done(windows.size(), false);
    if (m_batchDepth > 0)
        for (qsizetype i = 0; i < current.size(); ++i)
            if (const auto it = m_batchTopLevels.constFind(current[i]); it != m_batchTopLevels.cend()) {
                current[i] = *it;
                done[i] = true;
            }
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
    if (m_batchDepth > 0)
        for (qsizetype i = 0; i < current.size(); ++i)
            m_batchTopLevels.insert(windows[i], current[i]);
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
