// Window moves, restacks and activation as EWMH client messages from a pager (source 2), each one confirmed by
// watching what the manager did on a private connection, with a deadline.
#include "X11WindowActions.h"

#include "X11Connection.h"
#include "X11Screens.h"
#include "X11ServerTime.h"
#include "X11Window.h"
#include "X11WindowReader.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QMargins>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <poll.h>

#include <xcb/xcb_icccm.h>

namespace tamsinvale {

Q_LOGGING_CATEGORY(lcActions, "tamsinvale.x11.actions")

namespace {

constexpr std::uint32_t sourcePager = 2;
constexpr std::uint32_t northWestGravity = 1;
constexpr std::uint32_t stateRemove = 0;
// The manager's later configure events of one move come in a burst; this much silence ends it.
constexpr std::chrono::milliseconds settleTime{60};
// A key or button press this recent is what the request being sent answers.
constexpr std::chrono::milliseconds recentInput{1000};

template <typename Reply>
struct Owned {
    Reply* p = nullptr;
    explicit Owned(Reply* r) : p(r) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() { std::free(p); }
    Reply* operator->() const { return p; }
    explicit operator bool() const { return p != nullptr; }
};

QRectF toAccessibility(const QRect& root, const QPoint& origin) { return QRectF(root.translated(-origin)); }

}  // namespace

// What WM_NORMAL_HINTS lets the manager apply; a manager honouring them picks the largest size that fits.
namespace {
// Our own change to the desktop: reads made for the reaction under way must not answer for what comes after it.
struct FreshReads {
    const X11WindowReader& reader;
    explicit FreshReads(const X11WindowReader& r) : reader(r) { reader.dropBatchAnswers(); }
    ~FreshReads() { reader.dropBatchAnswers(); }
};
}  // namespace

struct X11WindowActions::SizeHints {
    int baseWidth = 0, baseHeight = 0;
    int minWidth = 1, minHeight = 1;
    int maxWidth = 1 << 15, maxHeight = 1 << 15;
    int incWidth = 1, incHeight = 1;

    QSize constrain(QSize size) const
    {
        auto one = [](int v, int base, int min, int max, int inc) {
            v = std::clamp(v, min, std::max(min, max));
            if (inc > 1 && v > base)
                v = base + (v - base) / inc * inc;
            return std::max(v, min);
        };
        return {one(size.width(), baseWidth, minWidth, maxWidth, incWidth),
                one(size.height(), baseHeight, minHeight, maxHeight, incHeight)};
    }
};

// Our own connection: its events are read by nobody but us, so a wait here cannot swallow Qt's events or run
// Qt's event loop (and with it arbitrary code) in the middle of an accessibility call.
struct X11WindowActions::Helper {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_WINDOW_NONE;
    std::unique_ptr<X11ServerTime> time;
    QList<xcb_generic_event_t*> pending;  // read while waiting for a timestamp

    explicit Helper(const QByteArray& display)
    {
        int screen = 0;
        connection = xcb_connect(display.isEmpty() ? nullptr : display.constData(), &screen);
        if (xcb_connection_has_error(connection))
            return;
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; it.rem && i < screen; ++i)
            xcb_screen_next(&it);
        if (!it.rem)
            return;
        root = it.data->root;
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
        time = std::make_unique<X11ServerTime>(connection, root);
        xcb_flush(connection);
    }
    ~Helper()
    {
        idleReader.reset();
        for (xcb_generic_event_t* e : std::as_const(pending))
            std::free(e);
        time.reset();
        if (connection)
            xcb_disconnect(connection);
    }
    bool ok() const { return connection && !xcb_connection_has_error(connection) && root != XCB_WINDOW_NONE; }

    xcb_generic_event_t* next()
    {
        if (!pending.isEmpty())
            return pending.takeFirst();
        return xcb_poll_for_event(connection);
    }

    // Between two requests nobody waits here: what the watched windows and the root announce meanwhile is of no
    // use, and must not pile up in memory (nor in the server's buffer for a client that never reads).
    void discard()
    {
        if (!ok())
            return;
        while (xcb_generic_event_t* e = next())
            std::free(e);
    }
    std::unique_ptr<QSocketNotifier> idleReader;
};

