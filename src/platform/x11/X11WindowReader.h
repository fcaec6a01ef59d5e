// Reads many client windows at once: every request is sent before the first reply is awaited.
#pragma once

#include <QList>
#include <optional>

#include "X11Window.h"

namespace tamsinvale {

class X11Connection;

class X11WindowReader {
public:
    explicit X11WindowReader(X11Connection& connection) : m_connection(connection) {}

    // In the order given; windows that have gone come back with `exists` false.
    QList<X11Window> read(const QList<xcb_window_t>& windows) const;
    X11Window read(xcb_window_t window) const;

    // Root window lists; nothing when the property is missing (no EWMH window manager).
    std::optional<QList<xcb_window_t>> clientListStacking() const;  // bottom to top
    std::optional<QList<xcb_window_t>> clientList() const;          // mapping order
    xcb_window_t activeWindow() const;
    std::optional<std::uint32_t> currentDesktop() const;
    // The top-level (child of the root) ancestor of each window: the window manager's frame.
    QList<xcb_window_t> topLevelAncestors(const QList<xcb_window_t>& windows) const;
    // Children of the root, bottom to top.
    QList<xcb_window_t> rootChildren() const;

private:
    X11Connection& m_connection;
};

}  // namespace tamsinvale
