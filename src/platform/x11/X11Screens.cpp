// Screens on X11: RandR monitors turned into the bottom-left, y-up screen coordinates the logic uses.
#include "X11Screens.h"

#include "X11Connection.h"
#include "X11WindowReader.h"

#include <QSet>
#include <QTimer>
#include <QUuid>
#include <cstdlib>
#include <vector>

#include <xcb/randr.h>

namespace tamsinvale {

namespace {

// Display UUIDs are name-based (version 5) in this namespace, so the same monitor gets the same UUID on every run.
const QUuid displayNamespace(QStringLiteral("{6b1f3c2e-8d4a-5b7e-9f10-2c3d4e5f6a7b}"));

template <typename Reply, typename Cookie, typename Fn>
Reply* take(xcb_connection_t* c, Fn fn, Cookie cookie)
{
    xcb_generic_error_t* error = nullptr;
    Reply* r = fn(c, cookie, &error);
    std::free(error);
    return r;
}

// The monitor's product name from the EDID display descriptors (tag 0xFC), when it has one.
QString edidProductName(const QByteArray& edid)
{
    if (edid.size() < 128)
        return {};
    for (int offset = 54; offset + 18 <= 126; offset += 18) {
        const auto* d = reinterpret_cast<const unsigned char*>(edid.constData() + offset);
        if (d[0] == 0 && d[1] == 0 && d[2] == 0 && d[3] == 0xFC) {
            QByteArray text(reinterpret_cast<const char*>(d + 5), 13);
            const int newline = text.indexOf('\n');
            if (newline >= 0)
                text.truncate(newline);
            return QString::fromLatin1(text).trimmed();
        }
    }
    return {};
}

QRect toScreenCoordinates(const QRect& rootRect, const QRect& primary)
{
    const int primaryBottom = primary.y() + primary.height();
    return QRect(rootRect.x() - primary.x(), primaryBottom - (rootRect.y() + rootRect.height()), rootRect.width(),
                 rootRect.height());
}

// A bar along the bottom of a monitor that ends above the root's bottom edge, whose strut counts from the monitor's
// edge rather than the root's (i3bar on every monitor but the lowest): its strip would miss the monitor, yet the
// bar is there, as tall as it says, and the manager keeps windows above it.
bool sitsOnBottomEdge(const QRect& bar, const QRect& monitor, int height)
{
    return !bar.isEmpty() && bar.height() == height && bar.bottom() == monitor.bottom() && monitor.contains(bar.center());
}

// Area left over when every dock's reserved strips along the root's edges are taken from a monitor.
QRect visibleArea(const QRect& monitor, const QList<X11Window>& docks, const QSize& rootSize)
{
    int top = monitor.top(), bottom = monitor.bottom(), left = monitor.left(), right = monitor.right();
    auto clampSpan = [](uint32_t start, uint32_t end) {
        return std::pair<int, int>(static_cast<int>(qMin<uint32_t>(start, 1u << 20)),
                                   static_cast<int>(qMin<uint32_t>(end, 1u << 20)));
    };
    for (const X11Window& dock : docks) {
        if (dock.strutTop > 0) {
            const auto [x0, x1] = clampSpan(dock.strutTopStartX, dock.strutTopEndX);
            const QRect strip(QPoint(x0, 0), QPoint(x1, static_cast<int>(qMin<uint32_t>(dock.strutTop, 1u << 20)) - 1));
            if (const QRect hit = strip.intersected(monitor); !hit.isEmpty())
                top = qMax(top, hit.bottom() + 1);
        }
        if (dock.strutBottom > 0) {
            const auto [x0, x1] = clampSpan(dock.strutBottomStartX, dock.strutBottomEndX);
            const int height = static_cast<int>(qMin<uint32_t>(dock.strutBottom, 1u << 20));
            const QRect strip(QPoint(x0, rootSize.height() - height), QPoint(x1, rootSize.height() - 1));
            if (const QRect hit = strip.intersected(monitor); !hit.isEmpty())
                bottom = qMin(bottom, hit.top() - 1);
            else if (sitsOnBottomEdge(dock.clientRect, monitor, height))
                bottom = qMin(bottom, dock.clientRect.top() - 1);
        }
        if (dock.strutLeft > 0) {
            const auto [y0, y1] = clampSpan(dock.strutLeftStartY, dock.strutLeftEndY);
            const QRect strip(QPoint(0, y0), QPoint(static_cast<int>(qMin<uint32_t>(dock.strutLeft, 1u << 20)) - 1, y1));
            if (const QRect hit = strip.intersected(monitor); !hit.isEmpty())
                left = qMax(left, hit.right() + 1);
        }
        if (dock.strutRight > 0) {
            const auto [y0, y1] = clampSpan(dock.strutRightStartY, dock.strutRightEndY);
            const int width = static_cast<int>(qMin<uint32_t>(dock.strutRight, 1u << 20));
            const QRect strip(QPoint(rootSize.width() - width, y0), QPoint(rootSize.width() - 1, y1));
            if (const QRect hit = strip.intersected(monitor); !hit.isEmpty())
                right = qMin(right, hit.left() - 1);
        }
    }
    if (bottom < top || right < left)
        return QRect(monitor.topLeft(), QSize(0, 0));
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

// Strips the manager keeps windows out of (its work area on the current desktop) that no listed dock reserves:
// a panel the manager draws itself, such as IceWM's taskbar, is no client. Each such strip spans its whole edge
// of the root, as the work area is one rectangle for all monitors.
std::optional<X11Window> unlistedReservations(const QRect& workArea, const QList<X11Window>& docks, const QSize& rootSize)
{
    if (workArea.isEmpty() || !QRect(QPoint(), rootSize).contains(workArea))
        return std::nullopt;
    std::uint32_t top = 0, bottom = 0, left = 0, right = 0;
    for (const X11Window& dock : docks) {
        top = qMax(top, dock.strutTop);
        bottom = qMax(bottom, dock.strutBottom);
        left = qMax(left, dock.strutLeft);
        right = qMax(right, dock.strutRight);
    }
    X11Window edges;
    const auto reserved = [](int byManager, std::uint32_t byDocks) {
        return byManager > 0 && std::uint32_t(byManager) > byDocks ? std::uint32_t(byManager) : 0u;
    };
    edges.strutTop = reserved(workArea.top(), top);
    edges.strutBottom = reserved(rootSize.height() - workArea.bottom() - 1, bottom);
    edges.strutLeft = reserved(workArea.left(), left);
    edges.strutRight = reserved(rootSize.width() - workArea.right() - 1, right);
    if (!edges.strutTop && !edges.strutBottom && !edges.strutLeft && !edges.strutRight)
        return std::nullopt;
    edges.strutTopEndX = edges.strutBottomEndX = std::uint32_t(rootSize.width() - 1);
    edges.strutLeftEndY = edges.strutRightEndY = std::uint32_t(rootSize.height() - 1);
    edges.hasStrut = true;
    return edges;
}

}  // namespace

X11Screens::X11Screens(X11Connection& connection, const X11WindowReader& reader, QObject* parent)
    : Screens(parent), m_connection(connection), m_reader(reader)
{
    connect(&m_connection, &X11Connection::screenLayoutChanged, this, &X11Screens::invalidate);
    connect(&m_connection, &X11Connection::propertyChanged, this, [this](xcb_window_t window, xcb_atom_t atom) {
        const xcb_ewmh_connection_t* e = m_connection.ewmh();
        if ((window == m_connection.root()
             && (atom == e->_NET_CLIENT_LIST || atom == e->_NET_WORKAREA || atom == m_connection.atoms().resourceManager))
            || atom == e->_NET_WM_STRUT_PARTIAL || atom == e->_NET_WM_STRUT)
            invalidate();
    });
    // A dock found outside the client list tells of its going only to those watching it.
    connect(&m_connection, &X11Connection::windowMapped, this, [this](xcb_window_t window, bool) {
        if (m_unlistedDocks.contains(window))
            invalidate();
    });
    connect(&m_connection, &X11Connection::windowDestroyed, this, [this](xcb_window_t window) {
        if (m_unlistedDocks.remove(window))
            invalidate();
    });
    ensureFresh();
    m_announced = m_screens;
}

void X11Screens::invalidate()
{
    m_dirty = true;
    // Bursts of events (a dock mapping, a monitor set) are coalesced into one comparison.
    if (m_refreshQueued)
        return;
    m_refreshQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_refreshQueued = false;
        refresh();
    });
}