X11WindowActions::X11WindowActions(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                                   const QByteArray& display)
    : m_connection(connection), m_reader(reader), m_screens(screens), m_helper(std::make_unique<Helper>(display))
{
    if (!m_helper->ok()) {
        qCWarning(lcActions) << "no private X connection: window changes are sent without waiting for the manager";
        return;
    }
    if (QCoreApplication::instance()) {
        Helper* helper = m_helper.get();
        helper->idleReader = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(helper->connection),
                                                               QSocketNotifier::Read);
        QObject::connect(helper->idleReader.get(), &QSocketNotifier::activated, helper->idleReader.get(),
                         [helper] { helper->discard(); });
    }
}

X11WindowActions::~X11WindowActions() = default;

xcb_timestamp_t X11WindowActions::serverTime()
{
    if (!m_helper->ok() || !m_helper->time)
        return XCB_CURRENT_TIME;
    return m_helper->time->now([this](const xcb_generic_event_t* e) {
        // Kept for the next wait: it may be the very change that wait is about.
        const size_t size = (e->response_type & 0x7f) == XCB_GE_GENERIC ? 32 + 4 * reinterpret_cast<const xcb_ge_generic_event_t*>(e)->length : 32;
        auto* copy = static_cast<xcb_generic_event_t*>(std::malloc(size));
        std::memcpy(copy, e, size);
        m_helper->pending.append(copy);
    });
}

bool X11WindowActions::managerSupports(xcb_atom_t atom) const
{
    return atoms(m_connection.root(), m_connection.ewmh()->_NET_SUPPORTED).contains(atom);
}

QList<xcb_atom_t> X11WindowActions::atoms(xcb_window_t window, xcb_atom_t property) const
{
    xcb_connection_t* c = m_connection.xcb();
    // Bounded: the list is written by another client. The error of a vanished window is taken here, so that it
    // never reaches Qt's event queue as a warning.
    xcb_generic_error_t* error = nullptr;
    Owned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(c, xcb_get_property(c, 0, window, property, XCB_ATOM_ATOM, 0, 1024), &error));
    std::free(error);
    QList<xcb_atom_t> out;
    if (!reply || reply->format != 32 || reply->type != XCB_ATOM_ATOM)
        return out;
    const int count = xcb_get_property_value_length(reply.p) / 4;
    const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.p));
    for (int i = 0; i < count; ++i)
        out.append(values[i]);
    return out;
}

void X11WindowActions::sendToManager(xcb_window_t window, xcb_atom_t type, const std::uint32_t (&data)[5])
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    for (int i = 0; i < 5; ++i)
        event.data.data32[i] = data[i];
    // To the root, where the manager listens; a window id that has gone by now is simply ignored by it.
    xcb_send_event(m_connection.xcb(), 0, m_connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(m_connection.xcb());
}

void X11WindowActions::watch(xcb_window_t window)
{
    if (!m_helper->ok())
        return;
    const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    // Checked, and its error dropped: the window may be gone already.
    xcb_discard_reply(m_helper->connection,
                      xcb_change_window_attributes_checked(m_helper->connection, window, XCB_CW_EVENT_MASK, &mask).sequence);
    xcb_flush(m_helper->connection);
}

