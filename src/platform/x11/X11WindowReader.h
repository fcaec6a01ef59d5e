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
    // Opens a batch for the lifetime of the object.
    class Batch {
    public:
        explicit Batch(const X11WindowReader& reader) : m_reader(reader) { m_reader.beginBatch(); }
        ~Batch() { m_reader.endBatch(); }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        const X11WindowReader& m_reader;
    };

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
    // Who the windows are and their state, without their geometry and mapping (left empty): no round trip for
    // windows whose properties are kept and followed. For finding an application's windows on the way to a
    // keystroke's activation.
    QList<X11Window> readWithoutGeometry(const QList<xcb_window_t>& windows) const;

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

    // While a batch is open (batches nest), the reaction to one event takes the desktop as standing still: a
    // window, root list or ancestry already read is answered again without asking the server. Our own changes to
    // the desktop (moves, activation, restacking) must call `dropBatchAnswers` so that what follows reads afresh.
    void beginBatch() const;
    void endBatch() const;
    void dropBatchAnswers() const;
    bool inBatch() const { return m_batchDepth > 0; }

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

    QList<X11Window> readFromServer(const QList<xcb_window_t>& windows) const;
    static void applyFixed(X11Window& win, const Fixed& f);
    std::optional<QList<xcb_window_t>> rootWindowList(xcb_atom_t atom) const;

    X11Connection& m_connection;
    QObject m_context;  // receiver for the connection's signals
    mutable int m_batchDepth = 0;
    mutable QHash<xcb_window_t, X11Window> m_batchWindows;
    mutable QHash<xcb_atom_t, std::optional<QList<xcb_window_t>>> m_batchRootLists;
    mutable std::optional<std::optional<std::uint32_t>> m_batchDesktop;
    mutable QHash<xcb_window_t, xcb_window_t> m_batchTopLevels;
    mutable QHash<xcb_window_t, Fixed> m_fixed;
    mutable QHash<xcb_window_t, Changing> m_changing;
};

}  // namespace tamsinvale