void X11Screens::refresh()
{
    m_dirty = true;
    ensureFresh();
    // Compared with what was last announced, not last read: a reader may have refreshed the cache in between.
    if (m_screens != m_announced) {
        m_announced = m_screens;
        emit screensChanged();
    }
}

void X11Screens::ensureFresh() const
{
    if (!m_dirty)
        return;
    m_monitors = readMonitors();
    m_screens = compute(m_monitors);
    m_dirty = false;
}

QList<ScreenInfo> X11Screens::screens() const
{
    ensureFresh();
    return m_screens;
}

QList<X11Monitor> X11Screens::monitors() const
{
    ensureFresh();
    return m_monitors;
}

QPoint X11Screens::origin() const
{
    ensureFresh();
    return m_monitors.isEmpty() ? QPoint() : m_monitors.first().rect.topLeft();
}

std::optional<ScreenInfo> X11Screens::mainScreen() const
{
    ensureFresh();
    if (m_screens.isEmpty())
        return std::nullopt;
    const xcb_window_t active = m_reader.activeWindow();
    if (active == XCB_WINDOW_NONE)
        return m_screens.first();
    const X11Window window = m_reader.read(active);
    if (!window.exists)
        return m_screens.first();
    qsizetype best = -1;
    qint64 bestArea = 0;
    for (qsizetype i = 0; i < m_monitors.size(); ++i) {
        const QRect hit = m_monitors[i].rect.intersected(window.frameRect);
        const qint64 area = qint64(hit.width()) * hit.height();
        if (!hit.isEmpty() && area > bestArea) {
            best = i;
            bestArea = area;
        }
    }
    return best >= 0 ? m_screens[best] : m_screens.first();
}