bool X11WindowActions::waitFor(xcb_window_t window, const std::function<bool()>& done,
                               std::chrono::milliseconds timeout, bool settle)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    bool configured = false;
    bool destroyed = false;
    auto lastEvent = Clock::now();
    for (;;) {
        // What is being waited for is a change on the server: answers kept for the current reaction are stale.
        m_reader.dropBatchAnswers();
        if (destroyed)
            return false;
        if (done())
            return true;
        if (!m_helper->ok())
            return true;  // nothing to wait on: the caller reads back what is there
        const auto now = Clock::now();
        if (now >= deadline)
            return true;
        // Once the manager has answered and gone quiet, what it applied is what it will apply.
        if (settle && configured && now - lastEvent >= settleTime)
            return true;
        auto wake = deadline;
        if (settle && configured)
            wake = std::min(wake, lastEvent + settleTime);
        bool any = false;
        while (xcb_generic_event_t* e = m_helper->next()) {
            any = true;
            const uint8_t type = e->response_type & 0x7f;
            if (type == XCB_CONFIGURE_NOTIFY && reinterpret_cast<xcb_configure_notify_event_t*>(e)->window == window)
                configured = true;
            else if (type == XCB_DESTROY_NOTIFY && reinterpret_cast<xcb_destroy_notify_event_t*>(e)->window == window)
                destroyed = true;
            else if (type == XCB_UNMAP_NOTIFY && reinterpret_cast<xcb_unmap_notify_event_t*>(e)->window == window)
                configured = true;  // withdrawn mid-request: nothing more will come
            std::free(e);
        }
        if (any) {
            lastEvent = Clock::now();
            continue;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(wake - Clock::now()).count();
        pollfd p{xcb_get_file_descriptor(m_helper->connection), POLLIN, 0};
        ::poll(&p, 1, static_cast<int>(std::max<long long>(left, 1)));
    }
}

X11WindowActions::SizeHints X11WindowActions::sizeHints(xcb_window_t window) const
{
    SizeHints out;
    xcb_connection_t* c = m_connection.xcb();
    xcb_size_hints_t hints{};
    xcb_generic_error_t* error = nullptr;
    const bool known = xcb_icccm_get_wm_normal_hints_reply(c, xcb_icccm_get_wm_normal_hints(c, window), &hints, &error);
    std::free(error);
    if (!known)
        return out;
    const bool hasBase = hints.flags & XCB_ICCCM_SIZE_HINT_BASE_SIZE;
    const bool hasMin = hints.flags & XCB_ICCCM_SIZE_HINT_P_MIN_SIZE;
    // Each stands in for the other when only one is given (ICCCM 4.1.2.3).
    if (hasBase) {
        out.baseWidth = std::max(0, hints.base_width);
        out.baseHeight = std::max(0, hints.base_height);
    } else if (hasMin) {
        out.baseWidth = std::max(0, hints.min_width);
        out.baseHeight = std::max(0, hints.min_height);
    }
    if (hasMin) {
        out.minWidth = std::max(1, hints.min_width);
        out.minHeight = std::max(1, hints.min_height);
    } else if (hasBase) {
        out.minWidth = std::max(1, hints.base_width);
        out.minHeight = std::max(1, hints.base_height);
    }
    if (hints.flags & XCB_ICCCM_SIZE_HINT_P_MAX_SIZE) {
        out.maxWidth = hints.max_width > 0 ? hints.max_width : out.maxWidth;
        out.maxHeight = hints.max_height > 0 ? hints.max_height : out.maxHeight;
    }
    if (hints.flags & XCB_ICCCM_SIZE_HINT_P_RESIZE_INC) {
        out.incWidth = std::clamp(hints.width_inc, 1, 4096);
        out.incHeight = std::clamp(hints.height_inc, 1, 4096);
    }
    return out;
}

bool X11WindowActions::unmaximize(xcb_window_t window)
{
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    auto maximized = [&] {
        const QList<xcb_atom_t> state = atoms(window, e->_NET_WM_STATE);
        return state.contains(e->_NET_WM_STATE_MAXIMIZED_VERT) || state.contains(e->_NET_WM_STATE_MAXIMIZED_HORZ);
    };
    if (!maximized())
        return true;
    sendToManager(window, e->_NET_WM_STATE,
                  {stateRemove, e->_NET_WM_STATE_MAXIMIZED_VERT, e->_NET_WM_STATE_MAXIMIZED_HORZ, sourcePager, 0});
    // The manager restores the old size and then drops the state; a move sent before that would be undone.
    return waitFor(window, [&] { return !maximized(); }, m_managerTimeout);
}

