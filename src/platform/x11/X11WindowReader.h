// Reads many client windows at once: every request is sent before the first reply is awaited.
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <optional>

#include "X11Window.h"

namespace tamsinvale {

class X11Connection;

class X11WindowReader {
public:
    // Properties are kept per window and dropped when X says they changed or the window went, so a snapshot asks
    // only for geometry and mapping. Fixed ones (pid, WM_CLASS, type, transient-for, struts) are kept from the
    // first read; the others (title, state, desktop, frame extents) only once this connection is told of their
    // changes, i.e. from reads issued after the window was watched. Our own windows are never watched (their event
    // masks are Qt's), so theirs are always read afresh.
    explicit X11WindowReader(X11Connection& connection);

    // In the order given; windows that have gone come back with `exists` false.
    QList<X11Window> read(const QList<xcb_window_t>& windows) const;
    X11Window read(xcb_window_t window) const;

    // Root window lists; nothing when the property is missing (no EWMH window manager).
    std::optional<QList<xcb_window_t>> clientListStacking() const;  // bottom to top
    std::optional<QList<xcb_window_t>> clientList() const;          // mapping order
    xcb_window_t activeWindow() const;
    std::optional<std::uint32_t> currentDesktop() const;
    // The stacking list and the current desktop in one round trip.
    std::pair<std::optional<QList<xcb_window_t>>, std::optional<std::uint32_t>> stackingAndDesktop() const;
    // The top-level (child of the root) ancestor of each window: the window manager's frame.
    QList<xcb_window_t> topLevelAncestors(const QList<xcb_window_t>& windows) const;
    // Children of the root, bottom to top.
    QList<xcb_window_t> rootChildren() const;

    // Forgets what was kept of a window: all of it (atom none) or what depends on one property.
    void forget(xcb_window_t window, xcb_atom_t atom = XCB_ATOM_NONE) const;

private:
    struct Fixed {
        std::int32_t pid = 0;
        QString wmInstance, wmClass, gtkApplicationId;
        X11WindowType type = X11WindowType::normal;
        bool transient = false;
        bool hasStrut = false;
        std::uint32_t strut[12] = {};
    };

    struct Changing {
        QString name;
        bool above = false, below = false, fullScreen = false, hidden = false, maximized = false, sticky = false,
             skipTaskbar = false;
        std::uint32_t desktop = 0xFFFFFFFFu;
        bool hasExtents = false;
        int extents[4] = {};  // left, right, top, bottom
    };

    X11Connection& m_connection;
    QObject m_context;  // receiver for the connection's signals
    mutable QHash<xcb_window_t, Fixed> m_fixed;
    mutable QHash<xcb_window_t, Changing> m_changing;
};

}  // namespace tamsinvale
