// The window list on X11: managed clients from _NET_CLIENT_LIST_STACKING plus our own panels, front to back.
#pragma once

#include <QHash>
#include <QList>
#include <functional>
#include <optional>

#include "X11Window.h"
#include "platform/WindowList.h"

namespace tamsinvale {

class X11Connection;
class X11Screens;
class X11WindowReader;
struct X11Monitor;

// One row of the list with what X said about it, for callers that need more than the snapshot carries.
struct X11ListedWindow {
    X11Window window;
    WindowSnapshotEntry entry;
    bool ownPanel = false;
};

class X11WindowList : public WindowList {
public:
    using OwnerNameResolver = std::function<QString(const X11Window&)>;

    X11WindowList(X11Connection& connection, const X11WindowReader& reader, const X11Screens& screens,
                  OwnerNameResolver ownerName);

    std::optional<WindowSnapshot> onScreenWindows() const override;
    void beginReadBatch() const override;
    void endReadBatch() const override;
    // Every listed window, on screen or not, front to back. Nothing without an EWMH window manager.
    std::optional<QList<X11ListedWindow>> allWindows() const;

    // Our own override-redirect panels, listed at their place in the stack with our pid.
    void registerOwnPanel(xcb_window_t window, int level);
    void unregisterOwnPanel(xcb_window_t window);

    // The window level a client gets on this desktop; `isMenuBar` is set for a dock along a monitor's top edge.
    static int layerFor(const X11Window& window, const QList<X11Monitor>& monitors, bool* isMenuBar);

private:
    X11Connection& m_connection;
    const X11WindowReader& m_reader;
    const X11Screens& m_screens;
    OwnerNameResolver m_ownerName;
    QHash<xcb_window_t, int> m_ownPanels;
};

}  // namespace tamsinvale