X11WindowActions::Placement X11WindowActions::placement(xcb_window_t window) const
{
    // Read here rather than through the shared reader: during our waits Qt's event loop does not run, so nothing
    // would tell the reader's kept properties (decorations, state) that they changed.
    xcb_connection_t* c = m_connection.xcb();
    const auto geometryCookie = xcb_get_geometry(c, window);
    const auto originCookie = xcb_translate_coordinates(c, window, m_connection.root(), 0, 0);
    const auto extentsCookie =
        xcb_get_property(c, 0, window, m_connection.ewmh()->_NET_FRAME_EXTENTS, XCB_ATOM_CARDINAL, 0, 4);
    xcb_generic_error_t* error = nullptr;
    Owned<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, geometryCookie, &error));
    std::free(error);
    error = nullptr;
    Owned<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(c, originCookie, &error));
    std::free(error);
    error = nullptr;
    Owned<xcb_get_property_reply_t> extents(xcb_get_property_reply(c, extentsCookie, &error));
    std::free(error);
    Placement out;
    if (!geometry || !origin)
        return out;
    out.exists = true;
    out.client = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
    if (extents && extents->format == 32 && xcb_get_property_value_length(extents.p) == 16) {
        const auto* v = static_cast<const uint32_t*>(xcb_get_property_value(extents.p));
        auto bounded = [](uint32_t x) { return static_cast<int>(std::min<uint32_t>(x, 4096)); };
        out.extents = QMargins(bounded(v[0]), bounded(v[2]), bounded(v[1]), bounded(v[3]));  // left right top bottom
    } else if (const auto frame = frameWindowGeometry(window)) {
        // A manager that announces no decorations (i3) still draws them, in the frame window it reparented the
        // client into: that window's outline is what the user sees.
        if (frame->contains(out.client))
            out.extents = QMargins(out.client.left() - frame->left(), out.client.top() - frame->top(),
                                   frame->right() - out.client.right(), frame->bottom() - out.client.bottom());
    }
    return out;
}

std::optional<QRect> X11WindowActions::frameWindowGeometry(xcb_window_t window) const
{
    xcb_connection_t* c = m_connection.xcb();
    xcb_window_t topLevel = window;
    // A client sits a level or two below the root in its manager's frame; a few steps are all there is.
    for (int depth = 0; depth < 8; ++depth) {
        Owned<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, topLevel), nullptr));
        if (!tree)
            return std::nullopt;
        if (tree.p->parent == tree.p->root || tree.p->parent == XCB_WINDOW_NONE)
            break;
        topLevel = tree.p->parent;
    }
    if (topLevel == window)
        return std::nullopt;
    Owned<xcb_get_geometry_reply_t> g(xcb_get_geometry_reply(c, xcb_get_geometry(c, topLevel), nullptr));
    if (!g)
        return std::nullopt;
    return QRect(g.p->x, g.p->y, g.p->width + 2 * g.p->border_width, g.p->height + 2 * g.p->border_width);
}

std::optional<QRect> X11WindowActions::moveResize(xcb_window_t window, const QRect& rootFrame)
{
    m_helper->discard();
    watch(window);
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    const QList<xcb_atom_t> state = atoms(window, e->_NET_WM_STATE);
    Placement now = placement(window);
    if (!now.exists)
        return std::nullopt;
    // A full-screen window keeps its place until it leaves full screen; asking would only wait out the timeout.
    if (state.contains(e->_NET_WM_STATE_FULLSCREEN))
        return now.frame();
    if (state.contains(e->_NET_WM_STATE_MAXIMIZED_VERT) || state.contains(e->_NET_WM_STATE_MAXIMIZED_HORZ)) {
        if (!unmaximize(window))
            return std::nullopt;
        now = placement(window);
        if (!now.exists)
            return std::nullopt;
    }
    if (now.frame() == rootFrame)
        return now.frame();

    const SizeHints hints = sizeHints(window);
    QPoint aim = rootFrame.topLeft();
    // Another round when the manager placed the frame a few pixels off (a client border it remembers) or changed
    // the decorations on the way (a restored window gets its borders back a moment after losing the state).
    // A manager keeping the window on screen, or honouring size hints, is not argued with.
    for (int round = 0; round < 3; ++round) {
        // The frame we were given is the client grown by the decorations the manager last announced.
        const QMargins m = now.extents;
        const QSize client(std::max(1, rootFrame.width() - m.left() - m.right()),
                           std::max(1, rootFrame.height() - m.top() - m.bottom()));
        const QSize expected = hints.constrain(client);
        request(window, QRect(aim, client));
        const bool alive = waitFor(
            window,
            [&] {
                now = placement(window);
                return !now.exists
                       || (now.frame().topLeft() == rootFrame.topLeft() && now.client.size() == expected
                           && now.extents == m);
            },
            m_managerTimeout, true);
        if (!alive || !now.exists)
            return std::nullopt;
        bool again = now.extents != m;
        const QPoint off = now.frame().topLeft() - rootFrame.topLeft();
        if (!off.isNull() && std::abs(off.x()) <= 64 && std::abs(off.y()) <= 64) {
            aim -= off;
            again = true;
        }
        if (!again)
            break;
    }
    now = placement(window);
    if (!now.exists)
        return std::nullopt;
    return now.frame();
}