QList<X11Monitor> X11Screens::readMonitors() const
{
    xcb_connection_t* c = m_connection.xcb();
    QList<X11Monitor> out;
    if (m_connection.hasRandr15()) {
        auto* reply = take<xcb_randr_get_monitors_reply_t>(c, xcb_randr_get_monitors_reply,
                                                           xcb_randr_get_monitors(c, m_connection.root(), 1));
        if (reply) {
            struct Pending {
                X11Monitor monitor;
                xcb_get_atom_name_cookie_t name;
                std::vector<xcb_randr_get_output_property_cookie_t> edids;
                std::vector<xcb_randr_get_output_info_cookie_t> infos;
            };
            std::vector<Pending> pending;
            for (auto it = xcb_randr_get_monitors_monitors_iterator(reply); it.rem; xcb_randr_monitor_info_next(&it)) {
                Pending p;
                p.monitor.rect = QRect(it.data->x, it.data->y, it.data->width, it.data->height);
                p.monitor.primary = it.data->primary;
                p.name = xcb_get_atom_name(c, it.data->name);
                const xcb_randr_output_t* outputs = xcb_randr_monitor_info_outputs(it.data);
                for (int o = 0; o < xcb_randr_monitor_info_outputs_length(it.data); ++o) {
                    p.edids.push_back(xcb_randr_get_output_property(c, outputs[o], m_connection.atoms().edid,
                                                                    XCB_GET_PROPERTY_TYPE_ANY, 0, 64, 0, 0));
                    p.infos.push_back(xcb_randr_get_output_info(c, outputs[o], XCB_CURRENT_TIME));
                }
                pending.push_back(std::move(p));
            }
            std::free(reply);
            for (Pending& p : pending) {
                if (auto* name = take<xcb_get_atom_name_reply_t>(c, xcb_get_atom_name_reply, p.name)) {
                    p.monitor.name = QString::fromUtf8(xcb_get_atom_name_name(name), xcb_get_atom_name_name_length(name));
                    std::free(name);
                }
                QByteArray edid;
                QString outputName;
                for (auto cookie : p.edids) {
                    auto* r = take<xcb_randr_get_output_property_reply_t>(c, xcb_randr_get_output_property_reply, cookie);
                    if (r && edid.isEmpty() && r->format == 8 && r->num_items >= 128)
                        edid = QByteArray(reinterpret_cast<const char*>(xcb_randr_get_output_property_data(r)),
                                          xcb_randr_get_output_property_data_length(r));
                    std::free(r);
                }
                for (auto cookie : p.infos) {
                    auto* r = take<xcb_randr_get_output_info_reply_t>(c, xcb_randr_get_output_info_reply, cookie);
                    if (r && outputName.isEmpty())
                        outputName = QString::fromUtf8(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(r)),
                                                       xcb_randr_get_output_info_name_length(r));
                    std::free(r);
                }
                // The EDID names the physical display wherever it is plugged; without one the connector's name
                // (or the monitor's, for a monitor without outputs) is the most stable thing there is.
                if (!edid.isEmpty())
                    p.monitor.identity = "edid:" + edid;
                else if (!outputName.isEmpty())
                    p.monitor.identity = "output:" + outputName.toUtf8();
                else
                    p.monitor.identity = "monitor:" + p.monitor.name.toUtf8();
                p.monitor.productName = edidProductName(edid);
                if (!p.monitor.rect.isEmpty())
                    out.append(p.monitor);
            }
        }
    }
    if (out.isEmpty()) {
        // Without RandR 1.5 the whole root is one display.
        auto* geometry = take<xcb_get_geometry_reply_t>(c, xcb_get_geometry_reply, xcb_get_geometry(c, m_connection.root()));
        if (geometry) {
            X11Monitor m;
            m.name = QStringLiteral("screen");
            m.rect = QRect(0, 0, geometry->width, geometry->height);
            m.primary = true;
            m.identity = "monitor:screen";
            out.append(m);
            std::free(geometry);
        }
    }
    // Primary first, the rest in the server's order.
    std::stable_partition(out.begin(), out.end(), [](const X11Monitor& m) { return m.primary; });
    return out;
}

