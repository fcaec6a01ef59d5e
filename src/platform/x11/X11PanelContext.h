// What every overlay panel shares on one connection: visuals, atoms, the compositor, and hooks into the port.
#pragma once

#include <QRect>
#include <functional>
#include <memory>
#include <vector>

#include "platform/OverlayPlacement.h"
#include "platform/WindowList.h"

#include <xcb/xcb.h>

namespace tamsinvale {

class X11OverlayPanel;

// What the panels need from the rest of the port, passed in so they do not depend on its owner.
struct X11PanelHooks {
    // The primary monitor in root coordinates: where screen coordinates have their origin (its bottom-left).
    // The whole root when unset.
    std::function<QRect()> primaryMonitor;
    // A panel went on screen / off screen (so the window list can show it in its place).
    std::function<void(WindowNumber window, int level)> shown;
    std::function<void(WindowNumber window)> hidden;
    // The manager's frame of a client (its child of the root), from what the port already read when it can;
    // asked of the server when unset.
    std::function<xcb_window_t(xcb_window_t window)> frameOf;
};

// The server-side facts every panel shares: visuals, atoms, the compositor, the hooks.
struct X11PanelContext {
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_WINDOW_NONE;
    std::uint8_t rootDepth = 24;
    xcb_visualid_t rootVisual = 0;
    // A 32-bit TrueColor visual, used while a compositor runs so that translucency shows.
    xcb_visualid_t argbVisual = 0;
    xcb_atom_t compositorSelection = XCB_ATOM_NONE;
    xcb_atom_t windowOpacity = XCB_ATOM_NONE;
    xcb_atom_t clientListStacking = XCB_ATOM_NONE;
    xcb_atom_t wmState = XCB_ATOM_NONE;
    xcb_atom_t wmStateAbove = XCB_ATOM_NONE;
    xcb_atom_t wmStateBelow = XCB_ATOM_NONE;
    xcb_atom_t wmWindowType = XCB_ATOM_NONE;
    xcb_atom_t wmWindowTypeNormal = XCB_ATOM_NONE;
    xcb_atom_t wmWindowTypeDialog = XCB_ATOM_NONE;
    xcb_atom_t wmPid = XCB_ATOM_NONE;
    xcb_atom_t activeWindow = XCB_ATOM_NONE;
    bool imageLsbFirst = true;
    // Set when the factory goes (the connection may follow it): panels still alive stop talking to the server.
    bool detached = false;
    X11PanelHooks hooks;

    // Reads the screen's visuals and interns the atoms, all requests out before the first answer.
    static std::shared_ptr<X11PanelContext> create(xcb_connection_t* connection, xcb_window_t root, X11PanelHooks hooks);

    // Asks the server who owns the compositor selection.
    bool compositorRunning() const;
    // Whether new panels are made see-through: an ARGB visual and a compositor (as last announced while the owner
    // of the selection is watched, else asked now).
    bool translucent() const { return argbVisual && (compositorWatched ? compositing : compositorRunning()); }
    QRect primaryMonitor() const;

    bool compositorWatched = false;
    bool compositing = false;

    // How panels stand against the active window; decided from what the manager does with them, shared by all.
    OverlayPlacement placement;
    // Set when X events reach the panels (their own ConfigureNotify, and `watch`ed windows): without them the
    // manager's doings are not seen and panels stay stacked.
    bool eventsDelivered = false;
    std::function<void(xcb_window_t window)> watch;
    // The live panels, so that a change of placement or of a window reaches each.
    std::vector<X11OverlayPanel*> panels;
    // Logs the new placement and places every panel again.
    void placementChanged();
    // A window was configured, mapped or unmapped (one of ours, or one being watched).
    void windowChanged(xcb_window_t window);
};

}  // namespace tamsinvale