void X11WindowActions::request(xcb_window_t window, const QRect& frameAtClientSize)
{
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    if (managerSupports(e->_NET_MOVERESIZE_WINDOW)) {
        // North-west gravity: x and y are where the frame's top-left goes, width and height the client's.
        const std::uint32_t flags = northWestGravity | (0xFu << 8) | (sourcePager << 12);
        sendToManager(window, e->_NET_MOVERESIZE_WINDOW,
                      {flags, static_cast<std::uint32_t>(frameAtClientSize.x()),
                       static_cast<std::uint32_t>(frameAtClientSize.y()),
                       static_cast<std::uint32_t>(frameAtClientSize.width()),
                       static_cast<std::uint32_t>(frameAtClientSize.height())});
        return;
    }
    // No EWMH manager: a configure request, which a manager (if any) intercepts and reads the same way.
    const int32_t values[] = {frameAtClientSize.x(), frameAtClientSize.y(), frameAtClientSize.width(),
                              frameAtClientSize.height()};
    xcb_connection_t* c = m_connection.xcb();
    xcb_discard_reply(c, xcb_configure_window_checked(c, window,
                                                      XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y
                                                          | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                                                      values)
                             .sequence);
    xcb_flush(c);
}

std::optional<QRectF> X11WindowActions::setFrame(xcb_window_t window, const QRectF& frame)
{
    const FreshReads fresh(m_reader);
    const QPoint origin = m_screens.origin();
    const QRect root(qRound(frame.x()) + origin.x(), qRound(frame.y()) + origin.y(), std::max(1, qRound(frame.width())),
                     std::max(1, qRound(frame.height())));
    const auto applied = moveResize(window, root);
    if (!applied)
        return std::nullopt;
    return toAccessibility(*applied, origin);
}

std::optional<QRectF> X11WindowActions::setPosition(xcb_window_t window, const QPointF& topLeft)
{
    const FreshReads fresh(m_reader);
    const Placement p = placement(window);
    if (!p.exists)
        return std::nullopt;
    return setFrame(window, QRectF(topLeft, QSizeF(p.frame().size())));
}

std::optional<QRectF> X11WindowActions::setSize(xcb_window_t window, const QSizeF& size)
{
    const FreshReads fresh(m_reader);
    const Placement p = placement(window);
    if (!p.exists)
        return std::nullopt;
    return setFrame(window, QRectF(QPointF(p.frame().topLeft() - m_screens.origin()), size));
}

bool X11WindowActions::raise(xcb_window_t window)
{
    const FreshReads fresh(m_reader);
    const X11Window w = m_reader.read(window);
    if (!w.exists)
        return false;
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    if (managerSupports(e->_NET_RESTACK_WINDOW)) {
        sendToManager(window, e->_NET_RESTACK_WINDOW, {sourcePager, XCB_WINDOW_NONE, XCB_STACK_MODE_ABOVE, 0, 0});
    } else {
        const uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_connection_t* c = m_connection.xcb();
        xcb_discard_reply(c, xcb_configure_window_checked(c, window, XCB_CONFIG_WINDOW_STACK_MODE, &above).sequence);
        xcb_flush(c);
    }
    return true;
}