QList<ScreenInfo> X11Screens::compute(const QList<X11Monitor>& monitors) const
{
    QList<ScreenInfo> out;
    if (monitors.isEmpty())
        return out;
    QList<X11Window> docks;
    const QList<xcb_window_t> clients = m_reader.clientList().value_or(QList<xcb_window_t>());
    for (const X11Window& w : m_reader.read(clients))
        if (w.exists && w.type == X11WindowType::dock && w.hasStrut && w.viewable)
            docks.append(w);
    const QRect workArea = readWorkArea();
    if (workArea.isEmpty()) {
        for (const X11Window& w : m_reader.read(unlistedDocks(clients)))
            if (w.exists && w.hasStrut && w.viewable)
                docks.append(w);
    }
    QSize rootSize;
    xcb_connection_t* c = m_connection.xcb();
    if (auto* geometry = take<xcb_get_geometry_reply_t>(c, xcb_get_geometry_reply, xcb_get_geometry(c, m_connection.root()))) {
        rootSize = QSize(geometry->width, geometry->height);
        std::free(geometry);
    }
    if (const auto edges = unlistedReservations(workArea, docks, rootSize))
        docks.append(*edges);
    const double scale = readBackingScale();
    const QRect primary = monitors.first().rect;
    QSet<DisplayId> used;
    for (const X11Monitor& m : monitors) {
        ScreenInfo info;
        const QUuid uuid = QUuid::createUuidV5(displayNamespace, m.identity);
        info.uuid = uuid.toString(QUuid::WithoutBraces).toUpper();
        DisplayId id = uuid.data1 == 0 ? 1u : uuid.data1;
        while (used.contains(id))  // two outputs of one EDID (a cloned display) still need two ids
            id = id + 1 == 0 ? 1u : id + 1;
        used.insert(id);
        info.displayId = id;
        info.frame = QRectF(toScreenCoordinates(m.rect, primary));
        info.visibleFrame = QRectF(toScreenCoordinates(visibleArea(m.rect, docks, rootSize), primary));
        info.backingScale = scale;
        info.localizedName = m.productName.isEmpty() ? m.name : m.productName;
        out.append(info);
    }
    return out;
}