bool X11WindowActions::activate(xcb_window_t window, const QList<xcb_window_t>& accepted, Confirmation confirmation)
{
    const FreshReads fresh(m_reader);
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    m_helper->discard();
    watch(window);
    // What the request needs is asked all at once: one round trip before it goes out, not one per question
    // (the user is waiting for the window on every one of them).
    xcb_connection_t* c = m_connection.xcb();
    const xcb_window_t root = m_connection.root();
    const auto desktopCookie = xcb_get_property(c, 0, window, e->_NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
    const auto currentCookie = xcb_get_property(c, 0, root, e->_NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL, 0, 1);
    const auto activeCookie = xcb_get_property(c, 0, root, e->_NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW, 0, 1);
    auto cardinal = [c](xcb_get_property_cookie_t cookie, bool* gone = nullptr) -> std::optional<std::uint32_t> {
        xcb_generic_error_t* error = nullptr;
        Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(c, cookie, &error));
        if (gone)
            *gone = error && error->error_code == XCB_WINDOW;
        std::free(error);
        if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.p) < 4)
            return std::nullopt;
        return *static_cast<const std::uint32_t*>(xcb_get_property_value(reply.p));
    };
    bool gone = false;
    const std::optional<std::uint32_t> desktop = cardinal(desktopCookie, &gone);
    const std::optional<std::uint32_t> current = cardinal(currentCookie);
    const xcb_window_t previous = cardinal(activeCookie).value_or(XCB_WINDOW_NONE);
    if (gone)
        return false;
    // Managers activate a window on another virtual desktop only there (Openbox marks it as wanting attention
    // instead): its desktop is shown first, as a pager's switch to it would. On every desktop, or no virtual
    // desktops at all: nothing to switch.
    if (desktop && current && *desktop != 0xFFFFFFFFu && *desktop != *current) {
        sendToManager(root, e->_NET_CURRENT_DESKTOP, {*desktop, userTime(), 0, 0, 0});
        if (!waitFor(window, [&] { return m_reader.currentDesktop() == desktop; }, m_managerTimeout))
            return false;
    }
    sendToManager(window, e->_NET_ACTIVE_WINDOW, {sourcePager, userTime(), previous, 0, 0});
    if (confirmation == Confirmation::later) {
        checkActivationLater(window, accepted);
        return true;
    }
    bool active = false;
    // The manager may hand the focus on to a modal dialog of the window instead: that counts.
    const bool alive = waitFor(
        window,
        [&] {
            active = accepted.contains(m_reader.activeWindow());
            return active;
        },
        m_managerTimeout);
    return alive && active;
}

void X11WindowActions::checkActivationLater(xcb_window_t window, const QList<xcb_window_t>& accepted)
{
    if (!QCoreApplication::instance())
        return;
    // The manager's answer is not awaited (the user's next key must not wait behind it), but it is still looked
    // at: a refusal, or a focus taken elsewhere meanwhile, is told in the log.
    std::weak_ptr<bool> alive = m_alive;
    QTimer::singleShot(m_managerTimeout, QCoreApplication::instance(), [this, alive, window, accepted] {
        if (alive.expired())
            return;
        const xcb_window_t active = m_reader.activeWindow();
        if (!accepted.contains(active))
            qCInfo(lcActions, "activation: window 0x%x is not active %lld ms after the request (the active window is "
                              "0x%x: the manager refused it, or the focus has moved on since)",
                   window, static_cast<long long>(m_managerTimeout.count()), active);
    });
}

xcb_timestamp_t X11WindowActions::userTime()
{
    // Managers that prevent focus stealing compare a request's time with the user's last input. The press that
    // asked for this change is that input, and needs no round trip; a change not asked for just now (a script,
    // a timer) gets the server's present time instead. Should a property change have been announced since the
    // press (another client activating a window meanwhile), its later time is taken: still a time that has
    // passed on the server, and not older than what the manager saw last.
    if (const auto pressed = m_connection.recentInputTime(recentInput)) {
        const xcb_timestamp_t announced = m_connection.lastPropertyTime();
        const bool announcedLater = announced != XCB_CURRENT_TIME && std::int32_t(announced - *pressed) > 0;
        return announcedLater ? announced : *pressed;
    }
    return serverTime();
}

bool X11WindowActions::focus(xcb_window_t window)
{
    const FreshReads fresh(m_reader);
    const X11Window w = m_reader.read(window);
    if (!w.exists)
        return false;
    QList<xcb_window_t> accepted{window};
    // Its transients (a modal dialog takes the focus from its parent in most managers).
    if (const auto clients = m_reader.clientList()) {
        xcb_connection_t* c = m_connection.xcb();
        // All asked before any answer is awaited: one round trip, not one per client.
        QList<xcb_get_property_cookie_t> cookies;
        for (const xcb_window_t other : *clients)
            cookies.append(xcb_icccm_get_wm_transient_for(c, other));
        for (qsizetype i = 0; i < cookies.size(); ++i) {
            xcb_window_t parent = XCB_WINDOW_NONE;
            xcb_generic_error_t* error = nullptr;
            if (xcb_icccm_get_wm_transient_for_reply(c, cookies[i], &parent, &error) && parent == window)
                accepted.append(clients->at(i));
            std::free(error);  // a client that has gone meanwhile
        }
    }
    return activate(window, accepted);
}

bool X11WindowActions::activateApplication(std::int32_t pid, bool allWindows, Confirmation confirmation)
{
    const FreshReads fresh(m_reader);
    if (pid <= 0)
        return false;
    const auto stacking = m_reader.clientListStacking();
    if (!stacking)
        return false;
    QList<xcb_window_t> shown, hidden;  // bottom to top
    for (const X11Window& w : m_reader.readWithoutGeometry(*stacking)) {
        if (!w.exists || w.pid != pid || w.type == X11WindowType::dock || w.type == X11WindowType::desktop)
            continue;
        (w.hidden ? hidden : shown).append(w.id);
    }
    // Minimised windows stay minimised, unless there is nothing else to bring forward.
    const QList<xcb_window_t>& candidates = shown.isEmpty() ? hidden : shown;
    if (candidates.isEmpty())
        return false;
    const xcb_window_t top = candidates.last();
    if (allWindows) {
        // Raised bottom to top, each lands above the one before: their order among themselves is kept.
        for (qsizetype i = 0; i + 1 < candidates.size(); ++i)
            raise(candidates[i]);
    }
    QList<xcb_window_t> accepted = shown + hidden;
    return activate(top, accepted, confirmation);
}

xcb_atom_t X11WindowActions::deleteWindowAtom()
{
    if (m_deleteWindow == XCB_ATOM_NONE) {
        xcb_connection_t* c = m_connection.xcb();
        static const char name[] = "WM_DELETE_WINDOW";
        Owned<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr));
        if (reply)
            m_deleteWindow = reply->atom;
    }
    return m_deleteWindow;
}

bool X11WindowActions::requestClose(xcb_window_t window)
{
    const xcb_atom_t deleteWindow = deleteWindowAtom();
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    // A client that does not take part in WM_DELETE_WINDOW can only be killed; that is never ours to do.
    if (deleteWindow == XCB_ATOM_NONE || !atoms(window, e->WM_PROTOCOLS).contains(deleteWindow))
        return false;
    const xcb_timestamp_t time = userTime();
    if (managerSupports(e->_NET_CLOSE_WINDOW)) {
        sendToManager(window, e->_NET_CLOSE_WINDOW, {time, sourcePager, 0, 0, 0});
    } else {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = e->WM_PROTOCOLS;
        event.data.data32[0] = deleteWindow;
        event.data.data32[1] = time;
        xcb_send_event(m_connection.xcb(), 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
        xcb_flush(m_connection.xcb());
    }
    qCDebug(lcActions, "asked window 0x%x to close", window);
    return true;
}

bool X11WindowActions::requestCloseApplication(std::int32_t pid)
{
    const FreshReads fresh(m_reader);
    if (pid <= 0)
        return false;
    const auto clients = m_reader.clientList();
    if (!clients)
        return false;
    bool asked = false;
    // Every managed window of it, dialogs included: each is one the user could close by hand.
    for (const X11Window& w : m_reader.read(*clients)) {
        if (!w.exists || w.pid != pid || w.type == X11WindowType::dock || w.type == X11WindowType::desktop)
            continue;
        asked = requestClose(w.id) || asked;
    }
    return asked;
}

}  // namespace tamsinvale