QList<xcb_window_t> X11Screens::unlistedDocks(const QList<xcb_window_t>& listed) const
{
    xcb_connection_t* c = m_connection.xcb();
    QList<xcb_window_t> candidates;
    auto* tree = take<xcb_query_tree_reply_t>(c, xcb_query_tree_reply, xcb_query_tree(c, m_connection.root()));
    if (!tree)
        return {};
    const xcb_window_t* top = xcb_query_tree_children(tree);
    std::vector<xcb_query_tree_cookie_t> inner;
    for (int i = 0; i < xcb_query_tree_children_length(tree); ++i) {
        candidates.append(top[i]);
        inner.push_back(xcb_query_tree(c, top[i]));
    }
    std::free(tree);
    for (const xcb_query_tree_cookie_t cookie : inner) {
        if (auto* children = take<xcb_query_tree_reply_t>(c, xcb_query_tree_reply, cookie)) {
            const xcb_window_t* w = xcb_query_tree_children(children);
            candidates.append(QList<xcb_window_t>(w, w + xcb_query_tree_children_length(children)));
            std::free(children);
        }
    }
    // Only the window type is asked of each; the few docks are read whole afterwards.
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    std::vector<std::pair<xcb_window_t, xcb_get_property_cookie_t>> types;
    for (const xcb_window_t w : candidates)
        if (!listed.contains(w))
            types.emplace_back(w, xcb_get_property(c, 0, w, e->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 0, 8));
    QList<xcb_window_t> found;
    for (const auto& [w, cookie] : types) {
        auto* r = take<xcb_get_property_reply_t>(c, xcb_get_property_reply, cookie);
        if (!r)
            continue;
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(r));
        const int count = r->format == 32 ? xcb_get_property_value_length(r) / 4 : 0;
        if (std::find(atoms, atoms + count, e->_NET_WM_WINDOW_TYPE_DOCK) != atoms + count)
            found.append(w);
        std::free(r);
    }
    for (const xcb_window_t w : found) {
        if (!m_unlistedDocks.contains(w)) {
            m_unlistedDocks.insert(w);
            m_connection.watchWindow(w);
        }
    }
    return found;
}

QRect X11Screens::readWorkArea() const
{
    xcb_connection_t* c = m_connection.xcb();
    const xcb_ewmh_connection_t* e = m_connection.ewmh();
    const std::uint32_t desktop = m_reader.currentDesktop().value_or(0);
    auto* r = take<xcb_get_property_reply_t>(
        c, xcb_get_property_reply,
        xcb_get_property(c, 0, m_connection.root(), e->_NET_WORKAREA, XCB_ATOM_CARDINAL, desktop * 4, 4));
    QRect area;
    if (r && r->format == 32 && xcb_get_property_value_length(r) == 16) {
        const auto* v = static_cast<const std::uint32_t*>(xcb_get_property_value(r));
        if (v[0] < (1u << 20) && v[1] < (1u << 20) && v[2] < (1u << 20) && v[3] < (1u << 20))
            area = QRect(int(v[0]), int(v[1]), int(v[2]), int(v[3]));
    }
    std::free(r);
    return area;
}

double X11Screens::readBackingScale() const
{
    // X has one resolution for all monitors; desktops announce their scaling through Xft.dpi.
    xcb_connection_t* c = m_connection.xcb();
    auto* r = take<xcb_get_property_reply_t>(c, xcb_get_property_reply,
                                             xcb_get_property(c, 0, m_connection.root(), m_connection.atoms().resourceManager,
                                                              XCB_ATOM_STRING, 0, 16384));
    double scale = 1.0;
    if (r && r->format == 8) {
        const QByteArray text(static_cast<const char*>(xcb_get_property_value(r)), xcb_get_property_value_length(r));
        for (const QByteArray& line : text.split('\n')) {
            if (!line.startsWith("Xft.dpi:"))
                continue;
            bool ok = false;
            const double dpi = line.mid(8).trimmed().toDouble(&ok);
            if (ok && dpi >= 48 && dpi <= 960)
                scale = qMax(1.0, dpi / 96.0);
        }
    }
    std::free(r);
    return scale;
}

}  // namespace tamsinvale
